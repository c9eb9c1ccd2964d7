// kvlink's trace, statistics and the commands monitor, ping, bench, replay and list-ports, as a user
// runs them against kvsim.
#include "apps/kvlink/schedule.h"
#include "apps/kvlink/statistics.h"
#include "host/trace_log.h"
#include "tests/program_runner.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

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

// The expression for one line of a trace from its direction on.
QString traced(const char *attempt, const char *rest)
{
    return QString::fromLatin1("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\d+\\.\\d{6} "
                               "\\+\\d+\\.\\d{6} %1%2\n")
        .arg(QLatin1String(attempt), QRegularExpression::escape(QLatin1String(rest)));
}

void writeFile(const QString &name, const QString &text)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text.toLatin1()) == text.size());
}

QString nextLine(QProcess *process)
{
    while (!process->canReadLine() && process->waitForReadyRead(PATIENCE_MS)) {
    }
    return QString::fromUtf8(process->readLine());
}

void stop(QProcess *process)
{
    interrupt(*process);
    QVERIFY(process->waitForFinished(PATIENCE_MS));
    QCOMPARE(process->exitStatus(), QProcess::NormalExit);
}

} // namespace

class TestKvlinkCommands : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void saysWhatALineMeans_data();
    void saysWhatALineMeans();
    void keepsTheSchedule_data();
    void keepsTheSchedule();
    void sumsRequestsUp();
    void runsAsAUserSees_data();
    void runsAsAUserSees();
    void replaysTheProgramsTraces();
    void goesOnThroughAnOutage();
    void redrawsItsTableOnATerminal();
    void anInterruptEndsASilentRead();

private:
    void startSimulator(QProcess *simulator, const QString &arguments);
    QStringList arguments(QString text) const;

    QTemporaryDir m_folder;
    QProcess m_plc;
    QString m_place;
};

void TestKvlinkCommands::startSimulator(QProcess *simulator, const QString &arguments)
{
    simulator->start(QLatin1String(KVSIM_PROGRAM), words(arguments));
    m_place = nextLine(simulator).trimmed().section(QLatin1Char(' '), 1);
    QVERIFY2(!m_place.isEmpty(), qPrintable(simulator->errorString()));
}

void TestKvlinkCommands::initTestCase()
{
    startSimulator(&m_plc, QLatin1String("--tcp 0 --station 7 --set DM100=4660"));
    writeFile(m_folder.filePath(QLatin1String("equal")),
              QString::fromLatin1(RECORDED).arg(QLatin1String("1234")));
    writeFile(m_folder.filePath(QLatin1String("different")),
              QString::fromLatin1(RECORDED).arg(QLatin1String("12\\x80\\x5c")));
    writeFile(m_folder.filePath(QLatin1String("broken")),
              QString::fromLatin1(RECORDED).arg(QLatin1String("12\\q")));
    writeFile(m_folder.filePath(QLatin1String("empty")), QString());
}

void TestKvlinkCommands::cleanupTestCase()
{
    stop(&m_plc);
}

// TCP stands for the simulator's road and station, FOLDER/ for the test's folder.
QStringList TestKvlinkCommands::arguments(QString text) const
{
    text.replace(QLatin1String("TCP"), QLatin1String("--station 7 --tcp ") + m_place);
    return words(text.replace(QLatin1String("FOLDER"), m_folder.path()));
}

void TestKvlinkCommands::saysWhatALineMeans_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("meaning");
    const char *const rows[][2] = {
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
    for (const auto &row : rows)
        QTest::newRow(row[0]) << QString::fromLatin1(row[0]) << QString::fromLatin1(row[1]);
}

void TestKvlinkCommands::saysWhatALineMeans()
{
    QFETCH(QString, line);
    QFETCH(QString, meaning);
    const QByteArray bytes = line.mid(1).toLatin1();
    const char direction = line.at(0).toLatin1();
    QCOMPARE(lineMeaning(direction, bytes + "\r\n"), meaning);
    QCOMPARE(lineMeaning(direction, bytes + '\r'), QString::fromLatin1("no line end"));
}

void TestKvlinkCommands::keepsTheSchedule_data()
{
    QTest::addColumn<qint64>("elapsedMs");
    QTest::addColumn<qint64>("next");
    QTest::addColumn<qint64>("missed");
    QTest::newRow("at once") << qint64(500) << qint64(6) << qint64(0);
    QTest::newRow("in time") << qint64(599) << qint64(6) << qint64(0);
    QTest::newRow("just in time") << qint64(600) << qint64(6) << qint64(0);
    QTest::newRow("just too late") << qint64(601) << qint64(7) << qint64(1);
    QTest::newRow("far too late") << qint64(1000) << qint64(10) << qint64(4);
}

