// Drives the driver and the channel over a wire that misbehaves, and compares every value read and
// every write reported as done with what the PLC's memory may hold.
#include "runtime/failure_text.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "runtime/device_channel.h"
#include "runtime/serial_port.h"
#include "runtime/traced_channel.h"
#include "tests/explorer/wire_faults.h"
#include "tests/soak/plc_model.h"
#include "tools/drv_dev_setting.h"
#include "tools/tools.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QStringList>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <random>

const Area AREAS[] = {
    // device, first number, base, kind, bytes, size, most read and written
    {"DM", 0, 10, Word, 2, 400, 40, 20},        {"W", 0, 16, Word, 2, 400, 307, 306},
    {"ZF", 0, 10, DoubleWord, 4, 50, 50, 50},   {"EM", 0, 10, Byte, 2, 40, 20, 20},
    {"FM", 0, 10, Block, 2, 40, 20, 20},        {"VM", 0, 10, DoubleWord, 4, 20, 20, 20},
    {"TM", 0, 10, Word, 2, 40, 20, 20},         {"Z", 0, 10, Word, 2, 12, 12, 12},
    {"CM", 0, 10, Word, 2, 40, 20, 20},         {"R", 20, 10, Word, 2, 20, 20, 20},
    {"MR", 20, 10, Word, 2, 20, 20, 20},        {"LR", 20, 10, Word, 2, 20, 20, 20},
    {"CR", 20, 10, Word, 2, 20, 20, 20},        {"B", 0x20, 16, Word, 2, 20, 20, 20},
    {"VB", 0x20, 16, Word, 2, 20, 20, 20},      {"T", 0, 10, DoubleWord, 4, 60, 30, 30},
    {"TC", 100, 10, DoubleWord, 4, 60, 60, 40}, {"TS", 200, 10, DoubleWord, 4, 60, 60, 40},
    {"C", 0, 10, DoubleWord, 4, 60, 30, 30},    {"CC", 100, 10, DoubleWord, 4, 60, 60, 40},
    {"CS", 200, 10, DoubleWord, 4, 60, 60, 40}, {"PCTC", 0, 10, DoubleWord, 4, 8, 8, 8},
    {"AT", 0, 10, DoubleWord, 4, 8, 8, 8},      {"R", 0, 10, BitBlock, 0, 16, 16, 16},
    {"MR", 100, 10, BitBlock, 0, 16, 16, 16},   {"LR", 200, 10, Bit, 0, 16, 16, 16},
    {"CR", 300, 10, BitBlock, 0, 16, 16, 16},   {"B", 0, 16, BitBlock, 0, 40, 40, 40},
    {"VB", 0, 16, Bit, 0, 40, 40, 40},          {"T", 300, 10, Bit, 0, 10, 10, 3},
    {"C", 300, 10, Bit, 0, 10, 10, 3},          {"CTC", 0, 10, Bit, 0, 8, 8, 4},
};
const int AREA_COUNT = sizeof AREAS / sizeof *AREAS;

namespace
{

// In one reply in a hundred, in equal shares: in memory those of the wire, over a pseudo-terminal
// kvsim's. LATE stands for a time beyond the time-out.
const char *const FAULTS[] = {
    "late:%1,LATE",    "late:%1,5",      "doubled:%1",  "noise-before:%1",
    "noise-inside:%1", "noise-after:%1", "cut:%1",      "wrong-station:%1",
    "wrong-close:%1",  "error-reply:%1", "no-reply:%1", "split:%1,1",
};
const double FAULT_RATE = 0.01;
const double LOST_LINE_RATE = 0.002;
const int FORGED_SHARE = 25; // of the faults that forge replies only so many per cent

// With 2 retries a request fails when three attempts in a row do.
const double MOST_FAILED = 0.0002;
const int MOST_FAILED_IN_A_ROW = 5;

const int PTY_BAUD = 115200;

// What the driver says of a failure, word for word; an error reply's digit follows.
const char *const FAILURES[] = {
    "PLC no response",   "invalid response",  "invalid response:",
    "invalid response2", "invalid response3",
};
const char ERROR_REPLY[] = "Response During an Error:E";

struct Counts {
    int requests, done, failed;
    int unusableAnswers; // taken by the driver, and shown to be none by the reply itself
    int wrongValues, lostWrites, wrongLengths; // silently wrong
    int flaggedSuccesses, unknownTexts, endlessOutages, longestOutage;
    QMap<QByteArray, int> texts;
    QMap<QByteArray, int> unseenValues; // wrong for a cause that nothing on the wire shows
    QMap<QByteArray, qint64> faults;
};

// A wire on which faults come at random.
class FaultyWire : public VirtualWire
{
public:
    FaultyWire(PlcMemory &memory, quint32 seed) : VirtualWire(memory), m_chance(seed), m_unseen(0)
    {
        for (const WireFault &fault : WIRE_FAULTS)
            counts[fault.name] = 0;
        damage = [this](const QByteArray &reply) { return damaged(reply); };
    }

