// Counts what the driver allocates: per request at steady state, and for a driver object. Prints
// one line for each and fails when a read allocates more than its result, or a write of words
// anything.
#include "bench/ready_channel.h"
#include "bench/requests.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include <malloc.h>

// The functions of the C library that this program's own malloc, calloc and realloc call.
extern "C" {
void *libraryMalloc(std::size_t size) noexcept __asm__("__libc_malloc");
void *libraryCalloc(std::size_t count, std::size_t size) noexcept __asm__("__libc_calloc");
void *libraryRealloc(void *block, std::size_t size) noexcept __asm__("__libc_realloc");
}

namespace
{

const int WARM_UP_REQUESTS = 10;
const int COUNTED_REQUESTS = 100;

long allocations = 0;

void *counted(void *block)
{
    ++allocations;
    return block;
}

struct Row {
    const char *kind;
    int items;
    double limit; // allocations per request; below 0 for none
};

const Row ROWS[] = {
    {"spread", 1, 1},  {"spreadtimers", 1, 1}, {"words", 1, 1},      {"words", 10, 1},
    {"words", 100, 1}, {"words", 307, 1},      {"bits", 1, 1},       {"bits", 307, 1},
    {"timers", 1, 1},  {"timers", 64, 1},      {"write", 1, 0},      {"write", 10, 0},
    {"write", 100, 0}, {"write", 306, 0},      {"writebits", 1, -1}, {"writebits", 307, -1},
};

bool countRequests(DriverInterface *driver, const Row &row)
{
    const RequestKind &kind = *findRequestKind(row.kind);
    ReadyChannel channel(readyReply(kind, row.items));
    const RepeatedRequest request(kind, row.items);
    if (!makeRequests(driver, &channel, request, WARM_UP_REQUESTS))
        return false;
    const long before = allocations;
    if (!makeRequests(driver, &channel, request, COUNTED_REQUESTS))
        return false;
    const double perRequest = static_cast<double>(allocations - before) / COUNTED_REQUESTS;
    const bool good = row.limit < 0 || perRequest <= row.limit;
    std::printf("allocations\t%s\t%d\t%.2f\t%s\n", row.kind, row.items, perRequest,
                good ? "good" : "too many");
    return good;
}

} // namespace

extern "C" {

void *malloc(std::size_t size) noexcept
{
    return counted(libraryMalloc(size));
}

void *calloc(std::size_t count, std::size_t size) noexcept
{
    return counted(libraryCalloc(count, size));
}

void *realloc(void *block, std::size_t size) noexcept
{
    return counted(libraryRealloc(block, size));
}
}

int main()
{
    const long allocationsBefore = allocations;
    const std::size_t heapBefore = mallinfo2().uordblks;
    const std::unique_ptr<DriverKV_L20V_HostLink> driver(new DriverKV_L20V_HostLink);
    const long ofDriver = allocations - allocationsBefore;
    const std::size_t bytes = mallinfo2().uordblks - heapBefore;
    std::printf("driver object\t%zu bytes\t%zu heap bytes in %ld allocations, its own included\n",
                sizeof(DriverKV_L20V_HostLink), bytes, ofDriver);
    bool good = ofDriver > 0;
    for (const Row &row : ROWS)
        good = countRequests(driver.get(), row) && good;
    return good ? 0 : 1;
}
