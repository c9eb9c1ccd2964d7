// The programs as a user runs them: kvlink against kvsim, over a pseudo-terminal and over TCP.
#include "tests/apps/program_runner.h"
#include "tests/table.h"

#include <QtCore/QTemporaryDir>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

namespace
{

// Each row writes, reads back and expects what it reads.
const struct {
    QString write, read, values;
} VALUES[] = {
    {"DM100 1 0xFFFF -2", "dm100 -n 3", "1\n65535\n65534\n"},
    {"W1F 305419896 -k dword", "W1F -n 2", "22136\n4660\n"},
    {"EM7 1 2 255 -k byte", "EM7 -n 4 -k byte", "1\n2\n255\n0\n"},
    {"T12 100000 5 -k dword", "T12 -n 2 -k dword", "100000\n5\n"},
    {"PCTC2 4294967295 -k dword", "PCTC2 -k dword", "4294967295\n"},
    {"CC3 77 -k dword", "C3 -k dword", "77\n"},
    {"R1215 1 0 1 -k bit", "R1214 -n 5 -k bitblock", "0\n1\n0\n1\n0\n"},
    {"T500 1 1 0 1 -k bit", "T500 -n 4 -k bit", "1\n1\n0\n1\n"},
    {"CTC1 1 -k bit", "CTC0 -n 2 -k bit", "0\n1\n"},
    {"MR2 0x8001", "MR200 -n 16 -k bit", "1\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n1\n"},
};

// TCP stands for the simulator's road.
const struct {
    const char *name;
    int status;
    QString message;
} WRONG[] = {
    {"TCP --station 7 --retry 0 read DM70000", 1, "error reply \"E0\" to \"RDS DM70000.H 1\" on "},
    {"TCP", 2, ""},
    {"TCP read", 2, ""},
    {"TCP read DM1 --fast", 2, "--fast"},
    {"TCP read DM1 -k nibble", 2, "nibble"},
    {"TCP write DM1 65536", 2, "65536"},
    {"TCP write DM1 12x", 2, "12x"},
    {"TCP --station 100 read DM1", 2, "100"},
    {"--port /dev/kv-no-such-port read DM1", 3, "/dev/kv-no-such-port"},
    {"--port /dev/null,9600,9e1 read DM1", 2, "9e1"},
    {"TCP --driver no-such-driver.so read DM1", 3, "no-such-driver.so"},
    {"TCP --station 8 --retry 1 --timeout 50 read DM1", 4,
     "within 50 ms (2 attempts, 0 bytes): check cable, baud rate, parity, station number"},
    {"TCP --station 7 write CTC1 5", 5, "can't write word to CTC1"},
    {"TCP --station 7 read ZA1", 5, "names no known device"},
    {"read DM1", 2, "--port"},
};

} // namespace

class TestKvlink : public QObject
{
    Q_OBJECT

private slots:
    void cleanupTestCase()
    {
        QCOMPARE(m_terminal.stop().status, 0);
        QCOMPARE(m_server.stop().status, 0);
    }

    void readsAndWrites()
    {
        for (const QStringList &road : {m_terminal.road, m_server.road}) {
            for (const auto &row : VALUES) {
                const QStringList common = road + words("--station 7");
                const Outcome written = kvlink(common + words("write " + row.write));
                QCOMPARE(written.err + written.out, QString());
                QCOMPARE(written.status, 0);
                const Outcome got = kvlink(common + words("read " + row.read));
                QCOMPARE(got.err, QString());
                QCOMPARE(got.out, row.values);
                QCOMPARE(got.status, 0);
            }
        }
    }

    void tellsWhatWentWrong_data() { addRows(WRONG); }

    void tellsWhatWentWrong()
    {
        const auto &row = currentRow(WRONG);
        const QString tcp = m_server.road.join(' ');
        const Outcome outcome = kvlink(words(QString(row.name).replace("TCP", tcp)));
        QCOMPARE(outcome.out, QString());
        QVERIFY2(outcome.err.contains(row.message), qPrintable(outcome.err));
        QVERIFY(!outcome.err.isEmpty());
        QCOMPARE(outcome.status, row.status);
    }

    void takesTheStationOfTheProject()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath("project");
        const QStringList of = words("--project") << file;
        QCOMPARE(kvlink(words("project init") << file).status, 0);
        const Outcome again = kvlink(words("project init") << file);
        QCOMPARE(again.status, 3);
        QVERIFY2(again.err.contains("exists already"), qPrintable(again.err));

        const struct {
            const char *arguments;
            int status;
            const char *message;
        } rows[] = {
            {"--project-port COM2 --sim --trace", 0, "> CR 01"},
            {"--project-port ethernet --sim --trace", 0, "> CR 00"},
            {"--project-port COM3 --sim", 3, "no default station at COM3 (HMI port 1004)"},
            {"--project-port COM --sim", 3, "no port of a panel"},
            {"--project-port ETHERNET --tcp 127.0.0.1:8503", 3, "no default station at ETHERNET"},
            {"--project-port COM2 --station 1 --sim", 2, "--station"},
            {"--project-port COM2 --sim \x1b[3A", 2, "\\x1b[3A"},
        };
        for (const auto &row : rows) {
            const Outcome outcome = kvlink(words("read DM1") + words(row.arguments) + of);
            QVERIFY2(outcome.err.contains(row.message), qPrintable(outcome.err));
            QCOMPARE(outcome.status, row.status);
        }
        const Outcome unnamed =
            kvlink(words("read DM1 --sim --project-port") + QStringList("") + of);
        QVERIFY2(unnamed.err.contains("--project-port: it names nothing"), qPrintable(unnamed.err));
        QVERIFY(execute(file, "ALTER TABLE NODE RENAME COLUMN IP TO ADDRESS"));
        const Outcome incomplete = kvlink(words("read DM1 --project-port COM2 --sim") + of);
        QVERIFY2(incomplete.err.contains("no such column: NODE.IP"), qPrintable(incomplete.err));
        // A view without end.
        QVERIFY(execute(file, "ALTER TABLE NODE RENAME COLUMN ADDRESS TO IP"));
        QVERIFY(execute(file, "DROP TABLE LINK"));
        QVERIFY(execute(file, "CREATE VIEW LINK AS WITH RECURSIVE N(LINKID, HMIPORT) AS (SELECT 9, "
                              "0 UNION ALL SELECT 9, 0 FROM N) SELECT * FROM N"));
        QProcess endless;
        endless.start(KVLINK_PROGRAM, words("read DM1 --project-port COM2 --sim") + of);
        QVERIFY(!endless.waitForFinished(REPLY_MS * 5));
        endless.terminate();
        QVERIFY(endless.waitForFinished(REPLY_MS * 20));
        QCOMPARE(endless.exitStatus(), QProcess::CrashExit);
    }

private:
    static bool execute(const QString &file, const char *statement)
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE");
        database.setDatabaseName(file);
        return database.open() && QSqlQuery(database).exec(statement);
    }

    Simulator m_terminal{words("--pty --station 7")};
    Simulator m_server{words("--tcp 0 --station 7")};
};

QTEST_GUILESS_MAIN(TestKvlink)
#include "tst_kvlink.moc"
