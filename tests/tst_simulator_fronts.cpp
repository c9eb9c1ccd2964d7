/// The simulated PLC behind a pseudo-terminal and a TCP port, and the program kvsim around both.
#include "simulator/background_simulator.h"
#include "simulator/pty_front.h"
#include "simulator/tcp_front.h"

#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QScopedPointer>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

const int DEADLINE_MS = 10000;

// Runs the event loop until a condition holds; false when it still does not at the deadline.
template <typename Condition>
bool waitUntil(Condition condition)
{
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.start(DEADLINE_MS);
    while (!condition() && deadline.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

// A client of a pseudo-terminal that leaves the terminal's settings as the front made them.
class TerminalClient
{
public:
    explicit TerminalClient(const QString &path)
        : m_fd(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {}
    ~TerminalClient() { ::close(m_fd); }

    int fd() const { return m_fd; }

    bool send(const QByteArray &bytes)
    {
        return ::write(m_fd, bytes.constData(), static_cast<size_t>(bytes.size())) == bytes.size();
    }

    // What has come, after the event loop ran until there were so many bytes.
    QByteArray receive(int size)
    {
        QSocketNotifier wakesEventLoop(m_fd, QSocketNotifier::Read);
        QByteArray received;
        waitUntil([&]() {
            received += available();
            return received.size() >= size;
        });
        return received;
    }

    // The same without an event loop.
    QByteArray receiveBlocking(int size)
    {
        QByteArray received;
        pollfd waited = {m_fd, POLLIN, 0};
        while (received.size() < size && poll(&waited, 1, DEADLINE_MS) > 0)
            received += available();
        return received;
    }

    QByteArray exchange(const QByteArray &request, int replySize)
    {
        return send(request) ? receive(replySize) : QByteArray();
    }

private:
    QByteArray available()
    {
        char chunk[4096];
        const ssize_t size = ::read(m_fd, chunk, sizeof chunk);
        return size > 0 ? QByteArray(chunk, static_cast<int>(size)) : QByteArray();
    }

    const int m_fd;
};

QByteArray exchange(QTcpSocket &client, const QByteArray &request, int replySize)
{
    client.write(request);
    waitUntil([&]() { return client.bytesAvailable() >= replySize; });
    return client.readAll();
}

bool connectTo(QTcpSocket &client, quint16 port)
{
    client.connectToHost(QStringLiteral("127.0.0.1"), port);
    return waitUntil([&]() { return client.state() == QAbstractSocket::ConnectedState; });
}

} // namespace

class TestSimulatorFronts : public QObject
{
    Q_OBJECT
private slots:
    void terminalPassesBytesUnchanged();
    void terminalSurvivesClientsLeaving();
    void terminalDropsRepliesThatNobodyReads();
    void terminalTellsWhyItCannotOpen();
    void tcpClientsShareDevicesOnly();
    void tcpDropsRepliesThatNobodyReads();
    void tcpTellsWhyItCannotListen();
    void backgroundServesBlockingClient();
    void programServesUntilStopped_data();
    void programServesUntilStopped();
    void programReplacesLinksOnly();
    void programRefusesCommandLine_data();
    void programRefusesCommandLine();
};

void TestSimulatorFronts::terminalPassesBytesUnchanged()
{
    PlcMemory memory;
    PtyFront front(memory, 1);
    QString error;
    QVERIFY2(front.open(&error), qPrintable(error));
    TerminalClient client(front.path());
    // An echo, or a CR or LF translated in either direction, would show in these bytes.
    QCOMPARE(client.exchange("CR 01\r\nCQ\nCQ\r\n", 15), QByteArray("CC 01\r\nE1\r\nCF\r\n"));
    // Control characters must reach the PLC, and not the terminal's line discipline.
    QCOMPARE(client.exchange("\x03\x04\x11\x13\x1A\r\nCR 01\r\n", 11),
             QByteArray("E1\r\nCC 01\r\n"));
    QCOMPARE(front.counts().requests, quint64(5));
    QCOMPARE(front.counts().errors, quint64(2));
}

void TestSimulatorFronts::terminalSurvivesClientsLeaving()
{
    PlcMemory memory;
    PtyFront front(memory, 0);
    QString error;
    QVERIFY2(front.open(&error), qPrintable(error));
    {
        TerminalClient client(front.path());
        QCOMPARE(client.exchange("CR 00\r\nWRS DM5.H", 7), QByteArray("CC 00\r\n"));
    }
    TerminalClient client(front.path());
    QCOMPARE(client.exchange(" 1 00FF\r\nRDS DM5.H 1\r\n", 10), QByteArray("OK\r\n00FF\r\n"));
}

void TestSimulatorFronts::terminalDropsRepliesThatNobodyReads()
{
    PlcMemory memory;
    PtyFront front(memory, 0);
    QString error;
    QVERIFY2(front.open(&error), qPrintable(error));
    TerminalClient client(front.path());
    QCOMPARE(client.exchange("CR 00\r\n", 7), QByteArray("CC 00\r\n"));

    quint64 sent = 0;
    while (front.droppedReplies() < 3 && sent < 1000) {
        QVERIFY(client.send("RDS DM0.H 1000\r\n"));
        ++sent;
        QVERIFY(waitUntil([&]() { return front.counts().requests == sent + 1; }));
    }
    QVERIFY(front.droppedReplies() >= 3);

    const int kept = static_cast<int>(sent - front.droppedReplies());
    const QByteArray reply = "0000" + QByteArray(" 0000").repeated(999) + "\r\n";
    QVERIFY(client.receive(kept * 5001) == reply.repeated(kept));
    QCOMPARE(client.exchange("CQ\r\n", 4), QByteArray("CF\r\n"));
}

void TestSimulatorFronts::terminalTellsWhyItCannotOpen()
{
    PlcMemory memory;
    PtyFront front(memory, 0);
    rlimit before;
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
    QString error;
    const bool opened = front.open(&error);
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY(!opened);
    QVERIFY2(error.startsWith(QLatin1String("cannot open a pseudo-terminal: ")), qPrintable(error));
}

void TestSimulatorFronts::tcpClientsShareDevicesOnly()
{
    PlcMemory memory;
    TcpFront front(memory, 1);
    QString error;
    QVERIFY2(front.listen(QStringLiteral("127.0.0.1"), 0, &error), qPrintable(error));
    QTcpSocket second;
    QVERIFY(connectTo(second, front.port()));
    {
        QTcpSocket first;
        QVERIFY(connectTo(first, front.port()));
        QCOMPARE(exchange(first, "CR 01\r\nWRS DM1.H 1 0007\r\nRDS DM", 11),
                 QByteArray("CC 01\r\nOK\r\n"));
        QCOMPARE(exchange(second, "RDS DM1.H 1\r\nCR 01\r\n", 11), QByteArray("E1\r\nCC 01\r\n"));
        QCOMPARE(exchange(first, "1.H 1\r\n", 6), QByteArray("0007\r\n"));
    }
    QCOMPARE(exchange(second, "RDS DM1.H 1\r\n", 6), QByteArray("0007\r\n"));
    QCOMPARE(front.counts().requests, quint64(6));
    QCOMPARE(front.counts().errors, quint64(1));
}

void TestSimulatorFronts::tcpDropsRepliesThatNobodyReads()
{
    PlcMemory memory;
    TcpFront front(memory, 0);
    QString error;
    QVERIFY2(front.listen(QStringLiteral("127.0.0.1"), 0, &error), qPrintable(error));
    QTcpSocket client;
    client.setReadBufferSize(1024);
    QVERIFY(connectTo(client, front.port()));
    // More than a socket's buffers ever hold.
    const quint64 requests = 5000;
    client.write("CR 00\r\n" + QByteArray("RDS DM0.H 1000\r\n").repeated(requests));
    QVERIFY(waitUntil([&]() { return front.counts().requests == requests + 1; }));
    QVERIFY(front.droppedReplies() > 0);
    const quint64 kept = requests - front.droppedReplies();
    client.setReadBufferSize(0);
    quint64 received = 0;
    QVERIFY(waitUntil([&]() {
        received += static_cast<quint64>(client.readAll().size());
        return received >= 7 + kept * 5001;
    }));
    QCOMPARE(received, 7 + kept * 5001);
}

void TestSimulatorFronts::tcpTellsWhyItCannotListen()
{
    PlcMemory memory;
    TcpFront front(memory, 0);
    TcpFront other(memory, 0);
    QString error;
    QVERIFY(!front.listen(QStringLiteral("no address"), 0, &error));
    QCOMPARE(error, QStringLiteral("\"no address\" is no address to listen at"));
    QVERIFY(front.listen(QStringLiteral("localhost"), 0, &error));
    QVERIFY(!other.listen(QStringLiteral("127.0.0.1"), front.port(), &error));
    QVERIFY2(error.startsWith(QStringLiteral("cannot listen at 127.0.0.1:%1: ").arg(front.port())),
             qPrintable(error));
}

void TestSimulatorFronts::backgroundServesBlockingClient()
{
    QScopedPointer<BackgroundSimulator> simulator(new BackgroundSimulator(7));
    QVERIFY(simulator->memory().setWord("DM", 100, 0x1234));
    QString error;
    QVERIFY2(simulator->start(&error), qPrintable(error));
    TerminalClient client(simulator->path());
    QVERIFY(client.send("CR 07\r\nRDS DM100.H 1\r\n"));
    QCOMPARE(client.receiveBlocking(13), QByteArray("CC 07\r\n1234\r\n"));
    simulator.reset();
    pollfd line = {client.fd(), POLLIN, 0};
    QCOMPARE(poll(&line, 1, DEADLINE_MS), 1);
    QVERIFY((line.revents & POLLHUP) != 0);
}

void TestSimulatorFronts::programServesUntilStopped_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("stopSignal");
    QTest::newRow("terminal, SIGTERM") << QStringList{QStringLiteral("--pty")} << SIGTERM;
    QTest::newRow("terminal, SIGINT") << QStringList() << SIGINT;
    QTest::newRow("TCP, SIGTERM") << QStringList{QStringLiteral("--tcp"), QStringLiteral("0")}
                                  << SIGTERM;
}

void TestSimulatorFronts::programServesUntilStopped()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, stopSignal);
    QProcess program;
    arguments << QStringLiteral("--station") << QStringLiteral("12") << QStringLiteral("--set")
              << QStringLiteral("DM100=4660") << QStringLiteral("--set")
              << QStringLiteral("R1215=1");
    program.start(QStringLiteral(KVSIM_PROGRAM), arguments);
    QVERIFY(waitUntil([&]() { return program.canReadLine(); }));
    const QByteArray ready = program.readLine().trimmed();

    const QByteArray request("CR 12\r\nRDS DM100.H 1\r\nRDS R1215 1\r\nCR\r\n");
    const QByteArray replies("CC 12\r\n1234\r\n1\r\nE1\r\n");
    if (ready.startsWith("pty ")) {
        TerminalClient client(QString::fromLocal8Bit(ready.mid(4)));
        QCOMPARE(client.exchange(request, replies.size()), replies);
    } else {
        QVERIFY2(ready.startsWith("tcp 127.0.0.1:"), ready.constData());
        QTcpSocket client;
        QVERIFY(connectTo(client, ready.mid(14).toUShort()));
        QCOMPARE(exchange(client, request, replies.size()), replies);
    }

    QCOMPARE(kill(static_cast<pid_t>(program.processId()), stopSignal), 0);
    QVERIFY(program.waitForFinished(DEADLINE_MS));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
    QCOMPARE(program.readAllStandardError(),
             QByteArray("kvsim: 4 requests, 1 error replies, 0 replies dropped\n"));
}

