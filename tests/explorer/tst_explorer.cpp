// The driver on the channel over a wire that damages replies: every fault at every reply, and every
// pair of faults at two replies of two requests.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "tests/explorer/exchange_oracle.h"
#include "tests/explorer/wire_faults.h"
#include "tests/table.h"

#include <QtCore/QMap>

namespace
{

#define WORDS "[0-9A-Fa-f]{4}( [0-9A-Fa-f]{4})*\r\n"
#define BITS "[01]( [01])*\r\n"
#define NUMBERS "\\d{10}( \\d{10})*\r\n"
#define TIMERS "[01],\\d{10},\\d{10}( [01],\\d{10},\\d{10})*\r\n"
#define OK "OK\r\n.*"

const ExplorerRequest REQUESTS[] = {
    {"read words", Word, 2, "DM100", 0, "RDS DM00100.H 2", WORDS, "invalid response:", "3412ff00"},
    {"read bits", BitBlock, 3, "R01215", 0, "RDS R01215 3", BITS, "invalid response2", "05"},
    {"read timers", DoubleWord, 1, "T12", 0, "RDS T12 1", TIMERS, "invalid response", "05000000"},
    {"read contacts", Bit, 1, "T12", 0, "RDS T12 1", TIMERS, "invalid response3", "01"},
    {"read numbers", DoubleWord, 1, "CC1", 0, "RDS CC1 1", NUMBERS, "invalid response", "64000000"},
    {"write words", Word, 2, "DM300", "3412ff00", "WRS DM00300.H 2 1234 00FF", "",
     "invalid response", "1"},
    {"write bits", BitBlock, 3, "R00100", "010001", "WRS R00100 3 1 0 1", OK, "invalid response",
     "1"},
    {"set and reset", Bit, 2, "T112", "0100", "ST T0112|RS T0113", OK, "invalid response", "1"},
    // What may be taken for another request's answer.
    {"read other words", Word, 2, "DM200", 0, "RDS DM00200.H 2", WORDS,
     "invalid response:", "7856bc9a"},
    {"set", Bit, 1, "T7", "01", "ST T0007", OK, "invalid response", "1"},
};
const int REQUEST_COUNT = sizeof REQUESTS / sizeof *REQUESTS;

int replyCount(const ExplorerRequest &request)
{
    return 3 * QByteArray(request.lines).split('|').size();
}

// The PLC, as it is before each run.
class Plc
{
public:
    Plc() { reset(); }

    void reset()
    {
        const quint16 words[][2] = {{100, 0x1234}, {101, 0x00FF}, {200, 0x5678},
                                    {201, 0x9ABC}, {300, 0},      {301, 0}};
        for (const auto &row : words)
            memory.setWord("DM", row[0], row[1]);
        memory.setWord("R", 12, 0x8000);
        memory.setWord("R", 13, 0x0002);
        memory.setWord("R", 1, 0x0002);
        const PlcTimer on = {true, 5, 100};
        const PlcTimer off = {false, 100, 0};
        memory.setTimer("T", 12, on);
        memory.setTimer("C", 1, off);
        memory.setTimer("T", 112, off);
        memory.setTimer("T", 113, on);
        memory.setTimer("T", 7, off);
    }

    // What a write must have left behind.
    bool holds(const ExplorerRequest &request) const
    {
        switch (request.kind) {
        case Word:
            return memory.word("DM", 300) == 0x1234 && memory.word("DM", 301) == 0x00FF;
        case BitBlock:
            return memory.word("R", 1) == 0x0005;
        default:
            return request.count == 1
                       ? memory.timer("T", 7).contact
                       : memory.timer("T", 112).contact && !memory.timer("T", 113).contact;
        }
    }

    PlcMemory memory;
};

// What happens to one reply, by its number from the first one of a run.
struct Hit {
    int reply;
    int fault;
    int variant;

