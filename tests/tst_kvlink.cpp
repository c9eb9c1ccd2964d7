// The programs as a user runs them: kvlink against kvsim, over a pseudo-terminal and over TCP.
#include "tests/program_runner.h"

#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

class TestKvlink : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void readsAndWrites_data();
    void readsAndWrites();
    void tellsWhatWentWrong_data();
    void tellsWhatWentWrong();
    void tracesEveryLine();
    void waitsForASilentPeerAndNoLonger();
    void takesTheStationOfTheProject();

private:
    void startSimulator(QProcess *simulator, const QStringList &arguments, QString *place);
    QStringList road(const QString &name) const;

    QProcess m_ptySimulator;
    QProcess m_tcpSimulator;
    QString m_pty;
    QString m_tcp;
};

void TestKvlink::startSimulator(QProcess *simulator, const QStringList &arguments, QString *place)
{
    simulator->start(QLatin1String(KVSIM_PROGRAM), arguments);
    while (!simulator->canReadLine())
        QVERIFY2(simulator->waitForReadyRead(PATIENCE_MS), qPrintable(simulator->errorString()));
    *place = QString::fromLatin1(simulator->readLine()).trimmed().section(QLatin1Char(' '), 1);
    QVERIFY(!place->isEmpty());
}

void TestKvlink::initTestCase()
{
    startSimulator(&m_ptySimulator, words("--pty --station 7"), &m_pty);
    startSimulator(&m_tcpSimulator, words("--tcp 0 --station 7"), &m_tcp);
}

void TestKvlink::cleanupTestCase()
{
    QProcess *const simulators[] = {&m_ptySimulator, &m_tcpSimulator};
    for (QProcess *simulator : simulators) {
        interrupt(*simulator);
        QVERIFY(simulator->waitForFinished(PATIENCE_MS));
        QCOMPARE(simulator->exitCode(), 0);
    }
}

QStringList TestKvlink::road(const QString &name) const
{
    if (name == QLatin1String("pty"))
        return QStringList() << QLatin1String("--port") << m_pty + QLatin1String(",115200,8n1");
    if (name == QLatin1String("tcp"))
        return QStringList() << QLatin1String("--tcp") << m_tcp;
    return QStringList() << QLatin1String("--sim");
}

