// The stand-in runtime: channels over real and scripted ports, port texts, plug-in loading, the trace.
#include "drivers/driver_interface.h"
#include "host/device_channel.h"
#include "host/driver_outcome.h"
#include "host/driver_plugin.h"
#include "host/escaped_text.h"
#include "host/port_error.h"
#include "host/serial_port.h"
#include "host/tcp_port.h"
#include "host/traced_channel.h"

#include <QtCore/QLibraryInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryFile>
#include <QtCore/QTextStream>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
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

/// A port whose input arrives in chunks, one per wait; without end when asked for.
class ScriptedPort : public QIODevice
{
public:
    ScriptedPort() : endless(false) { open(QIODevice::ReadWrite | QIODevice::Unbuffered); }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_arrived.size(); }

    bool waitForReadyRead(int msecs) override
    {
        waits.append(msecs);
        if (chunks.isEmpty())
            return false;
        m_arrived += endless ? chunks.first() : chunks.takeFirst();
        return true;
    }

    QList<QByteArray> chunks;
    QList<int> waits;
    QByteArray sent;
    bool endless;

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const QByteArray part = m_arrived.left(static_cast<int>(maxSize));
        m_arrived.remove(0, part.size());
        std::memcpy(data, part.constData(), static_cast<size_t>(part.size()));
        return part.size();
    }

    qint64 writeData(const char *data, qint64 size) override
    {
        sent.append(data, static_cast<int>(size));
        return size;
    }

private:
    QByteArray m_arrived;
};

/// Both ends of a TCP connection on this machine.
class LoopbackPair
{
public:
    LoopbackPair()
    {
        QTcpServer server;
        TcpAddress address;
        if (server.listen(QHostAddress::LocalHost) &&
            parseTcpAddress(QString::fromLatin1("127.0.0.1:%1").arg(server.serverPort()), &address,
                            &error))
            near = openTcp(address, LONG_MS, &error);
        if (near && server.waitForNewConnection(LONG_MS)) {
            far.reset(server.nextPendingConnection());
            far->setParent(nullptr);
        }
    }

    // Leaves the bytes in the kernel's buffer of the near end.
    bool sendToNear(const QByteArray &bytes)
    {
        return far->write(bytes) == bytes.size() && far->waitForBytesWritten(LONG_MS);
    }

    QString error;
    std::unique_ptr<QTcpSocket> near;
    std::unique_ptr<QTcpSocket> far;
};

/// A pseudo-terminal and the path that a client opens.
class PseudoTerminal
{
public:
    PseudoTerminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0)
            path = QString::fromLatin1(ptsname(m_master));
    }
    ~PseudoTerminal() { ::close(m_master); }

    QString path;

private:
    int m_master;
};

} // namespace

class TestHost : public QObject
{
    Q_OBJECT

private slots:
    void readsWhatIsThereAndKeepsTheRest();
    void waitsOnlyAsLongAsTheTimeout();
    void givesNothingOnAClosedPort();
    void discardsInputThatWaitsInTheKernel();
    void discardingEndsOnAnEndlessSender();
    void writingToAPeerThatNeverReadsReturns();
    void noticesThatThePeerIsGone();

    void parsesSerialPorts_data();
    void parsesSerialPorts();
    void parsesTcpAddresses_data();
    void parsesTcpAddresses();
    void locksASerialPort();
    void refusesASerialPortThatIsLocked();
    void usesAPseudoTerminalWithoutParity();
    void tellsWhyAPortCannotBeOpened();

    void loadsTheDriver();
    void refusesOtherFiles_data();
    void refusesOtherFiles();
    void theEnvironmentNamesAnotherDriver();
    void sortsErrorTexts_data();
    void sortsErrorTexts();
    void tracesLinesNotChunks();
};

void TestHost::readsWhatIsThereAndKeepsTheRest()
{
    ScriptedPort port;
    port.chunks << "O"
                << "K\r\nrest";
    DeviceChannel channel(&port, withTimeout(40));
    QCOMPARE(readOnce(channel), QByteArray("O"));
    QCOMPARE(readOnce(channel, 3), QByteArray("K\r\n"));
    QCOMPARE(readOnce(channel, 100), QByteArray("rest"));
    QCOMPARE(port.waits, QList<int>() << 40 << 40);
    QCOMPARE(channel.write("CQ\r\n", 4), 4);
    QCOMPARE(port.sent, QByteArray("CQ\r\n"));
}

