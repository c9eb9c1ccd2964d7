// kvlink as a logger: its files, what it leaves out, and what it says meanwhile.
#include "apps/kvlink/live_table.h"
#include "items/expression.h"
#include "items/item_values.h"
#include "tests/apps/kvlink_runs.h"

#include <QtCore/QDateTime>

#include <clocale>

namespace
{

#define CSV "time,address,type,index,value,status,error\n"
#define ROW "TIME,DM100,u16,0,4660,ok,\n"

// The name is a command that logs to FOLDER/log.csv, which may hold something before.
const struct {
    const char *name;
    int status;
    const char *before; // as of 2026-01-02
    const char *files;  // all that are there then, with DAY for today
    const char *err;
} LOGS[] = {
    {"PLC monitor DM100 --interval 1 --count 2 --format csv", 0, CSV "2026\n",
     "log.csv: " CSV "2026\n" ROW ROW, "2 requests"},
    {"PLC monitor DM100 --interval 1 --count 1 --format csv", 0, CSV "cut of",
     "log.csv: " CSV "cut of\n" ROW, ""},
    {"PLC monitor DM100 --count 1 --format csv", 3, "time,DM1\n", "log.csv: time,DM1\n",
     "its first line is not \"time,address"},
    {"PLC monitor DM100 --count 1", 3, "time,DM1\n", "log.csv: time,DM1\n", "log.csv: it is CSV;"},
    {"PLC monitor DM100 --count 1", 0, "", "log.csv: TIME DM100 4660\n", ""},
    {"PLC monitor DM100 --interval 1 --count 2 --format csv --rotate daily", 0, CSV "2026\n",
     "log-2026-01-02.csv: " CSV "2026\nlog.csv: " CSV ROW ROW, ""},
    {"PLC monitor DM100 --interval 1 --count 5 --format csv --rotate 145", 0, "",
     "log-DAY.2.csv: " CSV ROW ROW "log-DAY.csv: " CSV ROW ROW "log.csv: " CSV ROW, ""},
    {"PLC monitor DM100 --rotate 0", 2, "", "log.csv: ", "0: expected daily, or a size"},
    {"PLC monitor DM100 --format json", 2, "", "log.csv: ", "use jsonl"},
    {"PLC monitor DM100 --rotate 1M --output /dev/full", 3, "", "log.csv: ", "a regular file"},
    {"PLC monitor DM100 --count 1 --output /dev/stdin", 3, "", "log.csv: ", "it is a pipe"},
};

// DM900 moves between 1 and 2 all the time.
const KvlinkRun RUNS[] = {
    {"PLC monitor DM100 DM101:hex[2] DM103:u8[2] DM105:string[2] DM70000 R15:bit[2] --count 2 "
     "--interval 1 --format csv-wide",
     6,
     "time,DM100,DM101:hex,DM102:hex,DM103:u8[0],DM103:u8[1],DM105:string[2],DM70000,R15:bit,"
     "R100:bit,status,error\n"
     "TIME,4660,0x0000,0x0000,0,0,,,0,0,some,\"DM70000: error reply \"\"E0ANY\"\n"
     "TIME,4660,0x0000,0x0000,0,0,,,0,0,some,\"DM70000: error reply \"\"E0ANY\"\n",
     "DM70000: "},
    {"WIRE --station 8 --retry 0 --timeout 20 read DM1 T2[2] --format csv-wide", 4,
     "time,DM1,T2,T3,status,error\nTIME,,,,no-reply,\"DM1, T2[2]: ANY\"\n", "no reply"},
    {"PLC monitor DM100 DM900 --count 20 --interval 2 --changes-only --deadband 1", 0,
     "TIME DM100 4660\nTIME DM900 ANY\n", "40 requests"},
    {"PLC monitor DM100 DM900 --count 20 --interval 2 --changes-only --deadband 0.5", 0,
     "TIME DM100 4660\nTIME DM900 ANY\nTIME DM900 ANY\nALL", "40 requests"},
    {"PLC monitor DM100 DM900 --count 20 --interval 2 --changes-only --format csv-wide", 0,
     "time,DM100,DM900,status,error\nTIME,4660,ANY,ok,\nTIME,4660,ANY,ok,\nALL", "40 requests"},
    {"--baud 9600 > PLC monitor T0 T1 T2 T3 T4 T5 T6 T7 --interval 300 --count 2 --format value", 0,
     "ALL",
     "^kvlink: a sample takes ANY ms, longer than the interval of 300 ms: use --interval ANY0 or "
     "fewer items (about ANY)\nkvlink: 16 requests, ANY\n"},
    {"PLC monitor DM100 --count 2 --interval 50 --spool FOLDER/spool --deliver sh${IFS}FOLDER/once",
     0, "TIME DM100 4660\nTIME DM100 4660\n",
     "^kvlink: \"ANY\" ended with status 7: no broker; it is tried again after 1 s, ANY\n"
     "kvlink: delivers the spool ANY again after ANY\nkvlink: 2 requests, ANY\n"},
    {"PLC monitor DM1 --spool FOLDER/spool --format csv", 2, "", "use jsonl"},
    {"PLC monitor DM1 --changes-only --deadband 1,5", 2, "", "1,5 is not a number from 0"},
};

// Two readings of an item, as "item deadband before now;...".
const char STILL[] = "DM1 5 100 105;DM1:u32 1 4294967295 4294967294;DM1:bcd 5 1 6;"
                     "DM1:f32 0.1 1000 1000.1;DM1:f32 5 nan nan";
const char MOVED[] = "DM1 5 100 94;DM1 0 100 101;DM1:s16 5 -3 3;DM1[2] 5 1,1 1,7;"
                     "DM1:f32 0.1 1000 1000.2;DM1:f32 5 1 nan;DM1:f32 5 inf -inf;R0:bit 5 0 1;"
                     "DM1:hex 5 0x0001 0x0002;DM1:string[2] 5 1 2";

// Commands that go on until they are interrupted, and their interim line.
const struct {
    const char *name;
    const char *interim;
} ENDLESS[] = {
    {"PLC --trace monitor DM1 --interval 1h",
     "kvlink: so far 1 request, 1 reply, 0 retries, 0 time-outs, 0 errors; ANY\n"},
    {"PLC --trace bench --requests 999999999",
     "kvlink: so far ANY of 999999999 requests, NUM a second: ANY\n"},
    {"PLC --trace diagnose --duration 1h", "kvlink: so far ANY; no errors\n"},
};

} // namespace

