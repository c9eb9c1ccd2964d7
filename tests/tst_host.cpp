// The stand-in runtime: channels over real ports, port texts, plug-in loading, the trace.
#include "host/device_channel.h"
#include "host/driver_outcome.h"
#include "host/driver_plugin.h"
#include "host/port_error.h"
#include "host/serial_port.h"
#include "host/tcp_port.h"
#include "host/trace_log.h"
#include "host/traced_channel.h"
#include "scripted_channel.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSemaphore>
#include <QtCore/QTextStream>
#include <QtCore/QThread>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <termios.h>
#include <thread>
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

/// A port where something has come after every wait.
struct EndlessPort : public QIODevice {
    EndlessPort() : arrived(0), waitedMs(0) { open(QIODevice::ReadOnly | QIODevice::Unbuffered); }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return arrived; }
    bool waitForReadyRead(int msecs) override
    {
        waitedMs += msecs;
        arrived += 5;
        return true;
    }
    qint64 readData(char *, qint64 maxSize) override
    {
        arrived -= maxSize;
        return maxSize;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

    qint64 arrived;
    int waitedMs;
};

/// Both ends of a TCP connection on this machine; the server takes no other.
struct LoopbackPair {
    LoopbackPair()
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        address.host = QLatin1String("127.0.0.1");
        address.port = server.serverPort();
        near = openTcp(address, LONG_MS, &error);
        if (near && server.waitForNewConnection(LONG_MS)) {
            far.reset(server.nextPendingConnection());
            far->setParent(nullptr);
        }
        clock.start();
    }

    // Leaves the bytes in the kernel's buffer of the near end.
    bool sendToNear(const QByteArray &bytes)
    {
        return far->write(bytes) == bytes.size() && far->waitForBytesWritten(LONG_MS);
    }

    TcpAddress address;
    QString error;
    std::unique_ptr<QTcpSocket> near;
    std::unique_ptr<QTcpSocket> far;
    QElapsedTimer clock; // since the connection was made
};

/// A pseudo-terminal, and a client's ways to open it.
struct PseudoTerminal {
    PseudoTerminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0)
            setting.device = QString::fromLatin1(ptsname(m_master));
    }
    ~PseudoTerminal() { hangUp(); }

    void hangUp()
    {
        if (m_master >= 0)
            ::close(m_master);
        m_master = -1;
    }

    std::unique_ptr<QSerialPort> open()
    {
        error.clear();
        warnings.clear();
        return openSerialPort(setting, &error, &warnings);
    }

    // As a program without Qt does.
    int openPlainly() const
    {
        return ::open(setting.device.toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }

    SerialPortSetting setting;
    QString error;
    QStringList warnings;
    int m_master;
};

} // namespace

class TestHost : public QObject
{
    Q_OBJECT

private slots:
    void waitsOnlyAsLongAsTheTimeout();
    void discardsInputThatWaitsInTheKernel();
    void discardsInputOfASerialPort();
    void discardingEndsOnAnEndlessSender();
    void letsTheLineRestAfterAFailedAttempt_data();
    void letsTheLineRestAfterAFailedAttempt();
    void writingToAPeerThatNeverReadsReturns();
    void noticesThatThePeerIsGone();

    void parsesPortTexts_data();
    void parsesPortTexts();
    void opensATerminalAloneAndWithoutParity();
    void tellsWhyAPortCannotBeOpened();

    void refusesOtherPlugins_data();
    void refusesOtherPlugins();
    void theEnvironmentNamesAnotherDriver();
    void sortsErrorTexts();
    void tracesLinesNotChunks();
};