void TestHost::waitsOnlyAsLongAsTheTimeout()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    DeviceChannel channel(pair.near.get(), withTimeout(30));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(readOnce(channel), QByteArray());
    QVERIFY(clock.elapsed() >= 29);
    QVERIFY(clock.elapsed() < LONG_MS);
    QVERIFY(brokenPortText(*pair.near).isEmpty());
    // A negative time-out is no wait at all, not an endless one.
    DeviceChannel hasty(pair.near.get(), withTimeout(-1));
    QCOMPARE(readOnce(hasty), QByteArray());
}

void TestHost::givesNothingOnAClosedPort()
{
    ScriptedPort port;
    port.chunks << "late";
    DeviceChannel channel(&port, withTimeout(40));
    port.close();
    QCOMPARE(readOnce(channel), QByteArray());
    QCOMPARE(channel.write("CQ\r\n", 4), -1);
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QCOMPARE(port.waits, QList<int>());
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

void TestHost::discardingEndsOnAnEndlessSender()
{
    ScriptedPort port;
    port.chunks << "noise";
    port.endless = true;
    DeviceChannel channel(&port, withTimeout(40));
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QVERIFY(!port.waits.isEmpty());
    QCOMPARE(port.waits.count(0), port.waits.size());
    QCOMPARE(port.bytesAvailable(), qint64(0));
}

void TestHost::writingToAPeerThatNeverReadsReturns()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    pair.far->setReadBufferSize(1);
    DeviceChannel channel(pair.near.get(), withTimeout(20));
    const QByteArray flood(64 * 1024 * 1024, 'x'); // more than the kernel takes
    QElapsedTimer clock;
    clock.start();
    const int taken = channel.write(flood.constData(), flood.size());
    QVERIFY(taken > 0 && taken < flood.size());
    QVERIFY(clock.elapsed() < LONG_MS);
}

void TestHost::noticesThatThePeerIsGone()
{
    LoopbackPair pair;
    QVERIFY2(pair.far, qPrintable(pair.error));
    DeviceChannel channel(pair.near.get(), withTimeout(LONG_MS));
    QVERIFY(pair.sendToNear("CF\r\n"));
    pair.far->close();
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(readOnce(channel), QByteArray("CF\r\n"));
    QCOMPARE(readOnce(channel), QByteArray());
    QCOMPARE(channel.control(DISCARD_INPUT, 0), 1);
    QCOMPARE(channel.write("CQ\r\n", 4), -1);
    QVERIFY(clock.elapsed() < LONG_MS);
    QVERIFY(!brokenPortText(*pair.near).isEmpty());
}

// The expected text is device, baud rate, data bits, Qt's code of the parity and stop bits; empty for
// a refusal.
void TestHost::parsesSerialPorts_data()
{
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *text, const char *expected) {
        QTest::newRow(text) << QString::fromLatin1(expected);
    };
    row("/dev/ttyS1", "/dev/ttyS1 9600 8 2 1");
    row("ttyS1,19200", "ttyS1 19200 8 2 1");
    row("ttyS1,38400,7o2", "ttyS1 38400 7 3 2");
    row("ttyS1,50,5n1", "ttyS1 50 5 0 1");
    row("ttyS1,4000000,6M1", "ttyS1 4000000 6 5 1");
    row("ttyS1,9600,8s1", "ttyS1 9600 8 4 1");
    row("ttyS1,9600,8E1", "ttyS1 9600 8 2 1");
    row("", "");
    row(",9600", "");
    row("ttyS1,", "");
    row("ttyS1,49", "");
    row("ttyS1,4000001", "");
    row("ttyS1,96x0", "");
    row("ttyS1, 9600", "");
    row("ttyS1,9600,", "");
    row("ttyS1,9600,4e1", "");
    row("ttyS1,9600,9e1", "");
    row("ttyS1,9600,8x1", "");
    row("ttyS1,9600,8e3", "");
    row("ttyS1,9600,8e11", "");
    row("ttyS1,9600,8e1,x", "");
}

void TestHost::parsesSerialPorts()
{
    QFETCH(QString, expected);
    SerialPortSetting setting;
    QString error;
    const bool ok = parseSerialPort(QString::fromLatin1(QTest::currentDataTag()), &setting, &error);
    QCOMPARE(ok, !expected.isEmpty());
    QCOMPARE(error.isEmpty(), ok);
    const QString parsed = QString::fromLatin1("%1 %2 %3 %4 %5")
                               .arg(setting.device)
                               .arg(setting.baudRate)
                               .arg(setting.dataBits)
                               .arg(setting.parity)
                               .arg(setting.stopBits);
    QCOMPARE(parsed, ok ? expected : QString::fromLatin1(" 9600 8 2 1"));
}

