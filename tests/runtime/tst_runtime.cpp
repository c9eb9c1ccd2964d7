// The stand-in runtime: channels over real ports, port texts, plug-in loading, the trace.
#include "runtime/device_channel.h"
#include "runtime/driver_plugin.h"
#include "runtime/link_channel.h"
#include "runtime/port.h"
#include "runtime/request_outcome.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "runtime/trace_log.h"
#include "runtime/traced_channel.h"
#include "tests/runtime/line_peer.h"
#include "testkit/scripted_channel.h"
#include "tests/table.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

#include <algorithm>
#include <climits>
#include <csignal>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

namespace
{

const int DISCARD_INPUT = 12;
const int LONG_MS = 5000;

DriverSetting withTimeout(int timeoutMs)
{
    return DriverSetting(timeoutMs, 3, 0, 0);
}

QByteArray readOnce(AbstractDeviceInterface &channel, int maxLength = 100)
{
    QByteArray buffer(maxLength, '\0');
    const int count = channel.read(buffer.data(), maxLength);
    return count > 0 ? buffer.left(count) : QByteArray();
}

/// A wire on which each line is answered after a time, with a clock of its own.
struct SlowWire : public Port {
    int read(char *buffer, int) override
    {
        if (!hasCome())
            return 0;
        *buffer = answer;
        if (!isEndless)
            answers.removeFirst();
        return 1;
    }
    int write(const char *, int length, int timeoutMs) override
    {
        ms += isFull ? timeoutMs : 0;
        if (answerMs >= 0)
            answers.append(ms + answerMs);
        return isFull ? 0 : length;
    }
    bool waitForInput(qint64 atMostMs) override
    {
        const qint64 endMs = ms + atMostMs;
        if (isEndless)
            ms = qMin(endMs, ms + 1);
        else
            ms = answers.isEmpty() ? endMs : qMin(endMs, qMax(ms, answers.first()));
        return hasCome();
    }
    bool hasCome() const { return isEndless || (!answers.isEmpty() && answers.first() <= ms); }
    qint64 nowMs() const override { return ms; }
    qint64 transmissionMs(int) const override { return lineMs; }

    qint64 ms = 0;
    qint64 lineMs = 0;    // that a line takes to leave
    qint64 answerMs = -1; // negative for none
    QList<qint64> answers;
    char answer = '\n';
    bool isFull = false;    // takes no byte
    bool isEndless = false; // sends all the time
};

struct SlowChannel : public DeviceChannel {
    explicit SlowChannel(SlowWire &port)
        : DeviceChannel(port, DriverSetting(100, 1000, 99, 600000)), wire(port)
    {}

    /// @return how long a line with its answer takes, and the discarding after it
    qint64 exchange(qint64 answerMs, bool fails)
    {
        const qint64 beginMs = wire.nowMs();
        wire.answerMs = answerMs;
        write(line.constData(), line.size());
        readOnce(*this);
        if (fails)
            noteFailedAttempt();
        control(DISCARD_INPUT, 0);
        return wire.nowMs() - beginMs;
    }

    SlowWire &wire;
    QByteArray line = "CQ\r\n";
};

/// A port that this process has opened, and its far end.
struct Line {
    explicit Line(LinePeer::Wire wire) : peer(wire)
    {
        setting.device = peer.place();
        isTcp = parseTcpAddress(peer.place(), &address).isGood();
        clock.start();
    }

    std::unique_ptr<Port> open()
    {
        std::unique_ptr<Port> port;
        warnings.clear();
        clock.restart();
        const Failure failure =
            isTcp ? openTcp(address, LONG_MS, &port) : openSerialPort(setting, &port, &warnings);
        error = failure.text();
        return port;
    }

