/// The bridge: the rules of the turns, and kvbridge in front of a simulated PLC.
#include "bridge/turn_keeper.h"
#include "tests/apps/kvlink_runs.h"
#include "tests/table.h"

#include <QtNetwork/QTcpSocket>

namespace
{

// Steps: "1:TEXT" client 1 sends a line, "1*N" sends N bytes without an end, "1-" it has gone,
// "=TEXT" the wire got that reply, "=" none, "=!" the port is down, "+N" N ms pass, "?" how long
// nothing happens by itself, "stop". What is done: ">TEXT" a line for the wire, ">" only a rest, "1<TEXT" an answer, "1x" a client is dropped,
// "1!" a remark on it. Clients 1 to 3 are there from the start.
const struct {
    const char *name;
    const char *steps;
    const char *done;
} TURNS[] = {
    {"a turn goes from open to close", "1:CR 00|2:CR 00|=CC 00|1:RDS DM0.H 1|=0001|1:CQ|=CF|=CC 00",
     ">CR 00|1<CC 00|>RDS DM0.H 1|1<0001|>CQ|1<CF|>CR 00|2<CC 00"},
    {"turns go round", "1:CQ|1:CQ|2:CQ|2:CQ|3:CQ|=CF|=CF|=CF|=CF|=CF",
     ">CQ|1<CF|>CQ|2<CF|>CQ|3<CF|>CQ|1<CF|>CQ|2<CF"},
    {"a client goes before its reply", "1:CR 00|2:CR 01|1-|=CC 00|=CF|=CC 01",
     ">CR 00|>CQ|>CR 01|2<CC 01"},
    {"a client goes behind its reply", "1:CR 00|=CC 00|1-|=CF|2:CQ", ">CR 00|1<CC 00|>CQ|>CQ"},
    {"a client that waits goes", "1:CQ|2:CR 00|3:CQ|2-|=CF|=CF", ">CQ|1<CF|>CQ|3<CF"},
    {"a client stops in the middle", "1:CR 00|2:CQ|=CC 00|+1000|+1|=CF|1:RDS DM0.H 1|=CF|=E1",
     ">CR 00|1<CC 00|1!|>CQ|>CQ|2<CF|>RDS DM0.H 1|1<E1"},
    {"an open line makes void what waits", "1:CQ|2:CR 00|2:RDS DM0.H 1|2:CR 01|=CF|=CC 01|+1",
     ">CQ|1<CF|>CR 01|2<CC 01"},
    {"an open line makes void what runs", "1:CR 00|1:CR 00|=CC 00|=CF|=CC 00",
     ">CR 00|>CQ|>CR 00|1<CC 00"},
    {"no reply to an open line", "1:CR 00|2:CQ|=|=|=CF", ">CR 00|>|>CQ|2<CF"},
    {"no reply to a data line", "1:CR 00|=CC 00|1:RDS DM0.H 1|=|1:RDS DM0.H 1|=0001",
     ">CR 00|1<CC 00|>RDS DM0.H 1|>RDS DM0.H 1|1<0001"},
    {"no reply to a close line", "1:CR 00|=CC 00|1:CQ|2:CQ|=|=CF", ">CR 00|1<CC 00|>CQ|>CQ|>CQ"},
    {"no reply outside turns", "1:CQ|=|=|1:CQ|=|=|1:CQ|=|=|1:CQ|2:CR 00",
     ">CQ|>|>CQ|>|>CQ|>|>CR 00"},
    {"a refused open line", "1:CR 00|2:CQ|=E1", ">CR 00|1<E1|>CQ"},
    {"a silent station leaves the wire to others",
     "1:CR 05|=|=|1:CR 05|=|=|1:CR 05|=|=|1:CR 05|2:CR 00|+9999|=CC 00|2:CQ|=CF|+1|=|=|3:CR 05|"
     "+9999|+1|=CC 05|3:CQ|=CF|1:CR 05",
     ">CR 05|>|>CR 05|>|>CR 05|>|>CR 00|2<CC 00|>CQ|2<CF|>CR 05|>|>CR 05|3<CC 05|>CQ|3<CF|>CR 05"},
    {"a lost port makes no station silent", "1:CR 00|=!|1:CR 00|=!|1:CR 00|=!|1:CR 00",
     ">CR 00|>CR 00|>CR 00|>CR 00"},
    {"a turn that is lost already is not too long",
     "1:CR 00|=CC 00|+900|1:CQ 1|=E1|+9100|2:CQ|+1|=CF", ">CR 00|1<CC 00|>CQ 1|1<E1|1!|>CQ|>CQ"},
    {"who keeps its turn while others wait is dropped",
     "1:CR 00|+10000|=CC 00|2:CQ|1:ST T1|+1|=OK|=CF", ">CR 00|1<CC 00|>ST T1|1x|>CQ|>CQ"},
    {"a line without an end", "1*16383|1*1", "1x"},
    {"a line too long", "1*16383|1:CQ", "1x"},
    {"a line that does not end", "1*1|+20000|+1", "1x"},
    {"lines without waiting",
     "1:CQ|2*16000|2:|2*16000|2:|2*16000|2:|2*16000|2:|2*2000|2:", ">CQ|2x"},
    {"clients that send nothing", "+600000|1:CQ|+1", ">CQ|2x|3x"},
    {"rests unless time runs", "?|1*1|?|1-|?|2:CQ|?|=CF|+1000|?|3:CQ|?",
     "?600001|?0|?600001|>CQ|?0|2<CF|?599001|>CQ|?0"},
    {"a stop ends a turn", "1:CR 00|2:CR 00|=CC 00|1:ST T1|stop|=OK|=CF|3:CQ",
     ">CR 00|1<CC 00|>ST T1|1<OK|>CQ"},
    {"read-only: refuses in order",
     "3:ST T1|1:CR 00|1:WRS DM0.H 1 0001|=CC 00|1:RDS DM0.H 1|1:?K|=0000|"
     "1:RDS DM0 1 \rWRS DM0 1 5|1:CQ|=CF",
     "3<E4|>CR 00|1<CC 00|1<E4|>RDS DM0.H 1|1<0000|1<E4|1<E4|>CQ|1<CF"},
};

// kvlink behind kvbridge in front of a kvsim: what kvlink prints, and a part of what kvbridge does.
const struct {
    const char *name; // kvbridge's options
    const char *command;
    int status;
    const char *out;
    const char *err;
} RUNS[] = {
    {"--trace", "write DM100=7 --verify --station 7", 0, "",
     "ALL 127.0.0.1:ANY #1 > WRS DM00100.H 1 0007\\r\\n ; write 1 word to DM100\n"
     "ANY #1 < OK\\r\\n ; acceptedALL: 0 connected, 2 turns, 0 cut, 6 exchanges, 0 without reply"},
    {"--read-only", "write DM100=7 --station 7 --retry 0", 1, "", "1 line refused"},
    {"--allow 192.0.2.0/24 --allow 2001:db8::/32", "read DM0 --station 7 --retry 0", 4, "",
     "client #1 127.0.0.1:ANY: refused: its address is not allowed"},
    {"--trace --pause 100", "ping --interval 0 --station 7", 0, "ALL",
     " +0.1ANY 127.0.0.1:ANY #1 > CR 07"},
    {"--timeout 20", "ping --count 4 --interval 0 --station 5 --retry 0 --timeout 200", 4, "ALL",
     "3 turns, 0 cut, 3 exchanges, 3 without replyALL1 silent station"},
    {"--timeout 10min", "read DM0 --station 5 --retry 0 --timeout 100", 4, "", "1 without reply"},
};

const struct {
    const char *name;
    int status;
    const char *message;
} REFUSED[] = {
    {"--listen 0", 2, "no PLC is named; give --port DEV or --tcp HOST:PORT"},
    {"--port /dev/null", 2, "--listen is required"},
    {"--listen 65536 --port x", 2, "\"65536\" is not [HOST:]PORT"},
    {"--listen 0 --port x --allow 10.0.0.0/33", 2,
     "\"10.0.0.0/33\": expected a whole address or a range"},
    {"--listen 0 --port x --allow 10", 2, "\"10\": expected a whole address or a range"},
    {"--listen 0 --port x --allow 10.0.0/24", 2, "\"10.0.0/24\": expected a whole address"},
    {"--listen 0 --port x --allow 127.1", 2, "\"127.1\": expected a whole address or a range"},
    {"--listen 0 --port x --allow /8", 2, "\"/8\": expected a whole address or a range"},
    {"--listen 0 --port x --allow 010.0.0.1", 2, "\"010.0.0.1\": expected a whole address"},
    {"--listen nowhere:0 --port x", 2, "\"nowhere\": expected an address of this machine"},
    {"--listen [::1]:0 --port x --metrics [::1]:0", 2, "\"[::1]:0\": expected an IPv4 address"},
    {"--listen 0 --port no/such/device", 3, "cannot open no/such/device: "},
    {"--listen 0 --tcp 127.0.0.1:1", 3, "cannot connect to 127.0.0.1:1: "},
};

// A kvbridge that serves until it is stopped.
class Bridge
{
public:
    explicit Bridge(const QString &arguments)
    {
        process.start(KVBRIDGE_PROGRAM, words("--listen 0 " + arguments));
        place = nextLine(&process).trimmed().section(' ', 1);
        if (arguments.contains("--metrics"))
            metrics = nextLine(&process).trimmed().section(' ', 1);
    }
    ~Bridge() { stop(); }