void TestSimulatorFronts::programReplacesLinksOnly()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("plc"));
    const QStringList arguments{QStringLiteral("--link"), path};
    QVERIFY(QFile::link(QStringLiteral("nowhere"), path));
    {
        QProcess program;
        program.start(QStringLiteral(KVSIM_PROGRAM), arguments);
        QVERIFY(waitUntil([&]() { return program.canReadLine(); }));
        QCOMPARE("pty " + QFile::symLinkTarget(path).toLocal8Bit() + '\n', program.readLine());
        program.terminate();
        QVERIFY(program.waitForFinished(DEADLINE_MS));
        QCOMPARE(program.exitCode(), 0);
    }
    QVERIFY(!QFileInfo(path).isSymLink());

    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("precious") == 8);
    file.close();
    QProcess program;
    program.start(QStringLiteral(KVSIM_PROGRAM), arguments);
    QVERIFY(program.waitForFinished(DEADLINE_MS));
    QCOMPARE(program.exitCode(), 3);
    QVERIFY(!QFileInfo(path).isSymLink());
    QCOMPARE(QFileInfo(path).size(), qint64(8));
}

void TestSimulatorFronts::programRefusesCommandLine_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("unknown option") << QStringLiteral("--verbose") << 2;
    QTest::newRow("stray argument") << QStringLiteral("stray") << 2;
    QTest::newRow("both ports") << QStringLiteral("--pty --tcp 0") << 2;
    QTest::newRow("link to TCP") << QStringLiteral("--tcp 0 --link plc") << 2;
    QTest::newRow("station 100") << QStringLiteral("--station 100") << 2;
    QTest::newRow("port above 65535") << QStringLiteral("--tcp 65536") << 2;
    QTest::newRow("empty port") << QStringLiteral("--tcp ") << 2;
    QTest::newRow("empty link") << QStringLiteral("--link ") << 2;
    QTest::newRow("preset of no device") << QStringLiteral("--set XX1=1") << 2;
    QTest::newRow("host is no address") << QStringLiteral("--tcp nowhere:0") << 3;
    QTest::newRow("link in no directory") << QStringLiteral("--link no/such/directory/plc") << 3;
}

void TestSimulatorFronts::programRefusesCommandLine()
{
    QFETCH(QString, arguments);
    QProcess program;
    program.start(QStringLiteral(KVSIM_PROGRAM), arguments.split(QLatin1Char(' ')));
    QVERIFY(program.waitForFinished(DEADLINE_MS));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QTEST(program.exitCode(), "exitCode");
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
    QVERIFY(!program.readAllStandardError().isEmpty());
}

QTEST_GUILESS_MAIN(TestSimulatorFronts)
#include "tst_simulator_fronts.moc"