    LinePeer peer;
    SerialPortSetting setting;
    TcpAddress address;
    bool isTcp;
    QString error;
    QStringList warnings;
    QElapsedTimer clock; // since the latest opening
};

// Device, baud rate, data bits, Qt's code of the parity and stop bits, or host and port.
QString portText(bool isTcp, const TcpAddress &tcp, const SerialPortSetting &serial)
{
    return isTcp ? QString::asprintf("%s %d", qPrintable(tcp.host), tcp.port)
                 : QString::asprintf("%s %d %d %d %d", qPrintable(serial.device), serial.baudRate,
                                     serial.dataBits, serial.parity, serial.stopBits);
}

const struct {
    const char *name;
    bool isTcp;
    QString expected;
} PORTS[] = {
    {"/dev/ttyS1", false, "/dev/ttyS1 9600 8 2 1"},
    {"ttyS1,38400,7o2", false, "ttyS1 38400 7 3 2"},
    {"ttyS1,50,5n1", false, "ttyS1 50 5 0 1"},
    {"ttyS1,4000000,6M1", false, "ttyS1 4000000 6 5 1"},
    {"ttyS1,9600,8s1", false, "ttyS1 9600 8 4 1"},
    {"plc.local:1", true, "plc.local 1"},
    {"[::1]:65535", true, "::1 65535"},
};

const char NO_SERIAL_PORTS[] =
    "|,9600|ttyS1,|ttyS1,49|ttyS1,4000001|ttyS1,96x0|ttyS1, 9600|ttyS1,9600,|ttyS1,9600,4e1|"
    "ttyS1,9600,9e1|ttyS1,9600,8x1|ttyS1,9600,8e3|ttyS1,9600,8e11|ttyS1,9600,8e1,x";

const char NO_TCP_ADDRESSES[] = "::1:8501|plc.local|plc.local:|plc.local:0|plc.local:65536|"
                                "plc.local:85x|:8501|[]:8501|[::1]";

} // namespace

