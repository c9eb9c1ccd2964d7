// Makes random requests over a wire that misbehaves, in memory and on a pseudo-terminal, and compares
// every value read with what the PLC's memory may hold.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "runtime/device_channel.h"
#include "runtime/failure_text.h"
#include "runtime/serial_port.h"
#include "runtime/traced_channel.h"
#include "tests/apps/program_runner.h"
#include "tests/explorer/wire_faults.h"
#include "tools/tools.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMap>
#include <QtCore/QRegExp>
#include <QtCore/QStringList>

#include <cstdio>
#include <cstring>
#include <random>

namespace
{

/// A run of items of one device.
struct Area {
    const char *device;
    int first;        ///< number of the first item
    int base;         ///< of the number in an address
    CommandKind kind; ///< of the requests
    int bytes;        ///< of an item: 2 or 4; 0 for a bit
    int step;         ///< of the number, from item to item
    int size;         ///< items
    int mostRead;     ///< items in one request
    int mostWritten;

    CommunicatorCommand command(int index, int items) const
    {
        return CommunicatorCommand(
            kind, static_cast<quint32>(kind == Byte || kind == Block ? items * bytes : items),
            QLatin1String(device) + QString::number(first + index * step, base).toUpper());
    }
};

// Every device and every kind of request that the driver reads and writes; no two rows share
// memory.
const Area AREAS[] = {
    // device, first number, base, kind, bytes, step, size, most read and written
    {"DM", 0, 10, Word, 2, 1, 400, 40, 20},        {"W", 0, 16, Word, 2, 1, 400, 307, 306},
    {"ZF", 0, 10, DoubleWord, 4, 2, 50, 50, 50},   {"EM", 0, 10, Byte, 2, 1, 40, 20, 20},
    {"FM", 0, 10, Block, 2, 1, 40, 20, 20},        {"VM", 0, 10, DoubleWord, 4, 2, 20, 20, 20},
    {"TM", 0, 10, Word, 2, 1, 40, 20, 20},         {"Z", 0, 10, Word, 2, 1, 12, 12, 12},
    {"CM", 0, 10, Word, 2, 1, 40, 20, 20},         {"R", 20, 10, Word, 2, 1, 20, 20, 20},
    {"MR", 20, 10, Word, 2, 1, 20, 20, 20},        {"LR", 20, 10, Word, 2, 1, 20, 20, 20},
    {"CR", 20, 10, Word, 2, 1, 20, 20, 20},        {"B", 0x20, 16, Word, 2, 1, 20, 20, 20},
    {"VB", 0x20, 16, Word, 2, 1, 20, 20, 20},      {"T", 0, 10, DoubleWord, 4, 1, 60, 30, 30},
    {"TC", 100, 10, DoubleWord, 4, 1, 60, 60, 40}, {"TS", 200, 10, DoubleWord, 4, 1, 60, 60, 40},
    {"C", 0, 10, DoubleWord, 4, 1, 60, 30, 30},    {"CC", 100, 10, DoubleWord, 4, 1, 60, 60, 40},
    {"CS", 200, 10, DoubleWord, 4, 1, 60, 60, 40}, {"PCTC", 0, 10, DoubleWord, 4, 1, 8, 8, 8},
    {"AT", 0, 10, DoubleWord, 4, 1, 8, 8, 8},      {"R", 0, 10, BitBlock, 0, 1, 16, 16, 16},
    {"MR", 100, 10, BitBlock, 0, 1, 16, 16, 16},   {"LR", 200, 10, Bit, 0, 1, 16, 16, 16},
    {"CR", 300, 10, BitBlock, 0, 1, 16, 16, 16},   {"B", 0, 16, BitBlock, 0, 1, 40, 40, 40},
    {"VB", 0, 16, Bit, 0, 1, 40, 40, 40},          {"T", 300, 10, Bit, 0, 1, 10, 10, 3},
    {"C", 300, 10, Bit, 0, 1, 10, 10, 3},          {"CTC", 0, 10, Bit, 0, 1, 8, 8, 4},
};
const int AREA_COUNT = sizeof AREAS / sizeof *AREAS;

// In one reply in a hundred, in equal shares: in memory those of the wire, over a pseudo-terminal
// kvsim's. LATE stands for a time beyond the time-out.
const char *const FAULTS[] = {
    "late:%1,LATE",    "late:%1,5",      "doubled:%1",  "noise-before:%1",
    "noise-inside:%1", "noise-after:%1", "cut:%1",      "wrong-station:%1",
    "wrong-close:%1",  "error-reply:%1", "no-reply:%1", "split:%1,1",
};
const int FAULT_COUNT = sizeof FAULTS / sizeof *FAULTS;
const double FAULT_RATE = 0.01;
const double LOST_LINE_RATE = 0.002;
const int FORGED_SHARE = 25; // of the faults that forge replies only so many per cent

// With 2 retries a request fails when three attempts in a row do.
const int RETRIES = 2;
const double MOST_FAILED = 0.0002;
const int MOST_FAILED_IN_A_ROW = 5;

const int PTY_BAUD = 115200;

// A wire on which faults come at random.
class FaultyWire : public VirtualWire
{
public:
    FaultyWire(PlcMemory &memory, quint32 seed) : VirtualWire(memory), m_chance(seed), m_unseen(0)
    {
        for (const WireFault &fault : explorerFaults())
            counts[fault.name] = 0;
        damage = [this](const QByteArray &reply) { return damaged(reply); };
    }

