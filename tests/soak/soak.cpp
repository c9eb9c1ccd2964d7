// Drives the driver through a simulated PLC that misbehaves, and compares every value read and
// every write reported as done with what the PLC's memory may hold.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "host/device_channel.h"
#include "host/serial_port.h"
#include "tests/soak/faulty_line.h"
#include "tests/soak/plc_model.h"
#include "tools/drv_dev_setting.h"
#include "tools/tools.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QStringList>

#include <cstdio>

const Area AREAS[] = {
    {"DM", 10, Word, 2, 400, 40, 20},      {"W", 16, Word, 2, 100, 307, 100},
    {"MR", 10, Word, 2, 20, 20, 20},       {"R", 10, BitBlock, 0, 16, 16, 16},
    {"T", 10, DoubleWord, 4, 60, 30, 30},  {"PCTC", 10, DoubleWord, 4, 8, 8, 8},
    {"CC", 10, DoubleWord, 4, 60, 60, 40}, {"CTC", 10, Bit, 0, 8, 8, 4},
    {"T10", 10, Bit, 0, 10, 10, 3},        {"ZF", 10, DoubleWord, 4, 50, 50, 50},
};
const int AREA_COUNT = sizeof AREAS / sizeof *AREAS;

namespace
{

// In one reply in a hundred, in equal shares. LATE stands for a time beyond the time-out.
const char *const FAULTS[] = {
    "late:%1,LATE",    "late:%1,5",      "doubled:%1",  "noise-before:%1",
    "noise-inside:%1", "noise-after:%1", "cut:%1",      "wrong-station:%1",
    "wrong-close:%1",  "error-reply:%1", "no-reply:%1", "split:%1,1",
};
const double FAULT_RATE = 0.01;
const double DIGIT_RATE = 0.0005;

// An item of a double word on a word device takes two of the device's numbers.
int numbersPerItem(const Area &area)
{
    return area.device == QByteArray("ZF") ? 2 : 1;
}

class Soak
{
public:
    Soak(AbstractDeviceInterface &channel, FaultyLine *line, quint32 seed)
        : m_channel(channel), m_line(line), m_chance(seed), m_failedInARow(0), m_longestOutage(0)
    {
        for (int i = 0; i < AREA_COUNT; ++i)
            m_cells.append(QVector<Cell>(AREAS[i].size));
    }

    void request()
    {
        const int i = random(AREA_COUNT);
        const bool writing = random(3) == 0;
        const Area &area = AREAS[i];
        const int most = qMin(writing ? area.mostWritten : area.mostRead, area.size);
        const int count = 1 + random(most);
        const int first = random(area.size - count + 1);
        const CommunicatorCommand command(area.kind, static_cast<quint32>(count),
                                          area.address(first * numbersPerItem(area)));
        QByteArray data;
        QVector<quint32> values;
        if (writing)
            data = newData(area, count, &values);
        const bool done = writing ? m_driver.write(&m_channel, command, data) == 1
                                  : !(data = m_driver.read(&m_channel, command)).isEmpty();
        const bool digitChanged = m_line && m_line->takeDigitChanged();
        note(done, digitChanged, data.size() == (writing ? data.size() : command.byteLength()));
        for (int k = 0; k < count; ++k) {
            Cell &cell = m_cells[i][first + k];
            if (writing && done)
                cell.written(values.at(k));
            else if (writing)
                cell.perhapsWritten(values.at(k));
            else if (done && digitChanged)
                m_counts["values that changed by a digit"] += !cell.mayBe(valueAt(area, data, k));
            else if (done && !cell.settle(valueAt(area, data, k)))
                ++m_counts["WRONG VALUES"];
        }
    }

    // Reads everything once more: whatever happened, the PLC answers again, and holds what was
    // written.
    void compareAll()
    {
        for (int i = 0; i < AREA_COUNT; ++i) {
            const Area &area = AREAS[i];
            for (int first = 0; first < area.size; ++first) {
                const CommunicatorCommand command(area.kind, 1,
                                                  area.address(first * numbersPerItem(area)));
                QByteArray data;
                for (int patience = 0; patience < 5 && data.isEmpty(); ++patience)
                    data = m_driver.read(&m_channel, command);
                if (m_line && m_line->takeDigitChanged())
                    continue;
                if (data.isEmpty())
                    ++m_counts["OUTAGES THAT DID NOT END"];
                else if (!m_cells[i][first].settle(valueAt(area, data, 0)))
                    ++m_counts["LOST WRITES"];
            }
        }
    }