class TestKvlinkLog : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkLog()
        : KvlinkTest("--set DM100=4660 --live DM900=ramp:1,2,10 --live DM901=ramp:0,9999,9999")
    {}

private slots:
    void initTestCase()
    {
        writeFile("once", "mkdir \"$0.begun\" && echo no broker >&2 && exit 7; cat");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    void tellsAMoveFromADeadband()
    {
        for (const QString &readings : QString(STILL).split(';'))
            QVERIFY2(!haveMovedIn(words(readings)), qPrintable(readings));
        for (const QString &readings : QString(MOVED).split(';'))
            QVERIFY2(haveMovedIn(words(readings)), qPrintable(readings));
    }

    void knowsWhatFitsInAnInterval()
    {
        QVector<Item> items;
        for (const char *address : {"DM0", "DM1", "DM2", "DM100", "DM200"})
            items += parsed(address);
        QCOMPARE(itemsWithin(items, MergeOptions(), 0.65), 3);
    }

    void drawsWhatFits()
    {
        setlocale(LC_CTYPE, "C.UTF-8");
        QVector<Item> items(4);
        QVector<ItemResult> results(4);
        for (int i = 0; i < 4; ++i) {
            items[i].text = QString("DM%1").arg(i);
            results[i].values = words(i == 1 ? "12345678" : "7");
        }
        QString shown;
        QTextStream out(&shown);
        LiveTable table(out, items);
        table.take(results, "2026", 0);
        table.draw("2026", 12, 5);
        results[0].values[0] = '8';
        results[1].values[0] = "1234567";
        table.take(results, "2027", 0);
        table.draw("2027", 12, 5);
        table.take(results, "2028", 0);
        table.draw("2028", 24, 2);
        results[2].values[0] = QString(4, QChar(0x6E29)); // of two columns each
        table.take(results, "2029", 0);
        table.draw("2029", 12, 9);
        table.take(results, "2030", 0);
        table.draw("2030", 26, 9);
        QString lines = shown.replace("\x1b[7m", "<").replace("\x1b[0m", ">").remove("\r\x1b[K");
        lines.replace("\x1b[J", "\f").replace("\x1b[4A", "^").replace("\x1b[H", "H");
        QCOMPARE(lines, QString("2026\nDM0  7\nDM1  123456>\nand 2 more\n\f"
                                "^2027\nDM0  <8>\nDM1  <1234567>\nand 2 more\n\f"
                                "H\fand 4 more\n\f"
                                "H\f2029\nDM0  8\nDM1  1234567\nDM2  <%1>>\nDM3  7\n\f"
                                "H\f2030\nDM0  8         since 2027\nDM1  1234567   since 2027\n"
                                "DM2  %1%2  since 2029\nDM3  7         since 2026\n\f")
                            .arg(results[2].values[0].left(3), results[2].values[0].left(1)));
    }

    void keepsALog_data() { addRows(LOGS); }

    void keepsALog()
    {
        const auto &row = currentRow(LOGS);
        const QTemporaryDir folder;
        QFile before(folder.filePath("log.csv"));
        QVERIFY(before.open(QIODevice::WriteOnly) && before.write(row.before) >= 0);
        QVERIFY(before.flush() && before.setFileTime(QDateTime(QDate(2026, 1, 2), QTime(12, 0)),
                                                     QFile::FileModificationTime));
        QStringList command = arguments(row.name);
        if (!command.contains("--output"))
            command << "--output" << before.fileName();
        const Outcome outcome = kvlink(command);
        QString files;
        for (const QFileInfo &file : QDir(folder.path()).entryInfoList(QDir::Files, QDir::Name))
            files += file.fileName() + ": " + contentOf(file.filePath());
        const QString today = QDate::currentDate().toString(Qt::ISODate);
        QVERIFY2(fits(files, QString(row.files).replace("DAY", today)), qPrintable(files));
        QVERIFY2(outcome.err.contains(row.err), qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
        QCOMPARE(outcome.out, QString());
    }

    // The log begins on a full disk, gets room, and is moved away.
    void goesOnWithoutItsFile()
    {
        const QString log = m_folder.filePath("log.csv");
        QVERIFY(QFile::link("/dev/full", log));
        QProcess monitor;
        monitor.setReadChannel(QProcess::StandardError);
        monitor.start(
            KVLINK_PROGRAM,
            arguments(
                "PLC monitor DM100 DM901 --interval 50 --changes-only --format csv --output FOLDER/log.csv"));
        QString line = nextLine(&monitor);
        QVERIFY2(line.contains("No space left on device; samples are lost"), qPrintable(line));
        QVERIFY(QFile::remove(log));
        line = nextLine(&monitor);
        QVERIFY2(line.contains("the log is written again; "), qPrintable(line));
        QVERIFY(QFile::rename(log, m_folder.filePath("moved")));
        QTRY_VERIFY(contentOf(log).contains("DM100"));
        interrupt(monitor);
        const Outcome outcome = ended(&monitor);
        QCOMPARE(outcome.status, 0);
        QVERIFY2(outcome.err.endsWith(" not in the log\n"), qPrintable(outcome.err));
        for (const char *file : {"log.csv", "moved"}) {
            const QString content = contentOf(m_folder.filePath(file));
            QVERIFY2(content.startsWith(CSV) && content.count(CSV) == 1, qPrintable(content));
            QCOMPARE(content.count("DM100"), 1);
        }
    }

    void saysHowItGetsOn_data() { addRows(ENDLESS); }

    void saysHowItGetsOn()
    {
        const auto &row = currentRow(ENDLESS);
        QProcess process;
        process.setReadChannel(QProcess::StandardError);
        process.start(KVLINK_PROGRAM, arguments(row.name));
        QString line = nextLine(&process);
        while (line.contains("#1") && !line.contains("closed"))
            line = nextLine(&process);
        sendSignal(process, SIGUSR1);
        while (line.contains("#1"))
            line = nextLine(&process);
        QVERIFY2(fits(line, row.interim), qPrintable(line));
        sendSignal(process, SIGINT);
        QCOMPARE(ended(&process).status, 0);
    }

private:
    static Item parsed(const QString &text)
    {
        Item item;
        parseItem(text, ItemDefaults(), &item);
        return item;
    }

    static bool haveMovedIn(const QStringList &row)
    {
        Item item = parsed(row.at(0));
        item.tag.deadband = row.at(1).toDouble();
        return haveMoved(item, row.at(2).split(','), row.at(3).split(','));
    }

    static QString contentOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
};

QTEST_GUILESS_MAIN(TestKvlinkLog)
#include "tst_kvlink_log.moc"
