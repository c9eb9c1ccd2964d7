/// The simulated PLC behind a pseudo-terminal and a TCP port.
#include "simulator/background_simulator.h"
#include "simulator/pty_front.h"
#include "simulator/tcp_front.h"
#include "tests/message_capture.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

#include <memory>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const int DEADLINE_MS = 10000;

// A client's end: of a pseudo-terminal, with its settings as the front made them, or of a TCP
// connection.
class Client
{
public:
    explicit Client(const QByteArray &path)
        : fd(::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {}

    explicit Client(quint16 port) : fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool connected =
            ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
        if (!connected || ::fcntl(fd, F_SETFL, O_NONBLOCK) != 0)
            qFatal("cannot connect");
    }

    ~Client() { ::close(fd); }

    // Sends a request; what has come after the event loop ran until there were so many bytes.
    QByteArray exchange(QByteArray request, int replySize) const
    {
        QByteArray received;
        const auto isComplete = [&]() {
            const ssize_t sent = ::write(fd, request.constData(), size_t(request.size()));
            request.remove(0, static_cast<int>(qMax<ssize_t>(0, sent)));
            char chunk[4096];
            ssize_t size = 1;
            while (received.size() < replySize && size > 0) {
                size = ::read(fd, chunk, sizeof chunk);
                received.append(chunk, size > 0 ? static_cast<int>(size) : 0);
            }
            return request.isEmpty() && received.size() >= replySize;
        };
        return QTest::qWaitFor(isComplete, DEADLINE_MS) ? received : QByteArray();
    }

    const int fd;
};

// Keeps what has come out of a wire.
class KeptBytes : public ReplySink
{
public:
    void send(const QByteArray &sent) override { bytes += sent; }
    int pendingBytes() const override { return 0; }
    bool closeConnection() override { return false; }

    QByteArray bytes;
};

} // namespace

class TestSimulatorFronts : public QObject
{
    Q_OBJECT
private slots:
    void terminalPassesBytesUnchanged()
    {
        std::unique_ptr<BackgroundSimulator> simulator(new BackgroundSimulator(1));
        QString error;
        QVERIFY2(simulator->start(&error), qPrintable(error));
        const QByteArray path = simulator->path().toLatin1();
        {
            const Client client(path);
            // An echo, or a CR or LF translated in either direction, would show in these bytes.
            QCOMPARE(client.exchange("CR 01\r\nCQ\nCQ\r\n", 15),
                     QByteArray("CC 01\r\nE1\r\nCF\r\n"));
            // Control characters must reach the PLC, and not the terminal's line discipline.
            QCOMPARE(client.exchange("\x03\x04\x11\x13\x1A\r\nCR 01\r\nWRS DM5.H", 11),
                     QByteArray("E1\r\nCC 01\r\n"));
        }
        // The line outlives its client, and ends with the simulator.
        const Client client(path);
        QCOMPARE(client.exchange(" 1 00FF\r\nRDS DM5.H 1\r\n", 10), QByteArray("OK\r\n00FF\r\n"));
        simulator.reset();
        QVERIFY(!QFile::exists(path));
    }

    void terminalDropsRepliesThatNobodyReads()
    {
        PlcMemory memory;
        PtyFront front(memory, 0);
        QString error;
        QVERIFY2(front.open(&error), qPrintable(error));
        const Client client(front.path().toLatin1());
        QCOMPARE(client.exchange("CR 00\r\n", 7), QByteArray("CC 00\r\n"));

        quint64 sent = 0;
        while (front.droppedReplies() < 3 && sent < 1000) {
            client.exchange("RDS DM0.H 1000\r\n", 0);
            ++sent;
            QVERIFY(QTest::qWaitFor([&]() { return front.counts().requests == sent + 1; }));
        }
        QCOMPARE(front.droppedReplies(), quint64(3));

        const int kept = static_cast<int>(sent - front.droppedReplies());
        const QByteArray reply = "0000" + QByteArray(" 0000").repeated(999) + "\r\n";
        QVERIFY(client.exchange(QByteArray(), kept * 5001) == reply.repeated(kept));
        QCOMPARE(client.exchange("CQ\r\n", 4), QByteArray("CF\r\n"));
    }

