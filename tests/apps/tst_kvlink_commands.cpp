// kvlink's trace, statistics and the commands monitor, ping, bench, replay and list-ports, as a
// user runs them against kvsim.
#include "apps/kvlink/schedule.h"
#include "runtime/statistics.h"
#include "runtime/trace_log.h"
#include "tests/apps/program_runner.h"
#include "tests/table.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace
{

// A recorded exchange, as both programs write it.
const char RECORDED[] =
    "2026-11-22T21:09:01.123 0.001250 +0.001250 #1 > CR 07\\r\\n ; open station 07\n"
    "2026-11-22T21:09:01.124 0.002250 +0.001000 #1 < CC 07\\r\\n ; opened\n"
    "kvlink: a remark on the same stream\n"
    "2026-11-22T21:09:01.125 0.003250 +0.001000 #1 > RDS DM00100.H 1\\r\\n ; read 1 word\n"
    "2026-11-22T21:09:01.126 0.004250 +0.001000 #1 < %1\\r\\n ; 1 word\n"
    "2026-11-22T21:09:01.127 0.005250 +0.001000 > CQ\\r\\n ; close\n"
    "2026-11-22T21:09:01.128 0.006250 +0.001000 < CF\\r\\n ; closed\n";

const QString TIME = "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d ";

// The expression for one line of a trace from its direction on.
QString traced(const char *attempt, const char *rest)
{
    return TIME + QString("\\d+\\.\\d{6} \\+\\d+\\.\\d{6} %1%2\n")
                      .arg(QLatin1String(attempt), QRegularExpression::escape(QLatin1String(rest)));
}

const struct {
    const char *name; // the direction and the line
    QString meaning;
} MEANINGS[] = {
    {">CR 07", "open station 07"},
    {">CQ", "close"},
    {">RDS DM00100.H 2", "read 2 words from DM100"},
    {">RDS W0A0F.H 1", "read 1 word from WA0F"},
    {">RDS WA000.H 1", "read 1 word from WA000"},
    {">RDS R00000.H 1", "read 1 word from R0"},
    {">RDS VB0120 3", "read 3 bits from VB120"},
    {">RDS CTC3 1", "read 1 value from CTC3"},
    {">WRS DM00100.H 2 1234 00FF", "write 2 words to DM100"},
    {">ST T0012", "set T12"},
    {">RS C0000", "reset C0"},
    {">RDS DM00100.H", "unknown"},
    {"<CC 07", "opened"},
    {"<CF", "closed"},
    {"<OK", "accepted"},
    {"<E0", "error reply 0"},
    {"<1234 00ff", "2 words"},
    {"<1", "1 bit"},
    {"<0000000100 0000000007", "2 values"},
    {"<1,0000000005,0000000100", "1 timer or counter item"},
    {"<1234 00f", "unknown"},
    {"<CR 07", "unknown"},
};

const QString EXCHANGE = traced("#1 ", "> CR 07\\r\\n ; open station 07") +
                         traced("#1 ", "< CC 07\\r\\n ; opened") +
                         traced("#1 ", "> RDS DM00100.H 2\\r\\n ; read 2 words from DM100") +
                         traced("#1 ", "< 1234 0000\\r\\n ; 2 words") +
                         traced("#1 ", "> CQ\\r\\n ; close") + traced("#1 ", "< CF\\r\\n ; closed");
const QString REFUSED = traced("#1 ", "< E0\\r\\n ; error reply 0") +
                        traced("#1 ", "> CQ\\r\\n ; close") + traced("#1 ", "< CF\\r\\n ; closed") +
                        traced("#2 ", "> CR 07\\r\\n ; open station 07");
const QString CONTACTS = traced("#1 ", "> ST T0001\\r\\n ; set T1") + QString(".*") +
                         traced("#1 ", "> RS T0002\\r\\n ; reset T2");

// What comes out, whole, and a part of what the user is told, as expressions.
const struct {
    const char *name;
    int status;
    QString out;
    QString err;
} RUNS[] = {
    {"TCP --trace read DM100 -n 2", 0, "4660\n0\n", "\\A" + EXCHANGE + "\\z"},
    {"TCP --trace --retry 1 read DM70000", 1, "", REFUSED},
    {"TCP --trace write T1 1 0 -k bit", 0, "", CONTACTS},
    {"TCP --trace=/no/such/folder/trace read DM1", 3, "", "/no/such/folder/trace"},
    {"TCP ping --count 2 --interval 1", 0,
     "1: open \\d+\\.\\d{3} ms, close \\d+\\.\\d{3} ms\n2: open .*\n",
     "2 requests, 2 replies, 0 retries, 0 time-outs, 0 errors; min "},
    {"TCP bench DM100 -n 2 --requests 20 --baud 9600", 0,
     "requests per second: \\d+\\.\\d\np50: \\d+\\.\\d{3} ms\np99: \\d+\\.\\d{3} ms\n"
     "share of the line's time: \\d+\\.\\d % at 9600 baud\n",
     "20 requests, 20 replies, 0 retries, 0 time-outs, 0 errors; min "},
    {"TCP bench DM70000 --requests 2 --retry 1", 1, "",
     "2 requests, 2 replies, 2 retries, 0 time-outs, 2 errors; min "},
    {"TCP replay FOLDER/equal", 0, "", "3 of 3 recorded requests sent, 0 different replies"},
    {"TCP replay FOLDER/different", 7,
     "line 4: \"RDS DM00100.H 1\\\\r\\\\n\": recorded \"12\\\\x80\\\\x5c\\\\r\\\\n\", received "
     "\"1234\\\\r\\\\n\"\n",
     "1 different reply"},
    {"TCP replay FOLDER/beginning", 7, "line 4: [^\n]* recorded \"12\", received [^\n]*\n",
     "1 different reply"},
    {"TCP replay FOLDER/broken", 2, "", "broken:5: not a line of a trace"},
    {"TCP replay FOLDER/empty", 2, "", "holds no request"},
    {"TCP replay FOLDER/none", 2, "", "cannot read the trace"},
    {"list-ports --format json", 0, "\\[(\\{.*\"device\":.*\\})?\\]\n", "\\A\\z"},
    {"TCP monitor DM100:hex DM101 --count 2 --interval 5", 0,
     QString("(%1DM100:hex 0x1234\n%1DM101 0\n){2}").arg(TIME), "2 requests, 2 replies, 0 retries"},
    {"TCP monitor DM100 --count 5 --interval 1 --changes-only", 0, TIME + "DM100 4660\n",
     "5 requests, 5 replies"},
    {"TCP monitor DM100 -n 2 --count 1 --format csv", 0, "time,address,.*\n.*,4660,ok,\n.*,0,ok,\n",
     "1 request, 1 reply"},
    {"TCP monitor DM100 DM70000 --no-merge --count 3 --interval 1 --retry 0", 6,
     QString("(%1DM100 4660\n){3}").arg(TIME),
     "\\Akvlink: DM70000: error reply [^\n]*\nkvlink: 6 requests, 6 replies, 0 retries, 0 "
     "time-outs, 3 errors; [^\n]*\n\\z"},
    {"TCP monitor DM100 --duration 1 --interval 600", 0, QString("(%1DM100 4660\n){2}").arg(TIME),
     "2 requests"},
    {"TCP monitor DM100=1", 2, "", "value to write"},
    {"--station 8 --timeout 1001 --delay 1500 --retry 0 --trace read DM1 --tcp PLACE", 4, "",
     "\\A\\S+ (1\\.[5-9]|[2-9])[^>]+> CR 08.* within 1001 ms"},
    {"--station 8 --timeout 20 ping --count 2 --interval 1 --tcp PLACE", 4, "",
     "2: no reply to \"CR 08\" on .*\nkvlink: 2 requests, 0 replies, 0 retries, "
     "2 time-outs, 2 errors\n"},
};

} // namespace