void TestHost::waitsOnlyAsLongAsTheTimeout()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    DeviceChannel channel(pair.near.get(), withTimeout(30));
    QCOMPARE(readOnce(channel), QByteArray());
    QVERIFY(pair.clock.elapsed() >= 29);
    QVERIFY(pair.clock.elapsed() < LONG_MS);
    QVERIFY(brokenPortText(*pair.near).isEmpty());
    // A negative time-out is no wait at all, not an endless one.
    DeviceChannel hasty(pair.near.get(), withTimeout(-1));
    QCOMPARE(readOnce(hasty), QByteArray());
}

void TestHost::discardsInputThatWaitsInTheKernel()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    DeviceChannel channel(pair.near.get(), withTimeout(LONG_MS));
    QVERIFY(pair.sendToNear("E1\r\n"));
    QCOMPARE(readOnce(channel, 1), QByteArray("E"));
    QVERIFY(pair.sendToNear("stale\r\n"));
    QCOMPARE(channel.control(DISCARD_INPUT + 1, 0), 0);
    QCOMPARE(readOnce(channel, 1), QByteArray("1"));
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QVERIFY(pair.sendToNear("CF\r\n"));
    QCOMPARE(readOnce(channel), QByteArray("CF\r\n"));
}

void TestHost::discardsInputOfASerialPort()
{
    PseudoTerminal terminal;
    const std::unique_ptr<QSerialPort> port = terminal.open();
    QVERIFY2(port, qPrintable(terminal.error));
    DeviceChannel channel(port.get(), withTimeout(LONG_MS));
    const auto send = [&terminal](const QByteArray &bytes) {
        return ::write(terminal.m_master, bytes.constData(), size_t(bytes.size())) == bytes.size();
    };
    // In Qt's buffer alone, in the kernel alone, in both, in none.
    for (const char *script : {"r", "k", "rk", ""}) {
        const bool inQt = QByteArray(script).contains('r');
        QVERIFY(!inQt || send("E1\r\n"));
        QCOMPARE(inQt ? readOnce(channel, 1) : "E", QByteArray("E"));
        QVERIFY(!QByteArray(script).contains('k') || send("stale\r\n"));
        QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
        QVERIFY(send("CF\r\n"));
        QCOMPARE(readOnce(channel), QByteArray("CF\r\n"));
    }
    QVERIFY(brokenPortText(*port).isEmpty());
    terminal.hangUp();
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QVERIFY(!brokenPortText(*port).isEmpty());
}

void TestHost::discardingEndsOnAnEndlessSender()
{
    EndlessPort port;
    DeviceChannel channel(&port, withTimeout(40));
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QCOMPARE(port.waitedMs, 0);
    QCOMPARE(port.arrived, qint64(0));
    channel.getRetry();
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QCOMPARE(port.arrived, qint64(0));
}

void TestHost::letsTheLineRestAfterAFailedAttempt_data()
{
    QTest::addColumn<bool>("failed");
    QTest::newRow("good") << false;
    QTest::newRow("failed") << true;
}

void TestHost::letsTheLineRestAfterAFailedAttempt()
{
    QFETCH(bool, failed);
    PseudoTerminal terminal;
    const std::unique_ptr<QSerialPort> port = terminal.open();
    QVERIFY2(port, qPrintable(terminal.error));
    DeviceChannel channel(port.get(), withTimeout(LONG_MS));
    const auto send = [&terminal] { return ::write(terminal.m_master, "CF\r\n", 4) == 4; };
    QSemaphore answered;
    bool sent = false;
    std::thread peer([&] {
        QThread::msleep(100 * KV_TEST_PATIENCE);
        sent = send();
        answered.acquire();
        QThread::msleep(50 * KV_TEST_PATIENCE); // well below twice the time of the answer before
        sent = send() && sent;
    });
    channel.write("CQ\r\n", 4);
    const QByteArray answer = readOnce(channel);
    answered.release();
    if (failed)
        channel.getRetry();
    channel.control(DISCARD_INPUT, 0);
    peer.join();
    QVERIFY(sent);
    QCOMPARE(answer, QByteArray("CF\r\n"));
    QCOMPARE(isIdle(*port), failed);
}