    WirePieces of(const QByteArray &good) const
    {
        static QMap<QPair<int, QByteArray>, WireVariants> known;
        WireVariants &variants = known[qMakePair(fault, good)];
        if (variants.isEmpty())
            variants = variantsOf(explorerFaults().at(fault), good);
        return variants.value(variant, arriving(good));
    }
};

class Explorer
{
public:
    // Makes the requests one after the other.
    // @return what went wrong; "unseen" for a wrong value or a lost write that passed for good
    QByteArray run(const QList<int> &requests, const QList<Hit> &hits, const QByteArray &refusal,
                   int retries)
    {
        m_plc.reset();
        VirtualWire wire(m_plc.memory);
        wire.refusal = refusal;
        int replies = 0;
        wire.damage = [&](const QByteArray &reply) {
            const int number = replies++;
            for (const Hit &hit : hits) {
                if (hit.reply == number) {
                    ++met;
                    return hit.of(reply);
                }
            }
            return arriving(reply);
        };
        DeviceChannel channel(wire, DriverSetting(TIMEOUT_MS, retries, VirtualWire::STATION, 0));
        QByteArray outcome;
        for (int i = 0; i < requests.size() && outcome.isEmpty(); ++i)
            outcome = judged(REQUESTS[requests.at(i)], channel, retries);
        return outcome;
    }

    int met = 0; ///< faults that a run came to, in all runs

    // The reply that a sound PLC gives to a line of the driver.
    QByteArray goodReply(const ExplorerRequest &request, int number, const QByteArray &refusal)
    {
        if (number % 3 != 1)
            return number % 3 == 0 ? "CC 07\r\n" : "CF\r\n";
        if (!refusal.isEmpty())
            return refusal;
        m_plc.reset();
        SimulatedPlc plc(m_plc.memory, VirtualWire::STATION);
        plc.receive("CR 07\r\n");
        return plc.receive(QByteArray(request.lines).split('|').at(number / 3) + "\r\n");
    }

private:
    QByteArray judged(const ExplorerRequest &request, DeviceChannel &channel, int retries)
    {
        ExchangeRecorder recorder(channel);
        const CommunicatorCommand command(request.kind, request.count,
                                          QLatin1String(request.address));
        QByteArray result;
        if (!request.data)
            result = m_driver.read(&recorder, command).toHex();
        else if (m_driver.write(&recorder, command, QByteArray::fromHex(request.data)) == 1)
            result = "1";
        const ExchangeOracle oracle(request, recorder, retries);
        if (!oracle.wrong.isEmpty())
            return oracle.wrong;
        if (oracle.success == m_driver.hasError() || oracle.success == result.isEmpty())
            return "success or failure without a cause";
        if (!oracle.success)
            return m_driver.getLastError().toLatin1() == oracle.text ? QByteArray()
                                                                     : "not " + oracle.text;
        const bool isTrue =
            request.data ? m_plc.holds(request) : result == QByteArray(request.result);
        return isTrue || !isUsable(request, oracle.reply) ? "" : "unseen: " + oracle.reply;
    }

    // The driver reads items that a reply lacks as 0, and takes what is no refusal for the "OK" to a
    // write of words; its client looks again.
    static bool isUsable(const ExplorerRequest &request, const QByteArray &reply)
    {
        if (request.data)
            return reply.startsWith("OK\r\n");
        return reply.count(' ') + 1 == QByteArray(request.lines).split(' ').last().toInt();
    }

    Plc m_plc;
    DriverKV_L20V_HostLink m_driver;
};

// Whether a damaged reply says something else in the form of a good one: nothing shows that.
bool isForged(const ExplorerRequest &request, const QByteArray &good, const WirePieces &pieces)
{
    QByteArray line;
    for (const WirePiece &piece : pieces)
        line += piece.bytes;
    line.truncate(line.indexOf('\n') + 1);
    const QRegExp form(QLatin1String(request.data ? "OK\r\n" : request.form));
    return line != good && form.exactMatch(QLatin1String(line.constData()));
}

} // namespace