// Each row writes, reads back and expects what it reads, on each road.
void TestKvlink::readsAndWrites_data()
{
    QTest::addColumn<QString>("roadName");
    QTest::addColumn<QString>("write");
    QTest::addColumn<QString>("read");
    QTest::addColumn<QString>("values");
    const struct {
        const char *write;
        const char *read;
        const char *values;
    } rows[] = {
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
    const char *const roads[] = {"pty", "tcp"};
    for (const char *name : roads) {
        for (const auto &row : rows)
            QTest::newRow(qPrintable(QString::fromLatin1("%1 %2").arg(name, row.write)))
                << QString::fromLatin1(name) << QString::fromLatin1(row.write)
                << QString::fromLatin1(row.read) << QString::fromLatin1(row.values);
    }
}

void TestKvlink::readsAndWrites()
{
    QFETCH(QString, roadName);
    QFETCH(QString, write);
    QFETCH(QString, read);
    QFETCH(QString, values);
    const QStringList common = road(roadName) << words("--station 7");
    const Outcome written = kvlink(common + words("write") + words(qPrintable(write)));
    QCOMPARE(written.err + written.out, QString());
    QCOMPARE(written.status, 0);
    const Outcome got = kvlink(common + words("read") + words(qPrintable(read)));
    QCOMPARE(got.err, QString());
    QCOMPARE(got.out, values);
    QCOMPARE(got.status, 0);
}

void TestKvlink::tellsWhatWentWrong_data()
{
    QTest::addColumn<QString>("roadName");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("message");
    const struct {
        const char *name;
        const char *road;
        const char *arguments;
        int status;
        const char *message;
    } rows[] = {
        {"PLC refuses", "tcp", "--station 7 --retry 0 read DM70000", 1,
         "error reply \"E0\" to \"RDS DM70000.H 1\" on "},
        {"no command", "tcp", "", 2, ""},
        {"no address", "tcp", "read", 2, ""},
        {"unknown option", "tcp", "read DM1 --fast", 2, "--fast"},
        {"unknown kind", "tcp", "read DM1 -k nibble", 2, "nibble"},
        {"value out of range", "tcp", "write DM1 65536", 2, "65536"},
        {"value not a number", "tcp", "write DM1 12x", 2, "12x"},
        {"station of three digits", "tcp", "--station 100 read DM1", 2, "100"},
        {"no such port", "", "--port /dev/kv-no-such-port read DM1", 3, "/dev/kv-no-such-port"},
        {"bad port setting", "", "--port /dev/null,9600,9e1 read DM1", 2, "9e1"},
        {"no such plug-in", "tcp", "--driver no-such-driver.so read DM1", 3, "no-such-driver.so"},
        {"another station", "tcp", "--station 8 --retry 1 --timeout 50 read DM1", 4,
         "within 50 ms (2 attempts, 0 bytes): check cable, baud rate, parity, station number"},
        {"refused request", "tcp", "--station 7 write CTC1 5", 5, "can't write word to CTC1"},
        {"refused address", "tcp", "--station 7 read ZA1", 5, "names no known device"},
        {"no road", "", "read DM1", 2, "--port"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QString::fromLatin1(row.road)
                                << QString::fromLatin1(row.arguments) << row.status
                                << QString::fromLatin1(row.message);
}

void TestKvlink::tellsWhatWentWrong()
{
    QFETCH(QString, roadName);
    QFETCH(QString, arguments);
    QFETCH(int, status);
    QFETCH(QString, message);
    const QStringList start = roadName.isEmpty() ? QStringList() : road(roadName);
    const Outcome outcome = kvlink(start + words(qPrintable(arguments)));
    QCOMPARE(outcome.out, QString());
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
    QVERIFY(!outcome.err.isEmpty());
    QCOMPARE(outcome.status, status);
}

void TestKvlink::tracesEveryLine()
{
    const Outcome outcome = kvlink(words("--sim --trace --station 42 read DM1"));
    QCOMPARE(outcome.status, 0);
    QStringList lines;
    foreach (const QString &line, outcome.err.split(QLatin1Char('\n'))) {
        const int direction = line.indexOf(QRegExp(QLatin1String("[<>] ")));
        if (direction > 0)
            lines += line.mid(direction);
    }
    QCOMPARE(lines, QStringList() << QLatin1String("> CR 42\\r\\n ; open station 42")
                                  << QLatin1String("< CC 42\\r\\n ; opened")
                                  << QLatin1String("> RDS DM00001.H 1\\r\\n ; read 1 word from DM1")
                                  << QLatin1String("< 0000\\r\\n ; 1 word")
                                  << QLatin1String("> CQ\\r\\n ; close")
                                  << QLatin1String("< CF\\r\\n ; closed"));
}

void TestKvlink::waitsForASilentPeerAndNoLonger()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    QElapsedTimer timer;
    timer.start();
    const Outcome outcome =
        kvlink(words("--timeout 100 --retry 2 read DM1 --tcp") +
               words(qPrintable(QString::fromLatin1("127.0.0.1:%1").arg(silent.serverPort()))));
    QCOMPARE(outcome.status, 4);
    QVERIFY2(timer.elapsed() >= 300, qPrintable(QString::number(timer.elapsed())));
}

void TestKvlink::takesTheStationOfTheProject()
{
    QTemporaryDir folder;
    const QString file = folder.filePath(QLatin1String("project"));
    const QStringList of = words("--project") << file;
    QCOMPARE(kvlink(words("project init") << file).status, 0);
    const Outcome again = kvlink(words("project init") << file);
    QCOMPARE(again.status, 3);
    QVERIFY2(again.err.contains(QLatin1String("exists already")), qPrintable(again.err));

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
    };
    for (const auto &row : rows) {
        const Outcome outcome = kvlink(words("read DM1") + words(row.arguments) + of);
        QVERIFY2(outcome.err.contains(QLatin1String(row.message)), qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
    }
}

QTEST_GUILESS_MAIN(TestKvlink)
#include "tst_kvlink.moc"