void TestHost::writingToAPeerThatNeverReadsReturns()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    pair.far->setReadBufferSize(1);
    DeviceChannel channel(pair.near.get(), withTimeout(20));
    const QByteArray flood(64 * 1024 * 1024, 'x'); // more than the kernel takes
    const int taken = channel.write(flood.constData(), flood.size());
    QVERIFY(taken > 0 && taken < flood.size());
    QVERIFY(pair.clock.elapsed() < LONG_MS);
}

void TestHost::noticesThatThePeerIsGone()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    DeviceChannel channel(pair.near.get(), withTimeout(LONG_MS));
    QVERIFY(pair.sendToNear("CF\r\n"));
    pair.far->close();
    QCOMPARE(readOnce(channel, 1), QByteArray("C"));
    QCOMPARE(readOnce(channel), QByteArray("F\r\n"));
    QCOMPARE(readOnce(channel), QByteArray());
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QCOMPARE(channel.write("CQ\r\n", 4), -1);
    QVERIFY(pair.clock.elapsed() < LONG_MS);
    QVERIFY(!brokenPortText(*pair.near).isEmpty());
}

// Device, baud rate, data bits, Qt's code of the parity and stop bits, or host and port. A refusal
// leaves these as they were.
void TestHost::parsesPortTexts_data()
{
    QTest::addColumn<bool>("isTcp");
    QTest::addColumn<QString>("expected");
    const auto row = [](bool isTcp, const char *text, const char *expected) {
        QTest::newRow(text) << isTcp << QString::fromLatin1(expected);
    };
    row(false, "/dev/ttyS1", "/dev/ttyS1 9600 8 2 1");
    row(false, "ttyS1,38400,7o2", "ttyS1 38400 7 3 2");
    row(false, "ttyS1,50,5n1", "ttyS1 50 5 0 1");
    row(false, "ttyS1,4000000,6M1", "ttyS1 4000000 6 5 1");
    row(false, "ttyS1,9600,8s1", "ttyS1 9600 8 4 1");
    for (const char *refused :
         {"", ",9600", "ttyS1,", "ttyS1,49", "ttyS1,4000001", "ttyS1,96x0", "ttyS1, 9600",
          "ttyS1,9600,", "ttyS1,9600,4e1", "ttyS1,9600,9e1", "ttyS1,9600,8x1", "ttyS1,9600,8e3",
          "ttyS1,9600,8e11", "ttyS1,9600,8e1,x"})
        row(false, refused, " 9600 8 2 1");
    row(true, "plc.local:1", "plc.local 1");
    row(true, "[::1]:65535", "::1 65535");
    for (const char *refused : {"::1:8501", "plc.local", "plc.local:", "plc.local:0",
                                "plc.local:65536", "plc.local:85x", ":8501", "[]:8501", "[::1]"})
        row(true, refused, " 0");
}

void TestHost::parsesPortTexts()
{
    QFETCH(bool, isTcp);
    QFETCH(QString, expected);
    const QString text = QString::fromLatin1(QTest::currentDataTag());
    SerialPortSetting serial;
    TcpAddress tcp;
    QString error;
    const bool ok =
        isTcp ? parseTcpAddress(text, &tcp, &error) : parseSerialPort(text, &serial, &error);
    QCOMPARE(ok, !expected.startsWith(QLatin1Char(' ')));
    QCOMPARE(error.isEmpty(), ok);
    const QString parsed =
        isTcp ? QString::asprintf("%s %d", qPrintable(tcp.host), tcp.port)
              : QString::asprintf("%s %d %d %d %d", qPrintable(serial.device), serial.baudRate,
                                  serial.dataBits, serial.parity, serial.stopBits);
    QCOMPARE(parsed, expected);
}