    int write(const char *bytes, int length, int timeoutMs) override
    {
        lineIsLost = happens(LOST_LINE_RATE);
        counts["line lost"] += lineIsLost;
        // Nothing throws old replies away before a write's line.
        if (lineIsLost && isWrite(bytes) && waitForInput(0))
            m_unseen = "a write lost behind an old reply";
        return VirtualWire::write(bytes, length, timeoutMs);
    }

    /// The last thing since the last call that nothing on the wire shows; null for none.
    const char *takeUnseen()
    {
        const char *const unseen = m_unseen;
        m_unseen = nullptr;
        return unseen;
    }

    QMap<QByteArray, qint64> counts; ///< faults that have happened

private:
    bool happens(double rate) { return std::uniform_real_distribution<>()(m_chance) < rate; }

    int random(int below)
    {
        return static_cast<int>(m_chance() % static_cast<unsigned int>(below));
    }

    static bool isWrite(const char *line)
    {
        return std::memcmp(line, "WRS ", 4) == 0 || std::memcmp(line, "ST ", 3) == 0 ||
               std::memcmp(line, "RS ", 3) == 0;
    }

    Pieces damaged(const QByteArray &reply)
    {
        const WireFault &fault = WIRE_FAULTS[random(WIRE_FAULT_COUNT)];
        if (reply.isEmpty() || !happens(FAULT_RATE) ||
            (fault.forges && random(100) >= FORGED_SHARE))
            return arriving(reply);
        const Variants variants = fault.variants(reply);
        if (variants.isEmpty())
            return arriving(reply);
        ++counts[fault.name];
        m_unseen = fault.forges ? fault.name : m_unseen;
        return variants.at(random(variants.size()));
    }

    std::mt19937 m_chance;
    const char *m_unseen;
};

// The channel on such a wire.
class WireChannel : public DeviceChannel
{
public:
    WireChannel(FaultyWire &wire, int delayMs, bool rests)
        : DeviceChannel(wire, DriverSetting(TIMEOUT_MS, 2, VirtualWire::STATION, 0)), m_wire(wire),
          m_delayMs(delayMs), m_rests(rests)
    {}

    // Without rest: what a runtime does that throws away only what has arrived.
    int control(int code, const QVariant &value) override
    {
        char bytes[256];
        if (m_rests)
            return DeviceChannel::control(code, value);
        while (m_wire.read(bytes, sizeof bytes) > 0) {
        }
        return 1;
    }

    unsigned long getDelay() override
    {
        m_wire.pass(m_delayMs);
        return 0;
    }

private:
    FaultyWire &m_wire;
    const int m_delayMs;
    const bool m_rests;
};

class Soak
{
public:
    // Takes what the driver takes, or what kvlink takes of it. The wire and the memory are given where
    // the PLC is in this process.
    Soak(AbstractDeviceInterface &channel, quint32 seed, bool asKvlink, FaultyWire *wire = nullptr,
         const PlcMemory *memory = nullptr)
        : m_asKvlink(asKvlink), m_channel(channel, nullptr), m_wire(wire), m_memory(memory),
          m_chance(seed), m_counts(), m_failedInARow(0), m_isUnusable(false), m_wasUnseen(nullptr)
    {
        for (int i = 0; i < AREA_COUNT; ++i)
            m_cells.append(QVector<Cell>(AREAS[i].size));
    }

