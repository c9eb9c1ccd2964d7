// First CRC steps that race. A program of its own, since the tables are built once per process, and
// without QtTest, whose watchdog thread the thread sanitizer reports now and then.
#include "tools/lib_crc.h"

#include <atomic>
#include <cstdio>
#include <thread>

namespace
{

const int THREADS = 16;
const int TABLES = 5;
const unsigned int CHECKS[TABLES] = {0x31C3, 0xBB3D, 0x2189, 0x157D, 0x340BC6D9};

std::atomic<int> arrived(0);
std::atomic<int> failures(0);

// Lets all threads go at once; one meeting for each table, so that every first step is a race.
// Relaxed, since any other order would hide from the sanitizer that a table is not guarded.
void meet(int meeting)
{
    arrived.fetch_add(1, std::memory_order_relaxed);
    while (arrived.load(std::memory_order_relaxed) < THREADS * (meeting + 1))
        std::this_thread::yield();
}

template <typename Register>
unsigned int crcOfDigits(Register (*step)(Register, unsigned char), Register crc)
{
    for (unsigned char digit = '1'; digit <= '9'; ++digit)
        crc = step(crc, digit);
    return crc;
}

void computeAll()
{
    typedef unsigned short (*Step)(unsigned short, unsigned char);
    const Step steps[] = {update_crc_ccitt, update_crc_16, update_crc_kermit, update_crc_dnp};
    for (int table = 0; table < TABLES; ++table) {
        meet(table);
        const unsigned int crc = table < 4 ? crcOfDigits<unsigned short>(steps[table], 0)
                                           : crcOfDigits<unsigned int>(update_crc_32, 0xFFFFFFFF);
        if (crc == CHECKS[table])
            continue;
        std::printf("table %d: %X instead of %X\n", table, crc, CHECKS[table]);
        ++failures;
    }
}

} // namespace

int main()
{
    std::thread threads[THREADS];
    for (std::thread &thread : threads)
        thread = std::thread(computeAll);
    for (std::thread &thread : threads)
        thread.join();
    return failures == 0 ? 0 : 1;
}