void TestHost::opensATerminalAloneAndWithoutParity()
{
    PseudoTerminal terminal;
    std::unique_ptr<QSerialPort> port = terminal.open();
    QVERIFY2(port, qPrintable(terminal.error));
    QVERIFY(!terminal.open());
    QCOMPARE(terminal.error, QString::fromLatin1("another process uses it"));
    termios leftBehind;
    QCOMPARE(tcgetattr(port->handle(), &leftBehind), 0);
    port.reset();
    // A program without Qt locks only the open file, and keeps its settings of the line.
    const int other = terminal.openPlainly();
    QCOMPARE(flock(other, LOCK_EX | LOCK_NB), 0);
    QCOMPARE(tcsetattr(other, TCSANOW, &leftBehind), 0);
    terminal.setting.device.remove(QLatin1String("/dev/"));
    terminal.setting.baudRate = 115200;
    QVERIFY(!terminal.open());
    QCOMPARE(terminal.error, QString::fromLatin1("another process uses it"));
    termios kept;
    QCOMPARE(tcgetattr(other, &kept), 0);
    QCOMPARE(cfgetospeed(&kept), speed_t(B9600));
    // A program that was killed leaves its settings behind; with these in place the terminal
    // refuses parity instead of ignoring it.
    ::close(other);
    port = terminal.open();
    QVERIFY2(port, qPrintable(terminal.error));
    QVERIFY(brokenPortText(*port).isEmpty());
    QCOMPARE(terminal.warnings.filter(terminal.setting.device).size(), 1);
}

void TestHost::tellsWhyAPortCannotBeOpened()
{
    PseudoTerminal terminal;
    terminal.setting.device = QLatin1String("/dev/no-such-port");
    QVERIFY(!terminal.open());
    QCOMPARE(terminal.error, QString::fromLatin1("No such file or directory"));

    LoopbackPair pair;
    QVERIFY(!openTcp(pair.address, LONG_MS, &pair.error));
    QCOMPARE(pair.error, QString::fromLatin1("Connection refused"));
}

void TestHost::refusesOtherPlugins_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");
    const QString plugins = QCoreApplication::libraryPaths().first();
    QTest::newRow("directory") << plugins << "not a file";
    QTest::newRow("text file") << QFINDTESTDATA("tst_host.cpp") << "not a plug-in";
    QTest::newRow("of another kind") << plugins + "/sqldrivers/libqsqlite.so"
                                     << "another kind";
}

void TestHost::refusesOtherPlugins()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);
    DriverPlugin plugin;
    QString error;
    QVERIFY(!plugin.load(path, &error) && !plugin.driver());
    QVERIFY2(error.contains(reason) && error.contains(path), qPrintable(error));
}

void TestHost::theEnvironmentNamesAnotherDriver()
{
    qputenv("KV_HOSTLINK_DRIVER", "other.so");
    const QString chosen = DriverPlugin::defaultPath();
    qunsetenv("KV_HOSTLINK_DRIVER");
    QCOMPARE(chosen, QString::fromLatin1("other.so"));
}

void TestHost::sortsErrorTexts()
{
    for (const char *text :
         {"invalid response", "invalid response:", "invalid response2", "invalid response3"})
        QVERIFY2(driverOutcome(QLatin1String(text)) == DriverOutcome::UnusableReply, text);
    for (const char *text : {"address \"PLC no response\" holds no device number", "invalid", ""})
        QVERIFY2(driverOutcome(QLatin1String(text)) == DriverOutcome::Refused, text);
}

void TestHost::tracesLinesNotChunks()
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
    text.remove(QRegularExpression(QLatin1String("[-0-9]+T[0-9:.]+ [0-9.]+ \\+[0-9.]+ ")));
    QCOMPARE(text, QString::fromLatin1("> CR 00\\r\\n ; open station 00\n"
                                       "< CC 00\\r\\n ; opened\n"
                                       "< \\x00\\x80 half ; no line end\n"));
}

QTEST_MAIN(TestHost)

#include "tst_host.moc"