class TestKvlinkCommands : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        writeFile("equal", QString::fromLatin1(RECORDED).arg("1234"));
        writeFile("different", QString::fromLatin1(RECORDED).arg("12\\x80\\x5c"));
        writeFile("beginning", QString::fromLatin1(RECORDED).replace("%1\\r\\n", "12"));
        writeFile("broken", QString::fromLatin1(RECORDED).arg("12\\q"));
        writeFile("empty", QString());
    }

    void saysWhatALineMeans_data() { addRows(MEANINGS); }

    void saysWhatALineMeans()
    {
        const auto &row = currentRow(MEANINGS);
        const QByteArray line(row.name + 1);
        QCOMPARE(lineMeaning(*row.name, line + "\r\n"), row.meaning);
        QCOMPARE(lineMeaning(*row.name, line + '\r'), QString("no line end"));
    }

    // After the tick at 500 ms, every 100 ms.
    void keepsTheSchedule()
    {
        const struct {
            qint64 elapsedMs, next, missed;
        } rows[] = {{500, 6, 0}, {599, 6, 0}, {600, 6, 0}, {601, 7, 1}, {1000, 10, 4}};
        for (const auto &row : rows) {
            qint64 missed = 0;
            QCOMPARE(tickAfter(5, row.elapsedMs, 100, &missed), row.next);
            QCOMPARE(missed, row.missed);
        }
    }

    void sumsRequestsUp()
    {
        Statistics statistics;
        statistics.add({false, true, 4, 4, 999000000});
        QCOMPARE(statistics.text(),
                 QString("1 request, 0 replies, 3 retries, 4 time-outs, 1 error"));
        for (int ms = 1; ms <= 200; ++ms)
            statistics.add({true, ms == 200, ms == 1 ? 2 : 1, 0, ms * 1000000});
        QCOMPARE(statistics.text(), QString("201 requests, 200 replies, 4 retries, 4 "
                                            "time-outs, 2 errors; min 1.00, median 100, "
                                            "p99 198, max 200 ms"));
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees()
    {
        const auto &row = currentRow(RUNS);
        const Outcome outcome = kvlink(arguments(row.name));
        const QRegularExpression out("\\A" + row.out + "\\z",
                                     QRegularExpression::DotMatchesEverythingOption);
        const QRegularExpression err(row.err, QRegularExpression::DotMatchesEverythingOption);
        QVERIFY2(out.match(outcome.out).hasMatch(), qPrintable(outcome.out));
        QVERIFY2(err.match(outcome.err).hasMatch(), qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
    }

    void replaysTheProgramsTraces()
    {
        Simulator other(words("--tcp 0 --station 7 --trace=" + m_folder.filePath("theirs")));
        const QStringList request =
            arguments("--station 7 --trace=FOLDER/ours read DM200 T3 R1215:bit");
        QCOMPARE(kvlink(other.road + request).err, QString());
        other.stop();
        QCOMPARE(kvlink(arguments("TCP replay FOLDER/ours")).status, 0);
        QCOMPARE(kvlink(arguments("TCP replay FOLDER/theirs")).status, 0);
        QCOMPARE(kvlink(arguments("TCP write DM200 1")).status, 0);
        QCOMPARE(kvlink(arguments("TCP replay FOLDER/ours")).status, 7);
        QCOMPARE(kvlink(arguments("TCP replay FOLDER/theirs")).status, 7);
    }

    void goesOnThroughAnOutage()
    {
        const QString link = m_folder.filePath("plc");
        const QStringList serve = words("--set DM1=5 --link") << link;
        Simulator first(serve);
        QProcess monitor;
        monitor.start(KVLINK_PROGRAM,
                      words(QString("--port %1,9600,8n1 --retry 0 --timeout %2 monitor DM1 "
                                    "--interval 20 --changes-only --format jsonl")
                                .arg(link)
                                .arg(REPLY_MS)));
        QVERIFY(nextLine(&monitor).contains("\"ok\""));
        const int files = openFiles(monitor.processId());
        first.stop();
        QVERIFY(nextLine(&monitor).contains("\"no-reply\""));
        QVERIFY(nextLine(&monitor).contains("\"not-open\""));
        Simulator second(serve);
        QString line = nextLine(&monitor);
        while (line.contains("\"no-reply\"") || line.contains("\"not-open\""))
            line = nextLine(&monitor); // a port that is being set up may still be silent
        QVERIFY2(line.contains("\"ok\""), qPrintable(line));
        QCOMPARE(openFiles(monitor.processId()), files);
        interrupt(monitor);
        const Outcome outcome = ended(&monitor);
        QCOMPARE(outcome.status, 0);
        const QRegularExpression form(
            "kvlink: outage: (?:no reply to|nothing can be sent on) .*\n"
            "kvlink: the PLC answers again "
            "after \\d+\\.\\d s\n"
            "kvlink: \\d+ requests, \\d+ replies, 0 retries, .*; min .* ms");
        QVERIFY2(form.match(outcome.err).hasMatch(), qPrintable(outcome.err));
    }

    void redrawsItsTableOnATerminal()
    {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
        QProcess monitor;
        monitor.setStandardOutputFile(QString::fromLatin1(ptsname(terminal)));
        monitor.start(KVLINK_PROGRAM, arguments("TCP monitor DM100 DM101 --count 2 --interval 1"));
        QVERIFY(monitor.waitForFinished(PATIENCE_MS));
        char bytes[4096];
        const ssize_t count = ::read(terminal, bytes, sizeof bytes);
        const QByteArray shown(bytes, static_cast<int>(qMax<ssize_t>(0, count)));
        ::close(terminal);
        const int redrawn = shown.indexOf("\x1b[3A");
        QVERIFY2(redrawn > 0, shown.constData());
        QVERIFY2(shown.lastIndexOf("DM100  4660  since ") > redrawn, shown.constData());
        QCOMPARE(shown.count("DM101"), 2);
    }

private:
    void writeFile(const char *name, const QString &text)
    {
        QFile file(m_folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text.toLatin1()) == text.size());
    }

    // TCP stands for the simulator's road and station, PLACE for its address, FOLDER for the test's
    // folder.
    QStringList arguments(QString text) const
    {
        text.replace("TCP", "--station 7 --tcp PLACE").replace("PLACE", m_plc.place);
        return words(text.replace("FOLDER", m_folder.path()));
    }

    QTemporaryDir m_folder;
    Simulator m_plc{words("--tcp 0 --station 7 --set DM100=4660")};
};

QTEST_GUILESS_MAIN(TestKvlinkCommands)
#include "tst_kvlink_commands.moc"