    int write(const char *bytes, int length, int timeoutMs) override
    {
        lineIsLost = happens(LOST_LINE_RATE);
        counts["line lost"] += lineIsLost;
        // Nothing throws old replies away before a write's line.
        if (lineIsLost && *bytes != 'C' && std::memcmp(bytes, "RDS", 3) != 0 && waitForInput(0))
            m_unseen = "a write lost behind an old reply";
        return VirtualWire::write(bytes, length, timeoutMs);
    }

    /// The last thing since the last call that nothing on the wire shows; null for none.
    const char *takeUnseen()
    {
        const char *const unseen = m_unseen;
        m_unseen = 0;
        return unseen;
    }

    QMap<QByteArray, qint64> counts; ///< faults that have happened

private:
    bool happens(double rate) { return std::uniform_real_distribution<>()(m_chance) < rate; }

    int random(int below)
    {
        return static_cast<int>(m_chance() % static_cast<unsigned int>(below));
    }

    WirePieces damaged(const QByteArray &reply)
    {
        const WireFault &fault = explorerFaults().at(random(explorerFaults().size()));
        const bool isRare = fault.forges && random(100) >= FORGED_SHARE;
        const WireVariants variants =
            isRare || !happens(FAULT_RATE) ? WireVariants() : variantsOf(fault, reply);
        if (reply.isEmpty() || variants.isEmpty())
            return arriving(reply);
        ++counts[fault.name];
        m_unseen = fault.forges ? fault.name : m_unseen;
        return variants.at(random(variants.size()));
    }

    std::mt19937 m_chance;
    const char *m_unseen;
};

class Soak
{
public:
    // The wire is given where the PLC is in this process.
    Soak(AbstractDeviceInterface &channel, quint32 seed, FaultyWire *wire)
        : m_channel(channel, nullptr), m_wire(wire), m_chance(seed), m_failedInARow(0),
          m_wasUnseen(nullptr)
    {
        for (const Area &area : AREAS)
            m_cells.append(QVector<Cell>(area.size, Cell(1, 0)));
    }

    void run(int requests)
    {
        for (int i = 0; i < requests; ++i) {
            if (i % qMax(1, requests / 10) == 0)
                std::fprintf(stderr, "soak: %d of %d requests\n", i, requests);
            request();
        }
        // Whatever happened, the PLC answers again, and holds what was written.
        for (int i = 0; i < AREA_COUNT; ++i) {
            for (int at = 0; at < AREAS[i].size; ++at) {
                bool done = false;
                for (int again = 0; again < 5 && !done; ++again)
                    done = read(AREAS[i], &m_cells[i][at], at, 1);
                m_counts["outages that did not end"] += !done;
            }
        }
    }