    const Counts &counts() const { return m_counts; }

    void request()
    {
        const int i = random(AREA_COUNT);
        const bool writing = random(3) == 0;
        const int count = 1 + random(writing ? AREAS[i].mostWritten : AREAS[i].mostRead);
        const int first = random(AREAS[i].size - count + 1);
        if (writing)
            write(AREAS[i], &m_cells[i][first], first, count);
        else
            read(AREAS[i], &m_cells[i][first], first, count);
    }

    // Reads everything once more: whatever happened, the PLC answers again, and holds what was
    // written.
    void compareAll()
    {
        for (int i = 0; i < AREA_COUNT; ++i) {
            const Area &area = AREAS[i];
            for (int at = 0; at < area.size; ++at) {
                const CommunicatorCommand command(area.kind, area.count(1), area.address(at));
                QByteArray data;
                for (int patience = 0; patience < 5 && data.isEmpty(); ++patience)
                    data = readUsable(command);
                if (takeUnseen() != nullptr)
                    continue;
                if (data.isEmpty())
                    ++m_counts.endlessOutages;
                else
                    m_counts.lostWrites += !m_cells[i][at].settle(valueAt(area, data, 0));
            }
        }
    }

private:
    void read(const Area &area, Cell *cells, int first, int count)
    {
        const CommunicatorCommand command(area.kind, area.count(count), area.address(first));
        const QByteArray data = readUsable(command);
        const bool done = !data.isEmpty();
        note(done || m_isUnusable);
        m_counts.wrongLengths += done && data.size() != command.byteLength();
        const char *const unseen = takeUnseen();
        for (int k = 0; done && k < count; ++k) {
            const quint32 value = valueAt(area, data, k);
            if (unseen)
                m_counts.unseenValues[unseen] += !cells[k].mayBe(value);
            else
                m_counts.wrongValues += !cells[k].settle(value);
        }
    }

    void write(const Area &area, Cell *cells, int first, int count)
    {
        const CommunicatorCommand command(area.kind, area.count(count), area.address(first));
        QVector<quint32> values;
        const QByteArray data = newData(area, count, &values);
        m_channel.beginRequest();
        bool done = m_driver.write(&m_channel, command, data) == 1;
        m_channel.endRequest();
        note(done);
        done = done && isUsable();
        const char *const unseen = takeUnseen();
        int &lostOnes = unseen ? m_counts.unseenValues[unseen] : m_counts.lostWrites;
        for (int k = 0; k < count; ++k) {
            const bool lost = done && m_memory && area.held(*m_memory, first + k) != values.at(k);
            lostOnes += lost;
            if (done && !lost)
                cells[k].written(values.at(k));
            else
                cells[k].perhapsWritten(values.at(k));
        }
    }

    // What kvlink makes of it.
    bool isUsable()
    {
        m_isUnusable =
            m_asKvlink && !unusableAnswerText(m_channel.record(), RequestPlace()).isEmpty();
        m_counts.unusableAnswers += m_isUnusable;
        return !m_isUnusable;
    }

    QByteArray readUsable(const CommunicatorCommand &command)
    {
        m_channel.beginRequest();
        const QByteArray data = m_driver.read(&m_channel, command);
        m_channel.endRequest();
        m_isUnusable = false;
        return !data.isEmpty() && isUsable() ? data : QByteArray();
    }

    // In this request or, as replies may come one request late, in the one before.
    const char *takeUnseen()
    {
        const char *const unseen = m_wire ? m_wire->takeUnseen() : nullptr;
        const char *const either = unseen ? unseen : m_wasUnseen;
        m_wasUnseen = unseen;
        return either;
    }

    int random(int below)
    {
        return static_cast<int>(m_chance() % static_cast<unsigned int>(below));
    }