    Outcome stop()
    {
        interrupt(process);
        return ended(&process);
    }

    QProcess process;
    QString place;
    QString metrics;
};

// What a connection gives for some bytes, until there is as much as is expected.
QByteArray answerOf(QTcpSocket *socket, const QString &place, const QByteArray &bytes,
                    const QByteArray &end)
{
    if (socket->state() == QTcpSocket::UnconnectedState)
        socket->connectToHost(place.section(':', 0, 0), place.section(':', 1).toUShort());
    QByteArray answer;
    socket->write(bytes);
    while (!answer.contains(end) && socket->waitForReadyRead(PATIENCE_MS))
        answer += socket->readAll();
    return answer;
}

// Writes down what the keeper does.
class Script : private TurnSink
{
public:
    explicit Script(bool isReadOnly) : m_keeper(settings(isReadOnly), *this), m_nowMs(0)
    {
        for (int client = 1; client <= 3; ++client)
            m_keeper.connected(client, "192.0.2.1", m_nowMs);
    }

    QString run(const QString &steps)
    {
        for (const QString &step : steps.split('|'))
            take(step.toLatin1());
        return m_done.join('|');
    }

private:
    static TurnSettings settings(bool isReadOnly)
    {
        TurnSettings settings;
        settings.isReadOnly = isReadOnly;
        return settings;
    }