    // @return whether everything is as good as it has to be
    bool report(const char *name, const QMap<QByteArray, qint64> &faults)
    {
        const int requests = m_counts["requests"];
        m_counts["faults that never came"] += faults.isEmpty();
        std::printf("%s: %d requests\n", name, requests);
        for (auto it = faults.begin(); it != faults.end(); ++it) {
            print("injected: " + it.key(), it.value());
            // Of a few requests none may meet a rare fault.
            m_counts["faults that never came"] += it.value() == 0 && requests >= 10000;
        }
        const QMap<QByteArray, int> limits = {
            {"faults that never came", 0},
            {"failed", 5 + static_cast<int>(MOST_FAILED * requests)},
            {"failed in a row", MOST_FAILED_IN_A_ROW},
            {"outages that did not end", 0},
            {"failures without their text", 0},
            {"successes with an error flag", 0},
            {"results of wrong length", 0},
            {"values silently wrong", 0},
        };
        bool good = true;
        for (auto it = limits.begin(); it != limits.end(); ++it)
            m_counts[it.key()] += 0;
        for (auto it = m_counts.begin(); it != m_counts.end(); ++it) {
            const bool isKept = it.value() <= limits.value(it.key(), it.value());
            print((isKept ? "" : "FAILED: ") + it.key(), it.value());
            good = good && isKept;
        }
        std::fflush(stdout);
        return good;
    }

private:
    // The values that an item may have: a write that failed may have reached the PLC or not.
    typedef QVector<quint32> Cell;

    static void print(const QByteArray &what, qint64 count)
    {
        std::printf("  %-60s %8lld\n", what.constData(), static_cast<long long>(count));
    }

    int random(int below)
    {
        return static_cast<int>(m_chance() % static_cast<unsigned int>(below));
    }

    void request()
    {
        const int i = random(AREA_COUNT);
        const bool isWrite = random(3) == 0;
        const int count = 1 + random(isWrite ? AREAS[i].mostWritten : AREAS[i].mostRead);
        const int first = random(AREAS[i].size - count + 1);
        if (isWrite)
            write(AREAS[i], &m_cells[i][first], first, count);
        else
            read(AREAS[i], &m_cells[i][first], first, count);
    }

    bool read(const Area &area, Cell *cells, int first, int count)
    {
        const CommunicatorCommand command = area.command(first, count);
        m_channel.beginRequest();
        const QByteArray data = m_driver.read(&m_channel, command);
        const bool done = finish(!data.isEmpty());
        m_counts["results of wrong length"] += done && data.size() != command.byteLength();
        const char *const unseen = takeUnseen();
        for (int k = 0; done && k < count; ++k) {
            const quint32 value =
                area.bytes == 0
                    ? static_cast<quint32>(getBit(data, k) ? 1 : 0)
                    : static_cast<quint32>(QByteArrayToInt(data.mid(k * area.bytes, area.bytes)));
            const bool mayBe = cells[k].contains(value);
            if (unseen)
                m_counts[QByteArray("values wrong, and nothing shows it: ") + unseen] += !mayBe;
            else if (mayBe)
                cells[k].fill(value, 1);
            else
                ++m_counts["values silently wrong"];
        }
        return done;
    }

    void write(const Area &area, Cell *cells, int first, int count)
    {
        QByteArray data;
        QVector<quint32> values;
        for (int k = 0; k < count; ++k) {
            const quint32 any = static_cast<quint32>(m_chance());
            values << (area.bytes == 0 ? any & 1 : area.bytes == 2 ? any & 0xFFFF : any);
            data += intToByteArray(static_cast<int>(values.last())).left(qMax(1, area.bytes));
        }
        m_channel.beginRequest();
        const bool done =
            finish(m_driver.write(&m_channel, area.command(first, count), data) == 1) &&
            !takeUnseen();
        for (int k = 0; k < count; ++k) {
            if (done)
                cells[k].clear();
            if (!cells[k].contains(values.at(k)))
                cells[k].append(values.at(k));
        }
    }