class TestExplorer : public QObject
{
    Q_OBJECT

private slots:
    void survivesEachFault_data()
    {
        QTest::addColumn<int>("request");
        QTest::addColumn<int>("fault");
        for (int i = 0; i < REQUEST_COUNT * explorerFaults().size(); ++i) {
            const int fault = i / REQUEST_COUNT;
            const QByteArray row = QByteArray(REQUESTS[i % REQUEST_COUNT].name) + ": " +
                                   explorerFaults().at(fault).name;
            QTest::newRow(row.constData()) << i % REQUEST_COUNT << fault;
        }
    }

    void survivesEachFault()
    {
        QFETCH(int, request);
        QFETCH(int, fault);
        const ExplorerRequest &asked = REQUESTS[request];
        for (const char *refusal : {"", "E1\r\n"}) {
            for (int reply = 0; reply < replyCount(asked); ++reply) {
                const QByteArray good = m_explorer.goodReply(asked, reply, refusal);
                const WireVariants variants = variantsOf(explorerFaults().at(fault), good);
                for (int i = 0; i < 2 * variants.size(); ++i) {
                    const Hit hit = {reply, fault, i / 2};
                    const int before = m_explorer.met;
                    const QByteArray wrong = m_explorer.run(QList<int>() << request,
                                                            QList<Hit>() << hit, refusal, i % 2);
                    const bool excused =
                        wrong.startsWith("unseen") && isForged(asked, good, variants.at(i / 2));
                    QVERIFY2(wrong.isEmpty() || excused, wrongText(wrong, hit, good).constData());
                    // With one attempt a refused contact keeps the next one from being asked for.
                    if (i % 2 == 1)
                        QCOMPARE(m_explorer.met - before, 1);
                }
            }
        }
    }

    void survivesPairsOfFaults_data()
    {
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("next");
        for (int i = 0; i < REQUEST_COUNT * 3; ++i) {
            const int next = i % 3 == 2 ? i / 3 : REQUEST_COUNT - 1 - i % 3;
            const QByteArray row = QByteArray(REQUESTS[i / 3].name) + ", " + REQUESTS[next].name;
            QTest::newRow(row.constData()) << i / 3 << next;
        }
    }

    void survivesPairsOfFaults()
    {
        QFETCH(int, first);
        QFETCH(int, next);
        const QList<int> requests = QList<int>() << first << next;
        const int replies = replyCount(REQUESTS[first]) + replyCount(REQUESTS[next]);
        const int before = m_explorer.met;
        int runs = 0;
        for (int i = 0; i < replies; ++i) {
            for (int k = i + 1; k < replies; ++k) {
                for (const Hit &one : hits(i)) {
                    for (const Hit &other : hits(k)) {
                        ++runs;
                        const QByteArray wrong =
                            m_explorer.run(requests, QList<Hit>() << one << other, "", 1);
                        QVERIFY2(wrong.isEmpty(),
                                 wrongText(wrongText(wrong, one, "*"), other, "*").constData());
                    }
                }
            }
        }
        // A set and reset that fails at once leaves its last replies out.
        QVERIFY(m_explorer.met - before > 2 * runs * 9 / 10);
    }

private:
    // The variants that stand for all, at one reply.
    static QList<Hit> hits(int reply)
    {
        QList<Hit> list;
        for (int fault = 0; fault < explorerFaults().size(); ++fault) {
            for (int variant = 0; variant < explorerFaults().at(fault).typical; ++variant) {
                const Hit hit = {reply, fault, variant};
                list << hit;
            }
        }
        return list;
    }

    static QByteArray wrongText(const QByteArray &wrong, const Hit &hit, const QByteArray &good)
    {
        QByteArray text = wrong + " at reply " + QByteArray::number(hit.reply) + ":";
        for (const WirePiece &piece : hit.of(good))
            text += " " + piece.bytes.left(30) + " after " + QByteArray::number(piece.delay) +
                    " time-outs";
        return text;
    }

    Explorer m_explorer;
};

QTEST_APPLESS_MAIN(TestExplorer)
#include "tst_explorer.moc"