    int report(const QByteArray &road, int requests) const
    {
        std::printf("%s: %d requests, longest outage %d requests\n", road.constData(), requests,
                    m_longestOutage);
        int bad = 0;
        for (QMap<QByteArray, int>::const_iterator it = m_counts.begin(); it != m_counts.end();
             ++it) {
            std::printf("  %-50s %8d\n", it.key().constData(), it.value());
            if (it.key() == it.key().toUpper())
                bad += it.value();
        }
        std::printf("  %-50s %8d\n", "silently wrong", bad);
        return bad;
    }

private:
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

    void note(bool done, bool digitChanged, bool wholeLength)
    {
        m_failedInARow = done ? 0 : m_failedInARow + 1;
        m_longestOutage = qMax(m_longestOutage, m_failedInARow);
        if (digitChanged)
            ++m_counts["requests with a changed digit"];
        if (done) {
            ++m_counts["done"];
            if (!wholeLength)
                ++m_counts["RESULTS OF WRONG LENGTH"];
            if (m_driver.hasError())
                ++m_counts["SUCCESSES WITH AN ERROR FLAG"];
            return;
        }
        const QByteArray text = m_driver.getLastError().toLatin1().simplified();
        if (!m_driver.hasError() || text.isEmpty())
            ++m_counts["FAILURES WITHOUT A TEXT"];
        else
            ++m_counts["failed: " + text];
    }

    AbstractDeviceInterface &m_channel;
    FaultyLine *m_line;
    DriverKV_L20V_HostLink m_driver;
    std::mt19937 m_chance;
    QVector<QVector<Cell>> m_cells;
    QMap<QByteArray, int> m_counts;
    int m_failedInARow;
    int m_longestOutage;
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

int soakInMemory(int requests, quint32 seed)
{
    PlcMemory memory;
    FaultPlan plan(seed);
    foreach (const QString &option, faultOptions(FaultyLine::TIMEOUT_US / 1000)) {
        QByteArray error;
        if (!plan.addOption(option.toLatin1(), &error)) {
            std::fprintf(stderr, "soak: %s\n", error.constData());
            return 1;
        }
    }
    FaultyLine line(memory, plan, DIGIT_RATE, seed);
    Soak soak(line, &line, seed);
    for (int i = 0; i < requests; ++i)
        soak.request();
    soak.compareAll();
    for (int kind = 0; kind < FAULT_KINDS; ++kind)
        std::printf(
            "  injected %-41s %8llu\n", faultName(static_cast<FaultKind>(kind)),
            static_cast<unsigned long long>(line.engine().count(static_cast<FaultKind>(kind))));
    return soak.report("in memory", requests);
}

// At the speed of a line an old reply may come just after it was looked for, and the answer to a
// long write takes the time of that.
int soakOverPty(int requests, quint32 seed, const QString &kvsim, const char *baudRate)
{
    const int timeoutMs = *baudRate == '\0' ? 20 : 100;
    QStringList arguments;
    arguments << QLatin1String("--seed") << QString::number(seed);
    if (*baudRate != '\0')
        arguments << QLatin1String("--baud") << QLatin1String(baudRate);
    foreach (const QString &option, faultOptions(timeoutMs))
        arguments << QLatin1String("--fault") << option;
    QProcess simulator;
    simulator.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    simulator.start(kvsim, arguments);
    while (!simulator.canReadLine()) {
        if (!simulator.waitForReadyRead(10000))
            return 1;
    }
    SerialPortSetting setting;
    setting.device =
        QString::fromLatin1(simulator.readLine()).trimmed().section(QLatin1Char(' '), 1);
    setting.parity = QSerialPort::NoParity;
    QString error;
    QStringList warnings;
    const std::unique_ptr<QSerialPort> port = openSerialPort(setting, &error, &warnings);
    if (!port) {
        std::fprintf(stderr, "soak: %s\n", qPrintable(error));
        return 1;
    }
    DeviceChannel channel(port.get(), DriverSetting(timeoutMs, 2, 0, 0));
    Soak soak(channel, nullptr, seed);
    for (int i = 0; i < requests; ++i)
        soak.request();
    soak.compareAll();
    simulator.terminate();
    simulator.waitForFinished();
    const QByteArray speed(baudRate);
    return soak.report(
        "over a pseudo-terminal" + (speed.isEmpty() ? speed : " at " + speed + " baud"), requests);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 5) {
        std::fprintf(stderr, "usage: soak REQUESTS_IN_MEMORY REQUESTS_OVER_PTY SEED KVSIM\n");
        return 2;
    }
    const quint32 seed = QByteArray(argv[3]).toUInt();
    const int overPty = QByteArray(argv[2]).toInt();
    const QString kvsim = QString::fromLocal8Bit(argv[4]);
    const int bad = soakInMemory(QByteArray(argv[1]).toInt(), seed) +
                    soakOverPty(overPty, seed, kvsim, "") +
                    soakOverPty(overPty / 10, seed, kvsim, "115200");
    return bad == 0 ? 0 : 1;
}