    void take(const QByteArray &step)
    {
        const int client = step.left(1).toInt();
        const QByteArray line = step.mid(client > 0 ? 2 : 1) + "\r\n";
        const char kind = step.at(client > 0 ? 1 : 0);
        if (kind == ':')
            m_keeper.received(client, line, m_nowMs);
        else if (kind == '*')
            m_keeper.received(client, QByteArray(step.mid(2).toInt(), 'X'), m_nowMs);
        else if (kind == '-')
            m_keeper.gone(client, m_nowMs);
        else if (kind == '+')
            pass(step.toInt());
        else if (kind == '?')
            m_done += QString("?%1").arg(m_keeper.restMs(m_nowMs));
        else if (kind == 's')
            m_keeper.stop(m_nowMs);
        else
            reply(line == "\r\n" || line == "!\r\n" ? QByteArray() : line, line != "!\r\n");
    }

    void pass(int ms)
    {
        const bool isRest = ms < m_keeper.restMs(m_nowMs);
        const int before = m_done.size();
        m_keeper.tick(m_nowMs += ms);
        QVERIFY(!isRest || m_done.size() == before);
    }

    void reply(const QByteArray &reply, bool isReached)
    {
        m_keeper.replied(reply.left(1));
        m_keeper.replied(reply.mid(1));
        m_keeper.done(exchangeEnd(m_line, reply), isReached, m_nowMs);
    }

    void send(const WireJob &job) override
    {
        m_line = job.line;
        m_done += QString(">%1").arg(QString(job.line.trimmed()));
    }

    void answer(int client, const QByteArray &bytes) override
    {
        m_answer += bytes;
        if (m_answer.endsWith('\n')) {
            m_done += QString("%1<%2").arg(client).arg(QString(m_answer.trimmed()));
            m_answer.clear();
        }
    }

    void drop(int client, const QString &reason) override
    {
        QVERIFY(reason.startsWith("it"));
        m_done += QString("%1x").arg(client);
    }

    void note(int client, const QString &) override { m_done += QString("%1!").arg(client); }

    TurnKeeper m_keeper;
    qint64 m_nowMs;
    QByteArray m_line;
    QByteArray m_answer;
    QStringList m_done;
};

} // namespace

class TestBridge : public QObject
{
    Q_OBJECT
private slots:
    void givesTurns_data() { addRows(TURNS); }

    void givesTurns()
    {
        const auto &row = currentRow(TURNS);
        Script script(QString(row.name).startsWith("read-only"));
        QCOMPARE(script.run(row.steps), QString(row.done));
    }

    void isAWireToKvlink_data() { addRows(RUNS); }