void TestHost::parsesTcpAddresses_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    const auto row = [](const char *text, const char *host, int port) {
        QTest::newRow(text) << QString::fromLatin1(host) << port;
    };
    row("127.0.0.1:8501", "127.0.0.1", 8501);
    row("plc.local:1", "plc.local", 1);
    row("[::1]:65535", "::1", 65535);
    row("::1:8501", "", 0);
    row("plc.local", "", 0);
    row("plc.local:", "", 0);
    row("plc.local:0", "", 0);
    row("plc.local:65536", "", 0);
    row("plc.local:85x", "", 0);
    row(":8501", "", 0);
    row("[]:8501", "", 0);
    row("[::1]", "", 0);
}

void TestHost::parsesTcpAddresses()
{
    QFETCH(QString, host);
    QFETCH(int, port);
    TcpAddress address;
    QString error;
    const QString text = QString::fromLatin1(QTest::currentDataTag());
    QCOMPARE(parseTcpAddress(text, &address, &error), port != 0);
    QCOMPARE(error.isEmpty(), port != 0);
    QCOMPARE(address.host, host);
    QCOMPARE(int(address.port), port);
}

void TestHost::locksASerialPort()
{
    PseudoTerminal terminal;
    SerialPortSetting setting;
    setting.device = terminal.path;
    QString error;
    QStringList warnings;
    std::unique_ptr<QSerialPort> port = openSerialPort(setting, &error, &warnings);
    QVERIFY2(port, qPrintable(error));
    QVERIFY(!openSerialPort(setting, &error, &warnings));
    QCOMPARE(error, QString::fromLatin1("another process uses it"));
    port.reset();
    QVERIFY2(openSerialPort(setting, &error, &warnings), qPrintable(error));
}

// A program without Qt locks only the open file.
void TestHost::refusesASerialPortThatIsLocked()
{
    PseudoTerminal terminal;
    const int other = ::open(terminal.path.toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(other >= 0);
    QCOMPARE(flock(other, LOCK_EX | LOCK_NB), 0);
    SerialPortSetting setting;
    setting.device = terminal.path;
    QString error;
    QStringList warnings;
    QVERIFY(!openSerialPort(setting, &error, &warnings));
    QCOMPARE(error, QString::fromLatin1("another process uses it"));
    ::close(other);
    QVERIFY2(openSerialPort(setting, &error, &warnings), qPrintable(error));
}

// A program that was killed leaves its line settings behind; with these in place the terminal refuses
// parity instead of ignoring it.
void TestHost::usesAPseudoTerminalWithoutParity()
{
    PseudoTerminal terminal;
    SerialPortSetting setting;
    setting.device = terminal.path;
    QString error;
    QStringList warnings;
    std::unique_ptr<QSerialPort> port = openSerialPort(setting, &error, &warnings);
    QVERIFY2(port, qPrintable(error));
    termios leftBehind;
    QCOMPARE(tcgetattr(port->handle(), &leftBehind), 0);
    port.reset();
    const int other = ::open(terminal.path.toLatin1().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const int restored = tcsetattr(other, TCSANOW, &leftBehind);
    ::close(other);
    QCOMPARE(restored, 0);
    warnings.clear();
    port = openSerialPort(setting, &error, &warnings);
    QVERIFY2(port, qPrintable(error));
    QVERIFY(brokenPortText(*port).isEmpty());
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings.first().contains(terminal.path));
}

void TestHost::tellsWhyAPortCannotBeOpened()
{
    SerialPortSetting setting;
    setting.device = QLatin1String("/dev/no-such-port");
    QString error;
    QStringList warnings;
    QVERIFY(!openSerialPort(setting, &error, &warnings));
    QCOMPARE(error, QString::fromLatin1("No such file or directory"));

    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    TcpAddress address;
    address.host = QLatin1String("127.0.0.1");
    address.port = server.serverPort();
    server.close();
    QVERIFY(!openTcp(address, LONG_MS, &error));
    QCOMPARE(error, QString::fromLatin1("Connection refused"));
}

void TestHost::loadsTheDriver()
{
    DriverPlugin plugin;
    QString error;
    QVERIFY2(plugin.load(QLatin1String(KV_PLUGIN_FILE), &error), qPrintable(error));
    QCOMPARE(plugin.driver()->name(), QString::fromLatin1("KEYENCE KV-L20V Host Link"));
    QCOMPARE(plugin.path(), QString::fromLatin1(KV_PLUGIN_FILE));
}

void TestHost::refusesOtherFiles_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QString &path, const char *reason) {
        QTest::newRow(name) << path << QString::fromLatin1(reason);
    };
    const QString plugins = QLibraryInfo::location(QLibraryInfo::PluginsPath);
    row("no file", plugins + QLatin1String("/libmissing.so"), "no such file");
    row("directory", plugins, "no such file");
    row("text file", QString(), "not a plug-in");
    row("plug-in of another kind", plugins + QLatin1String("/sqldrivers/libqsqlite.so"),
        "com.quorvane.drivers.DriverInterface/1.1");
}