    void tcpSharesDevicesWithClientsAndThePortWithNobody()
    {
        PlcMemory memory;
        TcpFront front(memory, 1);
        QString error;
        QVERIFY2(front.listen("localhost", 0, &error), qPrintable(error));
        TcpFront other(memory, 1);
        QVERIFY(!other.listen("127.0.0.1", front.port(), &error));
        QVERIFY2(error.startsWith("cannot listen at 127.0.0.1:"), qPrintable(error));
        const Client second(front.port());
        {
            const Client first(front.port());
            QCOMPARE(first.exchange("CR 01\r\nWRS DM1.H 1 0007\r\nRDS DM", 11),
                     QByteArray("CC 01\r\nOK\r\n"));
            QCOMPARE(second.exchange("RDS DM1.H 1\r\nCR 01\r\n", 11),
                     QByteArray("E1\r\nCC 01\r\n"));
            QCOMPARE(first.exchange("1.H 1\r\n", 6), QByteArray("0007\r\n"));
        }
        QCOMPARE(second.exchange("RDS DM1.H 1\r\n", 6), QByteArray("0007\r\n"));
        QCOMPARE(front.counts().requests, quint64(6));
        QCOMPARE(front.counts().errors, quint64(1));
    }

    void tcpDropsRepliesThatNobodyReads()
    {
        PlcMemory memory;
        TcpFront front(memory, 0);
        QString error;
        QVERIFY2(front.listen("127.0.0.1", 0, &error), qPrintable(error));
        const Client client(front.port());
        // More than a socket's buffers ever hold.
        const int requests = 5000;
        client.exchange("CR 00\r\n" + QByteArray("RDS DM0.H 1000\r\n").repeated(requests), 0);
        // A client that floods the PLC takes turns with the others.
        const Client other(front.port());
        QCOMPARE(other.exchange("CR 00\r\n", 7), QByteArray("CC 00\r\n"));
        QVERIFY2(front.counts().requests < 2000,
                 qPrintable(QString::number(front.counts().requests)));
        QVERIFY(QTest::qWaitFor([&]() { return front.counts().requests == requests + 2; },
                                DEADLINE_MS));
        QVERIFY(front.droppedReplies() > 0);
        {
            const Client gone(front.port());
            gone.exchange(QByteArray("\r\n").repeated(2000), 0);
        }
        const MessageCapture messages;
        QVERIFY(QTest::qWaitFor([&]() { return front.counts().requests == requests + 2002; },
                                DEADLINE_MS));
        QCOMPARE(messages.texts, QList<QString>());
        const int kept = requests - static_cast<int>(front.droppedReplies());
        QCOMPARE(client.exchange(QByteArray(), 7 + kept * 5001).size(), 7 + kept * 5001);
    }

    // Whatever delays the replies get, paced or not: each leaves whole before the next one begins.
    void repliesNeverOvertakeEachOther()
    {
        for (const int baud : {0, 115200}) {
            PlcMemory memory;
            PlcService service(memory, 0);
            service.timing.baud = baud;
            service.timing.jitterMs = 5;
            FaultPlan plan;
            QByteArray error;
            QVERIFY2(plan.addFile("split 0.3 2\nlate 0.3 15", &error), error.constData());
            service.faults = FaultEngine(plan);
            TcpFront front(service);
            QString listenError;
            QVERIFY2(front.listen("127.0.0.1", 0, &listenError), qPrintable(listenError));
            const Client client(front.port());
            QByteArray requests = "CR 00\r\n";
            QByteArray replies = "CC 00\r\n";
            for (unsigned int i = 0; i < 40; ++i) {
                QVERIFY(memory.setWord("DM", i, static_cast<quint16>(4096 + i)));
                requests += "RDS DM" + QByteArray::number(i) + ".H 1\r\n";
                replies += QByteArray::number(4096 + i, 16).toUpper() + "\r\n";
            }
            // In two parts, so that some come in while replies wait.
            client.exchange(requests.left(requests.size() / 2), 0);
            QTest::qWait(5);
            QCOMPARE(client.exchange(requests.mid(requests.size() / 2), replies.size()), replies);
        }
    }

    void adapterKeepsLessThanAPacketUntilItsTimeHasRun()
    {
        PlcMemory memory;
        PlcService service(memory, 0);
        service.timing.latencyMs = 255;
        KeptBytes kept;
        ReplyScheduler wire(service, kept);
        const QByteArray sixtyOne = QByteArray("CC 00\r\n").repeated(7) + "E1\r\nE1\r\nE1\r\n";
        QElapsedTimer waiting;
        waiting.start();
        wire.receive(QByteArray("CR 00\r\n").repeated(7) + "?\r\n?\r\n?\r\n");
        QCOMPARE(kept.bytes, QByteArray());
        wire.receive("?\r\n");
        QCOMPARE(kept.bytes, sixtyOne + 'E');
        QTRY_COMPARE(kept.bytes, sixtyOne + "E1\r\n");
        QVERIFY(waiting.elapsed() >= 255);
    }
};

QTEST_GUILESS_MAIN(TestSimulatorFronts)
#include "tst_simulator_fronts.moc"