void TestKvlinkCommands::keepsTheSchedule()
{
    QFETCH(qint64, elapsedMs);
    QFETCH(qint64, next);
    QFETCH(qint64, missed);
    qint64 counted = 0;
    QCOMPARE(tickAfter(5, elapsedMs, 100, &counted), next);
    QCOMPARE(counted, missed);
}

void TestKvlinkCommands::sumsRequestsUp()
{
    Statistics statistics;
    statistics.add({false, true, 4, 4, 999000000});
    QCOMPARE(statistics.text(),
             QString::fromLatin1("1 request, 0 replies, 3 retries, 4 time-outs, 1 error"));
    for (int ms = 1; ms <= 200; ++ms)
        statistics.add({true, ms == 200, ms == 1 ? 2 : 1, 0, ms * 1000000});
    QCOMPARE(statistics.text(), QString::fromLatin1("201 requests, 200 replies, 4 retries, 4 "
                                                    "time-outs, 2 errors; min 1.00, median 100, "
                                                    "p99 198, max 200 ms"));
}

// What comes out, whole, and a part of what the user is told.
void TestKvlinkCommands::runsAsAUserSees_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QString>("err");
    const QString time = QLatin1String("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} ");
    const QString exchange =
        traced("#1 ", "> CR 07\\r\\n ; open station 07") + traced("#1 ", "< CC 07\\r\\n ; opened") +
        traced("#1 ", "> RDS DM00100.H 2\\r\\n ; read 2 words from DM100") +
        traced("#1 ", "< 1234 0000\\r\\n ; 2 words") + traced("#1 ", "> CQ\\r\\n ; close") +
        traced("#1 ", "< CF\\r\\n ; closed");
    const QString refused =
        traced("#1 ", "< E0\\r\\n ; error reply 0") + traced("#1 ", "> CQ\\r\\n ; close") +
        traced("#1 ", "< CF\\r\\n ; closed") + traced("#2 ", "> CR 07\\r\\n ; open station 07");
    const QString contacts = traced("#1 ", "> ST T0001\\r\\n ; set T1") + QLatin1String(".*") +
                             traced("#1 ", "> RS T0002\\r\\n ; reset T2");
    const struct {
        const char *command;
        int status;
        QString out;
        QString err;
    } rows[] = {
        {"TCP --trace read DM100 -n 2", 0, "4660\n0\n", "\\A" + exchange + "\\z"},
        {"TCP --trace --retry 1 read DM70000", 1, "", refused},
        {"TCP --trace write T1 1 0 -k bit", 0, "", contacts},
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
         "line 4: \"RDS DM00100.H 1\\\\r\\\\n\": recorded \"12\\\\x80\\\\\\\\r\\\\n\", received "
         "\"1234\\\\r\\\\n\"\n",
         "1 different reply"},
        {"TCP replay FOLDER/broken", 2, "", "broken:5: not a line of a trace"},
        {"TCP replay FOLDER/empty", 2, "", "holds no request"},
        {"TCP replay FOLDER/none", 2, "", "cannot read the trace"},
        {"list-ports --format json", 0, "\\[(\\{.*\"device\":.*\\})?\\]\n", "\\A\\z"},
        {"TCP monitor DM100:hex DM101 --count 2 --interval 5", 0,
         QString::fromLatin1("(%1DM100:hex 0x1234\n%1DM101 0\n){2}").arg(time),
         "2 requests, 2 replies, 0 retries"},
        {"TCP monitor DM100 --count 5 --interval 1 --changes-only", 0, time + "DM100 4660\n",
         "5 requests, 5 replies"},
        {"TCP monitor DM100 -n 2 --count 1 --format csv", 0,
         "time,address,.*\n.*,4660,ok,\n.*,0,ok,\n", "1 request, 1 reply"},
        {"TCP monitor DM100 DM70000 --no-merge --count 3 --interval 1 --retry 0", 6,
         QString::fromLatin1("(%1DM100 4660\n){3}").arg(time),
         "\\Akvlink: DM70000: error reply [^\n]*\nkvlink: 6 requests, 6 replies, 0 retries, 0 "
         "time-outs, 3 errors; [^\n]*\n\\z"},
        {"TCP monitor DM100 --duration 1 --interval 600", 0,
         QString::fromLatin1("(%1DM100 4660\n){2}").arg(time), "2 requests"},
        {"TCP monitor DM100=1", 2, "", "value to write"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.command)
            << QString::fromLatin1(row.command) << row.status << row.out << row.err;
    QTest::newRow("ping another station")
        << QString::fromLatin1("--tcp PLACE --station 8 --timeout 20 ping --count 2 --interval 1")
        << 4 << QString()
        << QString::fromLatin1("2: no reply to \"CR 08\" on .*\nkvlink: 2 requests, 0 replies, 0 "
                               "retries, 2 time-outs, 2 errors\n");
}