void TestHost::refusesOtherFiles()
{
    QFETCH(QString, path);
    QTemporaryFile textFile;
    if (path.isEmpty()) {
        QVERIFY(textFile.open());
        textFile.write("no library\n");
        textFile.flush();
        path = textFile.fileName();
    }
    DriverPlugin plugin;
    QString error;
    QVERIFY(!plugin.load(path, &error));
    QVERIFY(!plugin.driver());
    QFETCH(QString, reason);
    QVERIFY2(error.contains(reason) && error.contains(path), qPrintable(error));
}

void TestHost::theEnvironmentNamesAnotherDriver()
{
    const QString usual = DriverPlugin::defaultPath();
    QVERIFY2(usual.endsWith(QLatin1String("/kv-hostlink/drivers/libkv_l20v_host_link.so")),
             qPrintable(usual));
    qputenv("KV_HOSTLINK_DRIVER", "other.so");
    const QString chosen = DriverPlugin::defaultPath();
    qunsetenv("KV_HOSTLINK_DRIVER");
    QCOMPARE(chosen, QString::fromLatin1("other.so"));
}

void TestHost::sortsErrorTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("outcome");
    const auto row = [](const char *text, DriverOutcome outcome) {
        QTest::newRow(text) << QString::fromLatin1(text) << int(outcome);
    };
    row("Response During an Error:E0\r\n", DriverOutcome::PlcError);
    row("PLC no response", DriverOutcome::NoReply);
    row("invalid response", DriverOutcome::UnusableReply);
    row("invalid response:", DriverOutcome::UnusableReply);
    row("invalid response2", DriverOutcome::UnusableReply);
    row("invalid response3", DriverOutcome::UnusableReply);
    row("can't write word to CTC2", DriverOutcome::Refused);
    row("address \"PLC no response\" holds no device number", DriverOutcome::Refused);
    row("", DriverOutcome::Refused);
}

void TestHost::sortsErrorTexts()
{
    QFETCH(QString, text);
    QTEST(int(driverOutcome(text)), "outcome");
}

void TestHost::tracesLinesNotChunks()
{
    ScriptedPort port;
    port.chunks << "C" << QByteArray("C 00\r\n\0\x80 half", 13);
    DeviceChannel channel(&port, withTimeout(0));
    QString text;
    QTextStream out(&text);
    TracedChannel traced(channel, out);
    QCOMPARE(traced.write("CR 0", 4), 4);
    QCOMPARE(traced.write("0\r\n", 3), 3);
    QCOMPARE(readOnce(traced), QByteArray("C"));
    QCOMPARE(readOnce(traced).size(), 13);
    QCOMPARE(readOnce(traced), QByteArray());
    traced.control(DISCARD_INPUT, 0);
    QCOMPARE(port.sent, QByteArray("CR 00\r\n"));
    QCOMPARE(traced.requests(), 1);
    QCOMPARE(traced.replies(), 1);
    text.replace(QRegularExpression(QLatin1String("[0-9]+\\.[0-9]{6} \\+[0-9]+\\.[0-9]{6} ")),
                 QLatin1String("TIME "));
    QCOMPARE(text, QString::fromLatin1("TIME > CR 00\\r\\n\n"
                                       "TIME < CC 00\\r\\n\n"
                                       "TIME < \\x00\\x80 half\n"));
}

QTEST_MAIN(TestHost)

#include "tst_host.moc"
