/// The simulated PLC behind a pseudo-terminal and a TCP port.
#include "simulator/background_simulator.h"
#include "simulator/pty_front.h"
#include "simulator/tcp_front.h"
#include "tests/message_capture.h"

#include <QtCore/QFile>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace
{

const int DEADLINE_MS = 10000;

// A client's end of a pseudo-terminal, with the terminal's settings as the front made them.
class Terminal
{
public:
    explicit Terminal(const QByteArray &path)
        : fd(::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {}
    ~Terminal() { ::close(fd); }

    const int fd;
};

// Sends a request; what has come after the event loop ran until there were so many bytes.
QByteArray exchange(const Terminal &client, const QByteArray &request, int replySize)
{
    QByteArray received;
    const auto isComplete = [&]() {
        char chunk[4096];
        ssize_t size = 1;
        while (received.size() < replySize && size > 0) {
            size = ::read(client.fd, chunk, sizeof chunk);
            received.append(chunk, size > 0 ? static_cast<int>(size) : 0);
        }
        return received.size() >= replySize;
    };
    const bool sent =
        ::write(client.fd, request.constData(), size_t(request.size())) == request.size();
    return sent && QTest::qWaitFor(isComplete, DEADLINE_MS) ? received : QByteArray();
}

QByteArray exchange(QTcpSocket &client, const QByteArray &request, int replySize)
{
    client.write(request);
    const auto isComplete = [&]() { return client.bytesAvailable() >= replySize; };
    return QTest::qWaitFor(isComplete, DEADLINE_MS) ? client.readAll() : QByteArray();
}

bool connectTo(QTcpSocket &client, quint16 port)
{
    client.connectToHost("127.0.0.1", port);
    return client.waitForConnected(DEADLINE_MS);
}

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
            Terminal client(path);
            // An echo, or a CR or LF translated in either direction, would show in these bytes.
            QCOMPARE(exchange(client, "CR 01\r\nCQ\nCQ\r\n", 15),
                     QByteArray("CC 01\r\nE1\r\nCF\r\n"));
            // Control characters must reach the PLC, and not the terminal's line discipline.
            QCOMPARE(exchange(client, "\x03\x04\x11\x13\x1A\r\nCR 01\r\nWRS DM5.H", 11),
                     QByteArray("E1\r\nCC 01\r\n"));
        }
        // The line outlives its client, and ends with the simulator.
        Terminal client(path);
        QCOMPARE(exchange(client, " 1 00FF\r\nRDS DM5.H 1\r\n", 10), QByteArray("OK\r\n00FF\r\n"));
        simulator.reset();
        QVERIFY(!QFile::exists(path));
    }

    void terminalDropsRepliesThatNobodyReads()
    {
        PlcMemory memory;
        PtyFront front(memory, 0);
        QString error;
        QVERIFY2(front.open(&error), qPrintable(error));
        Terminal client(front.path().toLatin1());
        QCOMPARE(exchange(client, "CR 00\r\n", 7), QByteArray("CC 00\r\n"));

        quint64 sent = 0;
        while (front.droppedReplies() < 3 && sent < 1000) {
            exchange(client, "RDS DM0.H 1000\r\n", 0);
            ++sent;
            QVERIFY(QTest::qWaitFor([&]() { return front.counts().requests == sent + 1; }));
        }
        QCOMPARE(front.droppedReplies(), quint64(3));

        const int kept = static_cast<int>(sent - front.droppedReplies());
        const QByteArray reply = "0000" + QByteArray(" 0000").repeated(999) + "\r\n";
        QVERIFY(exchange(client, QByteArray(), kept * 5001) == reply.repeated(kept));
        QCOMPARE(exchange(client, "CQ\r\n", 4), QByteArray("CF\r\n"));
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
        QTcpSocket second;
        QVERIFY(connectTo(second, front.port()));
        {
            QTcpSocket first;
            QVERIFY(connectTo(first, front.port()));
            QCOMPARE(exchange(first, "CR 01\r\nWRS DM1.H 1 0007\r\nRDS DM", 11),
                     QByteArray("CC 01\r\nOK\r\n"));
            QCOMPARE(exchange(second, "RDS DM1.H 1\r\nCR 01\r\n", 11),
                     QByteArray("E1\r\nCC 01\r\n"));
            QCOMPARE(exchange(first, "1.H 1\r\n", 6), QByteArray("0007\r\n"));
        }
        QCOMPARE(exchange(second, "RDS DM1.H 1\r\n", 6), QByteArray("0007\r\n"));
        QCOMPARE(front.counts().requests, quint64(6));
        QCOMPARE(front.counts().errors, quint64(1));
    }

    void tcpDropsRepliesThatNobodyReads()
    {
        PlcMemory memory;
        TcpFront front(memory, 0);
        QString error;
        QVERIFY2(front.listen("127.0.0.1", 0, &error), qPrintable(error));
        QTcpSocket client;
        client.setReadBufferSize(1024);
        QVERIFY(connectTo(client, front.port()));
        // More than a socket's buffers ever hold.
        const int requests = 5000;
        client.write("CR 00\r\n" + QByteArray("RDS DM0.H 1000\r\n").repeated(requests));
        client.flush();
        // A client that floods the PLC takes turns with the others.
        QTcpSocket other;
        QVERIFY(connectTo(other, front.port()));
        QCOMPARE(exchange(other, "CR 00\r\n", 7), QByteArray("CC 00\r\n"));
        QVERIFY2(front.counts().requests < 2000,
                 qPrintable(QString::number(front.counts().requests)));
        QVERIFY(QTest::qWaitFor([&]() { return front.counts().requests == requests + 2; },
                                DEADLINE_MS));
        QVERIFY(front.droppedReplies() > 0);
        {
            QTcpSocket gone;
            QVERIFY(connectTo(gone, front.port()));
            gone.write(QByteArray("\r\n").repeated(2000));
            gone.flush();
        }
        const MessageCapture messages;
        QVERIFY(QTest::qWaitFor([&]() { return front.counts().requests == requests + 2002; },
                                DEADLINE_MS));
        QCOMPARE(messages.texts, QList<QString>());
        const int kept = requests - static_cast<int>(front.droppedReplies());
        client.setReadBufferSize(0);
        QCOMPARE(exchange(client, QByteArray(), 7 + kept * 5001).size(), 7 + kept * 5001);
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
            QTcpSocket client;
            QVERIFY(connectTo(client, front.port()));
            QByteArray requests = "CR 00\r\n";
            QByteArray replies = "CC 00\r\n";
            for (unsigned int i = 0; i < 40; ++i) {
                QVERIFY(memory.setWord("DM", i, static_cast<quint16>(4096 + i)));
                requests += "RDS DM" + QByteArray::number(i) + ".H 1\r\n";
                replies += QByteArray::number(4096 + i, 16).toUpper() + "\r\n";
            }
            // In two parts, so that some come in while replies wait.
            client.write(requests.left(requests.size() / 2));
            QTest::qWait(5);
            QCOMPARE(exchange(client, requests.mid(requests.size() / 2), replies.size()), replies);
        }
    }
};

QTEST_GUILESS_MAIN(TestSimulatorFronts)
#include "tst_simulator_fronts.moc"