    QByteArray newData(const Area &area, int count, QVector<quint32> *values)
    {
        QByteArray data;
        for (int k = 0; k < count; ++k) {
            const quint32 any = static_cast<quint32>(m_chance());
            const quint32 value = area.bytes == 0 ? any & 1 : area.bytes == 2 ? any & 0xFFFF : any;
            values->append(value);
            data += area.bytes == 0 ? QByteArray(1, static_cast<char>(value))
                                    : intToByteArray(static_cast<int>(value)).left(area.bytes);
        }
        return data;
    }

    static quint32 valueAt(const Area &area, const QByteArray &data, int k)
    {
        if (area.bytes == 0)
            return getBit(data, k) ? 1 : 0;
        return static_cast<quint32>(QByteArrayToInt(data.mid(k * area.bytes, area.bytes)));
    }

    void note(bool done)
    {
        ++m_counts.requests;
        ++(done ? m_counts.done : m_counts.failed);
        m_failedInARow = done ? 0 : m_failedInARow + 1;
        m_counts.longestOutage = qMax(m_counts.longestOutage, m_failedInARow);
        m_counts.flaggedSuccesses += done && m_driver.hasError();
        if (done)
            return;
        const QByteArray text = m_driver.getLastError().toLatin1().simplified();
        const int digitAt = text.size() - 1;
        const bool isErrorReply = text.startsWith(ERROR_REPLY) && isdigit(text.at(digitAt));
        bool known = isErrorReply && digitAt == static_cast<int>(std::strlen(ERROR_REPLY));
        for (const char *failure : FAILURES)
            known = known || text == failure;
        m_counts.unknownTexts += !known || !m_driver.hasError();
        ++m_counts.texts[text];
    }

    const bool m_asKvlink;
    TracedChannel m_channel;
    FaultyWire *m_wire;
    const PlcMemory *m_memory;
    DriverKV_L20V_HostLink m_driver;
    std::mt19937 m_chance;
    QVector<QVector<Cell>> m_cells;
    Counts m_counts;
    int m_failedInARow;
    bool m_isUnusable; // the latest request
    const char *m_wasUnseen;
};

QStringList faultOptions(int timeoutMs)
{
    const int kinds = sizeof FAULTS / sizeof *FAULTS;
    const double each = FAULT_RATE / kinds;
    QStringList options;
    for (const char *fault : FAULTS)
        options << QString::fromLatin1(fault).arg(each).replace(QLatin1String("LATE"),
                                                                QString::number(timeoutMs * 3 / 2));
    return options;
}

void print(const char *what, qint64 count)
{
    std::printf("  %-50s %8lld\n", what, static_cast<long long>(count));
}

// The limits of a road, which may have none.
class Limits
{
public:
    explicit Limits(bool apply) : m_apply(apply), m_kept(true) {}

    bool kept() const { return m_kept; }