void TestKvlinkCommands::runsAsAUserSees()
{
    QFETCH(QString, command);
    QFETCH(int, status);
    QFETCH(QString, out);
    QFETCH(QString, err);
    const Outcome outcome = kvlink(arguments(command.replace(QLatin1String("PLACE"), m_place)));
    const QRegularExpression outForm(QLatin1String("\\A") + out + QLatin1String("\\z"),
                                     QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpression errForm(err, QRegularExpression::DotMatchesEverythingOption);
    QVERIFY2(outForm.match(outcome.out).hasMatch(), qPrintable(outcome.out));
    QVERIFY2(errForm.match(outcome.err).hasMatch(), qPrintable(outcome.err));
    QCOMPARE(outcome.status, status);
}

void TestKvlinkCommands::replaysTheProgramsTraces()
{
    const QString place = m_place;
    QProcess other;
    startSimulator(
        &other, QString::fromLatin1("--tcp 0 --station 7 --trace=%1/theirs").arg(m_folder.path()));
    const char *const recorded = "TCP --trace=FOLDER/ours read DM200 T3 R1215:bit";
    QCOMPARE(kvlink(arguments(QLatin1String(recorded))).err, QString());
    stop(&other);
    m_place = place;
    QCOMPARE(kvlink(arguments(QLatin1String("TCP replay FOLDER/ours"))).status, 0);
    QCOMPARE(kvlink(arguments(QLatin1String("TCP replay FOLDER/theirs"))).status, 0);
    QCOMPARE(kvlink(arguments(QLatin1String("TCP write DM200 1"))).status, 0);
    QCOMPARE(kvlink(arguments(QLatin1String("TCP replay FOLDER/ours"))).status, 7);
    QCOMPARE(kvlink(arguments(QLatin1String("TCP replay FOLDER/theirs"))).status, 7);
}

void TestKvlinkCommands::goesOnThroughAnOutage()
{
    const QString link = m_folder.filePath(QLatin1String("plc"));
    const QString serve = QLatin1String("--set DM1=5 --link ") + link;
    const QString place = m_place;
    QProcess first;
    startSimulator(&first, serve);
    QProcess monitor;
    monitor.start(QLatin1String(KVLINK_PROGRAM),
                  words(QString::fromLatin1("--port %1,9600,8n1 --retry 0 --timeout %2 monitor DM1 "
                                            "--interval 20 --changes-only --format jsonl")
                            .arg(link)
                            .arg(REPLY_MS)));
    QVERIFY(nextLine(&monitor).contains(QLatin1String("\"ok\"")));
    stop(&first);
    QVERIFY(nextLine(&monitor).contains(QLatin1String("\"no-reply\"")));
    QVERIFY(nextLine(&monitor).contains(QLatin1String("\"not-open\"")));
    QProcess second;
    startSimulator(&second, serve);
    QString line = nextLine(&monitor);
    // A port that is being set up may still be silent.
    while (line.contains(QLatin1String("\"no-reply\"")) ||
           line.contains(QLatin1String("\"not-open\"")))
        line = nextLine(&monitor);
    QVERIFY2(line.contains(QLatin1String("\"ok\"")), qPrintable(line));
    stop(&monitor);
    QCOMPARE(monitor.exitCode(), 0);
    const QString told = QString::fromUtf8(monitor.readAllStandardError());
    const QRegularExpression form(QLatin1String(
        "kvlink: outage: (?:no reply to|nothing can be sent on) .*\nkvlink: the PLC answers again after \\d+\\.\\d s\n"
        "kvlink: \\d+ requests, \\d+ replies, 0 retries, .*; min .* ms"));
    QVERIFY2(form.match(told).hasMatch(), qPrintable(told));
    stop(&second);
    m_place = place;
}

void TestKvlinkCommands::redrawsItsTableOnATerminal()
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    QVERIFY(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    QProcess monitor;
    monitor.setStandardOutputFile(QString::fromLatin1(ptsname(terminal)));
    monitor.start(QLatin1String(KVLINK_PROGRAM),
                  arguments(QLatin1String("TCP monitor DM100 DM101 --count 2 --interval 1")));
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

void TestKvlinkCommands::anInterruptEndsASilentRead()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    QProcess process;
    process.setReadChannel(QProcess::StandardError);
    process.start(QLatin1String(KVLINK_PROGRAM),
                  words(QString::fromLatin1("--timeout 200 --retry 1000 --trace read DM1 T1 --tcp "
                                            "127.0.0.1:%1")
                            .arg(silent.serverPort())));
    QVERIFY(nextLine(&process).contains(QLatin1String("#1 > CR 00")));
    stop(&process);
    QCOMPARE(process.exitCode(), 4);
    const QString told = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(told.contains(QLatin1String("interrupted without a reply to \"CR 00\"")) &&
                 !told.contains(QLatin1String("#2")),
             qPrintable(told));
}

QTEST_GUILESS_MAIN(TestKvlinkCommands)
#include "tst_kvlink_commands.moc"