class TestRuntime : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_files = openFiles(QCoreApplication::applicationPid()); }
    void cleanup() { QCOMPARE(openFiles(QCoreApplication::applicationPid()), m_files); }

    void discardsInput()
    {
        for (LinePeer::Wire wire : {LinePeer::Pty, LinePeer::Tcp}) {
            Line line(wire);
            const std::unique_ptr<Port> port = line.open();
            QVERIFY2(port, qPrintable(line.error));
            DeviceChannel channel(*port, withTimeout(LONG_MS));
            QVERIFY(line.peer.play(">E1"));
            QCOMPARE(readOnce(channel, 1), QByteArray("E"));
            QCOMPARE(channel.control(DISCARD_INPUT + 1, 0), 0);
            QCOMPARE(readOnce(channel, 1), QByteArray("1"));
            QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
            QVERIFY(line.peer.play(">CF"));
            QCOMPARE(readOnce(channel), QByteArray("CF\r\n"));
            QVERIFY(!port->isBroken());
            line.peer.vanish();
            QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
            QVERIFY(!port->brokenText().isEmpty());
        }
    }

    void discardingEndsOnAnEndlessSender()
    {
        SlowWire wire;
        wire.isEndless = true;
        SlowChannel channel(wire);
        QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
        QCOMPARE(wire.ms, qint64(0));
        channel.getRetry();
        QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
        QCOMPARE(wire.ms, qint64(100)); // never silent for 10 ms
        LinkChannel link(channel, 100, nullptr);
        link.getRetry();
        link.discardInput();
        link.noteFailedAttempt();
        link.discardInput();
        QCOMPARE(wire.ms, qint64(300));
    }

    // Five time-outs for each reply, but not for one PLC that stays silent again and again. After a
    // failed attempt twice the time of the slowest answer, which quick ones make it forget.
    void waitsForWhatMayStillCome()
    {
        // Time-out, answer, whether the attempt failed, the whole time. The first answer may belong
        // to the line before.
        const qint64 rows[][4] = {{100, -1, 0, 100},
                                  {100, 5, 0, 500},
                                  {100, 5, 0, 5},
                                  {100, 420, 0, 420},
                                  {100, -1, 0, 500},
                                  {100, -1, 0, 100},
                                  {600000, 5, 0, 3000000},
                                  {600000, 30000, 1, 90010},
                                  {600000, 0, 0, 0},
                                  {600000, 0, 1, 45946},
                                  {20, 0, 1, 20},
                                  {20, -1, 0, 100},
                                  {INT_MAX, -1, 0, 86400000},
                                  {-1, -1, 0, 0}};
        SlowWire wire;
        SlowChannel channel(wire);
        for (const auto &row : rows) {
            channel.setTimeout(static_cast<int>(row[0]));
            QCOMPARE(channel.exchange(row[1], row[2] == 1), row[3]);
        }
        // Whoever uses the port next would get the reply.
        channel.setTimeout(100);
        channel.exchange(-1, false);
        channel.write("CQ\r\n", 4);
        const qint64 beginMs = wire.nowMs();
        channel.awaitReplies();
        QCOMPARE(wire.nowMs(), beginMs + 500);
        // Frames of a protocol without line ends.
        channel.line = "\2Q\3";
        wire.answer = '\3';
        QCOMPARE(channel.exchange(5, false), qint64(5));
        QCOMPARE(channel.exchange(420, false), qint64(420));
        channel.setTimeout(600000);
        wire.isFull = true;
        wire.ms = 0;
        QCOMPARE(channel.write("CQ\r\n", 4), 0);
        QVERIFY(wire.ms > 590000 && wire.ms <= 600000);
        QCOMPARE(channel.getRetry(), 1000);
        QCOMPARE(channel.getStationId(), 99);
        QCOMPARE(channel.getDelay(), 600000ul);
    }

    // Four characters of 12 bits at 300 baud take 160 ms.
    void countsFromTheEndOfALine()
    {
        Line terminal(LinePeer::Pty);
        terminal.setting.baudRate = 300;
        const std::unique_ptr<Port> port = terminal.open();
        QVERIFY2(port, qPrintable(terminal.error));
        QCOMPARE(port->transmissionMs(4), qint64(161));
        SlowWire wire;
        wire.lineMs = 161;
        SlowChannel channel(wire);
        QCOMPARE(channel.exchange(-1, false), qint64(261));
        wire.ms += qint64(25) * 24 * 60 * 60 * 1000;
        const qint64 beginMs = wire.nowMs();
        readOnce(channel);
        QCOMPARE(wire.nowMs(), beginMs + 100);
        channel.write("CQ\r\n", 4);
        channel.getRetry();
        channel.control(DISCARD_INPUT, 0);
        QCOMPARE(wire.nowMs(), beginMs + 100 + 161 + 10);
    }

    void unsentBytesDoNotComeLate()
    {
        for (LinePeer::Wire wire : {LinePeer::Pty, LinePeer::Tcp}) {
            Line line(wire);
            const std::unique_ptr<Port> port = line.open();
            QVERIFY2(port, qPrintable(line.error));
            DeviceChannel channel(*port, withTimeout(50));
            const QByteArray flood(64 * 1024 * 1024, 'x'); // more than the kernel takes
            line.clock.start();
            const int taken = channel.write(flood.constData(), flood.size());
            QVERIFY(taken > 0 && taken < flood.size());
            QVERIFY(line.clock.elapsed() >= 49 && line.clock.elapsed() < LONG_MS);
            const int come = line.peer.rest().size();
            QCOMPARE(channel.write("CR 00\r\n", 7), line.isTcp ? -1 : 7);
            QByteArray later = line.peer.rest();
            if (!line.isTcp)
                QTRY_VERIFY((later += line.peer.rest()).endsWith("CR 00\r\n"));
            else
                QVERIFY(port->isBroken());
            QVERIFY(come + later.size() <= taken + (line.isTcp ? 0 : 7));
        }
    }

    void waitsOnAfterSignals()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        QVERIFY(sigaction(SIGALRM, &action, nullptr) == 0);
        Line terminal(LinePeer::Pty);
        const std::unique_ptr<Port> port = terminal.open();
        QVERIFY2(port, qPrintable(terminal.error));
        const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
        const itimerval never = {{0, 0}, {0, 0}};
        setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
        terminal.clock.start();
        const bool isInput = port->waitForInput(50);
        setitimer(ITIMER_REAL, &never, nullptr);
        QVERIFY(!isInput && terminal.clock.elapsed() >= 49 && terminal.clock.elapsed() < LONG_MS);
    }

    void noticesThatThePeerIsGone()
    {
        Line line(LinePeer::Tcp);
        const std::unique_ptr<Port> port = line.open();
        QVERIFY2(port, qPrintable(line.error));
        DeviceChannel channel(*port, withTimeout(LONG_MS));
        QVERIFY(line.peer.play(">CF"));
        line.peer.vanish();
        QCOMPARE(readOnce(channel, 1), QByteArray("C"));
        QCOMPARE(readOnce(channel), QByteArray("F\r\n"));
        QCOMPARE(readOnce(channel), QByteArray());
        QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
        QCOMPARE(channel.write("CQ\r\n", 4), -1);
        QVERIFY(line.clock.elapsed() < LONG_MS);
        QVERIFY(!port->brokenText().isEmpty());
        line.address.port = 0;
        QVERIFY(!line.open());
    }

    void parsesPortTexts_data() { addRows(PORTS); }

    void parsesPortTexts()
    {
        const auto &row = currentRow(PORTS);
        const QString text = QString::fromLatin1(row.name);
        SerialPortSetting serial;
        TcpAddress tcp;
        QVERIFY(!(row.isTcp ? parseTcpAddress(text, &tcp) : parseSerialPort(text, &serial)));
        QCOMPARE(portText(row.isTcp, tcp, serial), row.expected);
    }

    void refusesPortTexts()
    {
        SerialPortSetting serial;
        TcpAddress tcp;
        for (const QString &text : QString(NO_SERIAL_PORTS).split('|'))
            QVERIFY2(!parseSerialPort(text, &serial).text().isEmpty(), qPrintable(text));
        for (const QString &text : QString(NO_TCP_ADDRESSES).split('|'))
            QVERIFY2(!parseTcpAddress(text, &tcp).text().isEmpty(), qPrintable(text));
        QCOMPARE(portText(false, tcp, serial) + portText(true, tcp, serial),
                 QString(" 9600 8 2 1 0"));
    }

    // A pseudo-terminal refuses even parity and other data bits than 8.
    void setsTheParametersOfALine()
    {
        const QMap<QString, tcflag_t> rows = {{"38400,8n2", B38400 | CSTOPB},
                                              {"9600,8n1", B9600},
                                              {"9600,7n1", B9600},
                                              {"300,8e1", B300},
                                              {"9600,8o1", B9600 | PARODD}};
        Line terminal(LinePeer::Pty);
        const QString place = terminal.setting.device;
        for (const QString &format : rows.keys()) {
            QVERIFY(!parseSerialPort(place + ',' + format, &terminal.setting));
            const std::unique_ptr<Port> port = terminal.open();
            QVERIFY2(port, qPrintable(terminal.error));
            QCOMPARE(terminal.peer.settings().c_cflag & (CBAUD | CSTOPB | PARODD),
                     rows.value(format));
            QCOMPARE(terminal.warnings.isEmpty(), format != "9600,7n1" && format != "300,8e1");
        }
    }

    void opensATerminalAloneAndWithoutParity()
    {
        Line terminal(LinePeer::Pty);
        std::unique_ptr<Port> port = terminal.open();
        QVERIFY2(port, qPrintable(terminal.error));
        QVERIFY(!terminal.open());
        QCOMPARE(terminal.error, QString("another process uses it"));
        const termios leftBehind = terminal.peer.settings();
        QVERIFY((leftBehind.c_iflag & (INPCK | IGNPAR | PARMRK)) == INPCK);
        port.reset();
        // A program without Qt locks only the open file, and keeps its settings of the line.
        const int other = ::open(qPrintable(terminal.peer.place()), O_RDWR | O_NOCTTY | O_CLOEXEC);
        QCOMPARE(flock(other, LOCK_EX | LOCK_NB), 0);
        QCOMPARE(tcsetattr(other, TCSANOW, &leftBehind), 0);
        terminal.setting.device.remove("/dev/");
        terminal.setting.baudRate = 115200;
        QVERIFY(!terminal.open());
        QCOMPARE(terminal.error, QString("another process uses it"));
        termios kept;
        QCOMPARE(tcgetattr(other, &kept), 0);
        QCOMPARE(cfgetospeed(&kept), speed_t(B9600));
        // A program that was killed leaves its settings behind; with these in place the terminal
        // refuses parity instead of ignoring it.
        ::close(other);
        port = terminal.open();
        QVERIFY2(port, qPrintable(terminal.error));
        QVERIFY(!port->isBroken());
        QCOMPARE(terminal.warnings.filter(terminal.setting.device).size(), 1);
        terminal.setting.device = "/dev/null";
        QVERIFY(!terminal.open());
        QCOMPARE(terminal.error, QString("it is not a serial port"));
    }

    void refusesOtherPlugins()
    {
        const QString plugins = QCoreApplication::libraryPaths().first();
        const QString rows[][2] = {{plugins, "not a file"},
                                   {QFINDTESTDATA("tst_runtime.cpp"), "not a plug-in"},
                                   {plugins + "/sqldrivers/libqsqlite.so", "another kind"},
                                   {KV_UNRESOLVED_PLUGIN, "functionOfNoLibrary"}};
        for (const auto &row : rows) {
            DriverPlugin plugin;
            const QString error = plugin.load(row[0]).text();
            QVERIFY(!plugin.driver());
            QVERIFY2(error.contains(row[1]) && error.contains(row[0]), qPrintable(error));
        }
        // It is another driver by its class, which shows without loading it.
        const Outcome ping = kvlink({"ping", "--sim", "--driver", KV_UNRESOLVED_PLUGIN});
        QVERIFY2(ping.err.startsWith("kvlink: ping speaks Host Link"), qPrintable(ping.err));
        QVERIFY(!DriverPlugin::isOther(KV_PLUGIN_FILE));
    }

    void theEnvironmentNamesAnotherDriver()
    {
        qputenv("KV_HOSTLINK_DRIVER", "other.so");
        const QString chosen = DriverPlugin::defaultPath();
        qunsetenv("KV_HOSTLINK_DRIVER");
        QCOMPARE(chosen, QString("other.so"));
    }

    void sortsErrorTexts()
    {
        for (const char *text :
             {"invalid response", "invalid response:", "invalid response2", "invalid response3"})
            QVERIFY2(outcomeOf(QLatin1String(text)) == RequestOutcome::UnusableReply, text);
        for (const char *text :
             {"address \"PLC no response\" holds no device number", "invalid", ""})
            QVERIFY2(outcomeOf(QLatin1String(text)) == RequestOutcome::Refused, text);
    }

    // An attempt may have several exchanges, or send nothing.
    void countsAttempts()
    {
        ScriptedChannel channel(">CR 00|<CF|>CR 00|<CC 00|>CQ|<CF{CR}{LF}x|>CR 00|<CF");
        TracedChannel traced(channel, nullptr);
        traced.beginRequest();
        for (const char *line : {"", "CR 00\r\n", "", "", "CR 00\r\n", "CQ\r\n", "CR 00\r\n"}) {
            if (!*line)
                traced.getDelay();
            else if (traced.write(line, static_cast<int>(qstrlen(line))) > 0)
                readOnce(traced);
        }
        QCOMPARE(channel.fault(), QByteArray());
        QCOMPARE(traced.record().attempts, 2);
    }

    void tracesLinesNotChunks()
    {
        ScriptedChannel channel(">CR 00|<<C|<<C 00{CR}{LF}{NUL}\x80 half|~");
        QString text;
        QTextStream out(&text);
        TraceLog log(out);
        TracedChannel traced(channel, &log);
        QCOMPARE(traced.write("CR 00\r\n", 7), 7);
        QCOMPARE(readOnce(traced), QByteArray("C"));
        QCOMPARE(readOnce(traced).size(), 13);
        QCOMPARE(readOnce(traced), QByteArray());
        QCOMPARE(channel.fault(), QByteArray());
        QCOMPARE(traced.bytes(), qint64(21));
        text.remove(QRegularExpression("[-0-9]+T[0-9:.]+[+-][0-9:]+ [0-9.]+ \\+[0-9.]+ "));
        QCOMPARE(text, QString("> CR 00\\r\\n ; open station 00\n"
                               "< CC 00\\r\\n ; opened\n"
                               "< \\x00\\x80 half ; no line end\n"));
    }

private:
    int m_files = 0;
};

QTEST_MAIN(TestRuntime)

#include "tst_runtime.moc"