    // @return whether a client takes it for done, too
    bool finish(bool done)
    {
        static const QRegExp texts(
            QLatin1String("PLC no response|invalid response[:23]?|Response During an Error:E\\d"));
        m_channel.endRequest();
        ++m_counts["requests"];
        ++m_counts[done ? "done" : "failed"];
        m_failedInARow = done ? 0 : m_failedInARow + 1;
        m_counts["failed in a row"] = qMax(m_counts["failed in a row"], m_failedInARow);
        m_counts["successes with an error flag"] += done && m_driver.hasError();
        if (!done) {
            const QString text = m_driver.getLastError().simplified();
            ++m_counts["failed: " + text.toLatin1()];
            m_counts["failures without their text"] +=
                !texts.exactMatch(text) || !m_driver.hasError();
            return false;
        }
        const bool isUsable = answerFailure(m_channel.record(), RequestPlace()).isGood();
        m_counts["replies that a client calls unusable"] += !isUsable;
        return isUsable;
    }

    // In this request or, as replies may come one request late, in the one before.
    const char *takeUnseen()
    {
        const char *const unseen = m_wire ? m_wire->takeUnseen() : nullptr;
        const char *const either = unseen ? unseen : m_wasUnseen;
        m_wasUnseen = unseen;
        return either;
    }

    TracedChannel m_channel;
    FaultyWire *m_wire;
    DriverKV_L20V_HostLink m_driver;
    std::mt19937 m_chance;
    QVector<QVector<Cell>> m_cells;
    QMap<QByteArray, int> m_counts;
    int m_failedInARow;
    const char *m_wasUnseen;
};

bool soakInMemory(int requests, quint32 seed)
{
    PlcMemory memory;
    FaultyWire wire(memory, seed);
    DeviceChannel channel(wire, DriverSetting(TIMEOUT_MS, RETRIES, VirtualWire::STATION, 0));
    Soak soak(channel, seed, &wire);
    soak.run(requests);
    return soak.report("in memory", wire.counts);
}

// At the speed of a wire an old reply may come just after it was looked for.
bool soakOverPty(int requests, quint32 seed)
{
    const int timeoutMs = 100 * KV_TEST_PATIENCE;
    QString options = QString("--seed %1 --baud %2").arg(seed).arg(PTY_BAUD);
    for (const char *fault : FAULTS)
        options += " --fault " + QString(fault)
                                     .arg(FAULT_RATE / FAULT_COUNT)
                                     .replace("LATE", QString::number(timeoutMs * 3 / 2));
    Simulator simulator(words(options));
    SerialPortSetting setting;
    setting.device = simulator.place;
    setting.baudRate = PTY_BAUD;
    setting.parity = QSerialPort::NoParity;
    QStringList warnings;
    std::unique_ptr<Port> port;
    if (Failure failure = openSerialPort(setting, &port, &warnings)) {
        std::fprintf(stderr, "soak: %s\n", qPrintable(failure.text()));
        return false;
    }
    DeviceChannel channel(*port, DriverSetting(timeoutMs, RETRIES, 0, 0));
    Soak soak(channel, seed, nullptr);
    soak.run(requests);
    return soak.report("over a pseudo-terminal at 115200 baud", injectedFaults(simulator.stop()));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: soak REQUESTS_IN_MEMORY REQUESTS_OVER_PTY SEED\n");
        return 2;
    }
    const quint32 seed = QByteArray(argv[3]).toUInt();
    const bool inMemory = soakInMemory(QByteArray(argv[1]).toInt(), seed);
    const bool overPty = soakOverPty(QByteArray(argv[2]).toInt(), seed);
    return inMemory && overPty ? 0 : 1;
}
