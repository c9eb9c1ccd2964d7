// kvlink as a logger: its files, what it leaves out, and what it says meanwhile.
#include "tests/apps/kvlink_runs.h"

#include <QtCore/QDateTime>

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
    {"PLC monitor DM100 --count 1", 0, "", "log.csv: TIME DM100 4660\n", ""},
    {"PLC monitor DM100 --interval 1 --count 2 --format csv --rotate daily", 0, CSV "2026\n",
     "log-2026-01-02.csv: " CSV "2026\nlog.csv: " CSV ROW ROW, ""},
    {"PLC monitor DM100 --interval 1 --count 5 --format csv --rotate 145", 0, "",
     "log-DAY.2.csv: " CSV ROW ROW "log-DAY.csv: " CSV ROW ROW "log.csv: " CSV ROW, ""},
    {"PLC monitor DM100 --rotate 0", 2, "", "log.csv: ", "0: expected daily, or a size"},
    {"PLC monitor DM100 --format json", 2, "", "log.csv: ", "use jsonl"},
    {"PLC monitor DM100 --rotate 1M --output /dev/full", 3, "", "log.csv: ", "a regular file"},
};

// Commands that go on until they are interrupted, and their interim line.
const struct {
    const char *name;
    const char *interim;
} ENDLESS[] = {
    {"PLC --trace monitor DM1 --interval 1h",
     "kvlink: so far 1 request, 1 reply, 0 retries, 0 time-outs, 0 errors; ANY\n"},
    {"PLC --trace bench --requests 999999999",
     "kvlink: so far ANY of 999999999 requests, NUM a second: ANY\n"},
};

} // namespace

class TestKvlinkLog : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkLog() : KvlinkTest("--set DM100=4660") {}

private slots:
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
            arguments("PLC monitor DM100 --interval 5 --format csv --output FOLDER/log.csv"));
        QString line = nextLine(&monitor);
        QVERIFY2(line.contains("No space left on device; samples are lost"), qPrintable(line));
        QVERIFY(QFile::remove(log));
        line = nextLine(&monitor);
        QVERIFY2(line.contains("the log is written again; "), qPrintable(line));
        QVERIFY(QFile::rename(log, m_folder.filePath("moved")));
        QTRY_VERIFY(contentOf(log).count('\n') > 1);
        interrupt(monitor);
        const Outcome outcome = ended(&monitor);
        QCOMPARE(outcome.status, 0);
        QVERIFY2(outcome.err.contains(" not in the log\n"), qPrintable(outcome.err));
        for (const char *file : {"log.csv", "moved"}) {
            const QString content = contentOf(m_folder.filePath(file));
            QVERIFY2(content.startsWith(CSV) && content.count(CSV) == 1, qPrintable(content));
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
    static QString contentOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
};

QTEST_GUILESS_MAIN(TestKvlinkLog)
#include "tst_kvlink_log.moc"