    void most(const char *what, int count, int limit)
    {
        print(what, count);
        if (!m_apply || count <= limit)
            return;
        std::printf("  FAILED: more than %d\n", limit);
        m_kept = false;
    }

private:
    bool m_apply;
    bool m_kept;
};

// @return whether the road is as good as it has to be
bool report(const char *road, const Counts &counts, bool limited)
{
    std::printf("%s: %d requests\n", road, counts.requests);
    Limits limits(limited);
    int missing = 0;
    for (QMap<QByteArray, qint64>::const_iterator it = counts.faults.begin();
         it != counts.faults.end(); ++it) {
        print("injected: " + it.key(), it.value());
        missing += it.value() == 0;
    }
    // Of a few requests none may meet a rare fault.
    limits.most("faults that never came", missing, counts.requests < 10000 ? missing : 0);
    print("answers that kvlink calls unusable", counts.unusableAnswers);
    for (QMap<QByteArray, int>::const_iterator it = counts.unseenValues.begin();
         it != counts.unseenValues.end(); ++it)
        print("values wrong, and nothing shows it: " + it.key(), it.value());
    print("done", counts.done);
    for (QMap<QByteArray, int>::const_iterator it = counts.texts.begin(); it != counts.texts.end();
         ++it)
        print("failed: " + it.key(), it.value());
    limits.most("failed", counts.failed, 5 + static_cast<int>(MOST_FAILED * counts.requests));
    limits.most("failed in a row", counts.longestOutage, MOST_FAILED_IN_A_ROW);
    limits.most("outages that did not end", counts.endlessOutages, 0);
    limits.most("failures without their text", counts.unknownTexts, 0);
    limits.most("successes with an error flag", counts.flaggedSuccesses, 0);
    limits.most("results of wrong length", counts.wrongLengths, 0);
    limits.most("values silently wrong", counts.wrongValues, 0);
    limits.most("writes silently lost", counts.lostWrites, 0);
    std::fflush(stdout);
    return limits.kept();
}

Counts run(Soak *soak, int requests)
{
    const int tenth = qMax(1, requests / 10);
    for (int i = 0; i < requests; ++i) {
        if (i % tenth == 0)
            std::fprintf(stderr, "soak: %d of %d requests\n", i, requests);
        soak->request();
    }
    soak->compareAll();
    return soak->counts();
}

bool soakInMemory(const char *road, int requests, quint32 seed, int delayMs, bool rests,
                  bool limited)
{
    PlcMemory memory;
    FaultyWire wire(memory, seed);
    WireChannel channel(wire, delayMs, rests);
    Soak soak(channel, seed, limited, &wire, &memory);
    Counts counts = run(&soak, requests);
    counts.faults = wire.counts;
    return report(road, counts, limited);
}

// What kvsim says at its end of the faults that happened.
void takeFaults(const QByteArray &text, Counts *counts)
{
    for (const char *option : FAULTS)
        counts->faults[QByteArray(option).split(':').at(0)] = 0;
    for (const QByteArray &line : text.split('\n')) {
        const QList<QByteArray> words = line.split(' ');
        if (words.size() == 4 && words.at(1) == "fault")
            counts->faults[words.at(2).left(words.at(2).size() - 1)] = words.at(3).toLongLong();
    }
}

// At the speed of a line an old reply may come just after it was looked for.
bool soakOverPty(int requests, quint32 seed, const QString &kvsim)
{
    const int timeoutMs = 100 * KV_TEST_PATIENCE;
    QStringList arguments;
    arguments << QLatin1String("--seed") << QString::number(seed) << QLatin1String("--baud")
              << QString::number(PTY_BAUD);
    for (const QString &option : faultOptions(timeoutMs))
        arguments << QLatin1String("--fault") << option;
    QProcess simulator;
    simulator.start(kvsim, arguments);
    while (!simulator.canReadLine()) {
        if (!simulator.waitForReadyRead(10000))
            return false;
    }
    SerialPortSetting setting;
    setting.device =
        QString::fromLatin1(simulator.readLine()).trimmed().section(QLatin1Char(' '), 1);
    setting.baudRate = PTY_BAUD;
    setting.parity = QSerialPort::NoParity;
    QString error;
    QStringList warnings;
    const std::unique_ptr<Port> port = openSerialPort(setting, &error, &warnings);
    if (!port) {
        std::fprintf(stderr, "soak: %s\n", qPrintable(error));
        return false;
    }
    DeviceChannel channel(*port, DriverSetting(timeoutMs, 2, 0, 0));
    Soak soak(channel, seed, true);
    Counts counts = run(&soak, requests);
    simulator.terminate();
    simulator.waitForFinished();
    takeFaults(simulator.readAllStandardError(), &counts);
    return report("over a pseudo-terminal at 115200 baud", counts, true);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 5) {
        std::fprintf(stderr, "usage: soak REQUESTS_IN_MEMORY REQUESTS_OVER_PTY SEED KVSIM\n");
        return 2;
    }
    const int inMemory = QByteArray(argv[1]).toInt();
    const quint32 seed = QByteArray(argv[3]).toUInt();
    bool good = soakInMemory("in memory", inMemory, seed, 0, true, true);
    // Longer than the latest reply.
    good &= soakInMemory("in memory, no rest but a delay of 110 ms", inMemory / 10, seed, 110,
                         false, true);
    // What a runtime that does nothing against old replies would get.
    soakInMemory("in memory, neither rest nor delay", inMemory / 10, seed, 0, false, false);
    good &= soakOverPty(QByteArray(argv[2]).toInt(), seed, QString::fromLocal8Bit(argv[4]));
    return good ? 0 : 1;
}