    void isAWireToKvlink()
    {
        const auto &row = currentRow(RUNS);
        Simulator plc(words("--tcp 0 --station 7"));
        Bridge bridge("--tcp " + plc.place + ' ' + row.name);
        const Outcome outcome = kvlink(words("--tcp " + bridge.place + ' ' + row.command));
        QVERIFY2(outcome.status == row.status, qPrintable(outcome.err));
        QVERIFY2(fits(outcome.out, row.out), qPrintable(outcome.out));
        sendSignal(bridge.process, SIGUSR1);
        const Outcome end = bridge.stop();
        QVERIFY2(fits(end.err, QString("ALL%1ALL").arg(row.err)), qPrintable(end.err));
        QCOMPARE(end.status, 0);
    }

    void refuses_data() { addRows(REFUSED); }

    void refuses()
    {
        const auto &row = currentRow(REFUSED);
        QProcess process;
        process.start(KVBRIDGE_PROGRAM, words(row.name));
        const Outcome outcome = ended(&process);
        QVERIFY2(outcome.err.contains(row.message), qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
    }

    void refusesMoreClientsThanItHasDescriptorsFor()
    {
        QProcess process;
        process.start("prlimit", words(QString("--nofile=150 ") + KVBRIDGE_PROGRAM +
                                       " --listen 0 --port x --max-clients 87"));
        const Outcome outcome = ended(&process);
        QVERIFY2(outcome.err.contains("87 clients need 151 file descriptors, of which the process "
                                      "may have 150; give fewer"),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, 2);
    }

    // Exchanges of several clients that mix show as refusals: the PLC answers no line twice.
    void keepsClientsApart()
    {
        Simulator plc(words("--tcp 0 --station 7"));
        Bridge bridge("--metrics 0 --tcp " + plc.place);
        QProcess clients[3];
        for (QProcess &client : clients)
            client.start(KVLINK_PROGRAM,
                         words("bench --requests 50 --station 7 --retry 0 --timeout 5s --tcp " +
                               bridge.place));
        // Meanwhile one dies in its turn, in the middle of a line.
        QTcpSocket dying;
        QCOMPARE(answerOf(&dying, bridge.place, "CR 07\r\nRDS DM", "\n"), QByteArray("CC 07\r\n"));
        dying.abort();
        for (QProcess &client : clients) {
            const Outcome outcome = ended(&client);
            QVERIFY2(outcome.status == 0, qPrintable(outcome.err));
        }
        const QByteArray turns = "\nkvbridge_turns_total{client=\"127.0.0.1\"} 151\n";
        QTcpSocket idle[4]; // hold up no reader for long
        for (QTcpSocket &socket : idle) {
            socket.connectToHost("127.0.0.1", bridge.metrics.section(':', 1).toUShort());
            QVERIFY(socket.waitForConnected(PATIENCE_MS));
        }
        const auto page = [&bridge, &turns] {
            QTcpSocket reader;
            return answerOf(&reader, bridge.metrics, "GET /metrics HTTP/1.0\r\n\r\n", turns);
        };
        QVERIFY(!page().isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(page().contains(turns), PATIENCE_MS);
        const QString err = bridge.stop().err;
        QVERIFY2(err.contains("all clients: 0 connected, 151 turns, 1 cut, 451 exchanges, 0 with"),
                 qPrintable(err));
        QCOMPARE(plc.stop().err,
                 QString("kvsim: 452 requests, 0 error replies, 0 replies dropped\n"));
    }

    void findsALostPortAgain()
    {
        QTemporaryDir folder;
        const QString link = folder.filePath("plc");
        const QStringList options = words("--station 7 --set DM0=42 --link " + link);
        std::unique_ptr<Simulator> plc(new Simulator(options));
        Bridge bridge("--port " + link + ",9600,8n1");
        const QStringList read = words("read DM0 --station 7 --retry 0 --tcp " + bridge.place);
        QCOMPARE(kvlink(read).out, QString("42\n"));
        // A port that was lost and is back before the next line costs nothing.
        plc.reset();
        plc.reset(new Simulator(options));
        QCOMPARE(kvlink(read).out, QString("42\n"));
        plc.reset();
        QCOMPARE(kvlink(read).status, 4);
        plc.reset(new Simulator(options));
        QTRY_COMPARE_WITH_TIMEOUT(kvlink(read).out, QString("42\n"), PATIENCE_MS);
        const QString err = bridge.stop().err;
        QVERIFY2(err.contains("plc: open again\n") && err.contains("port lost 2 times\n"),
                 qPrintable(err));
    }
};

QTEST_GUILESS_MAIN(TestBridge)
#include "tst_bridge.moc"
