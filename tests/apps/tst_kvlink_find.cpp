// kvlink before the first value: the search for a PLC, the ports, traces and captures.
#include "runtime/port_inspector.h"
#include "runtime/port_latency.h"
#include "tests/apps/kvlink_runs.h"

namespace
{

#define SEARCHING "kvlink: searching 25 settings for station 0; at most 11 s\n"

const KvlinkRun RUNS[] = {
    // The search. The simulated PLC's own settings are not those that are tried first, and what
    // came at other speeds is in front of the first line that it understands.
    {"--serial 38400,8e1 > SERIAL scan", 0,
     "options ANY\n--port ANY,38400,8e1 --station 7 ANY NUM\n",
     "^" SEARCHING "kvlink: a PLC answers under 38400,8e1; searching 100 stations; at most 23 s\n"},
    {"--serial 9600,8o1 --reply-delay 450 > SERIAL,9600 scan --station 7 --format json", 0,
     "[{\"openMs\":NUM,\"options\":\"--port ANY,9600,8o1 --station 7\",\"station\":7}]\n",
     "no reply in time; with longer waits, searching 1 setting"},
    {"--serial 9600 > SERIAL,38400,8e1 --timeout 50 scan --stations 7,0-1", 4, "",
     "^kvlink: searching 1 setting for 3 stations; at most 1 s\nkvlink: no PLC found: nothing came "
     "under 1 setting; check cable, power, the PLC's port and its mode, and try a longer "
     "--timeout\n"},
    {"--serial 9600 --fault error-reply:1,1 > SERIAL,9600 scan --station 7", 1, "",
     "8e1, but opens none of the stations that were tried (error reply \"E1\"); check"},
    {"--serial 9600 --fault noise-before > SERIAL,9600,8n1 --timeout 50 --trace scan --stations 7-8",
     4, "",
     "kvlink: 9600,8n1: \"ANY\" is no reply\nkvlink: no PLC found: bytes came under 1 of 1 "
     "setting, and none"},
    {"WIRE scan --all --stations 6-8,7", 0, "options ANY\n--tcp ANY --station 7 ANY NUM\n",
     "1 setting for 3 stations"},
    {"--serial 9600 --fault echo > SERIAL scan", 4, "",
     "9600,8e1: \"CQ\\r\\nANY\" is no reply: what is sent comes back; switch the echo off\n"},
    {"--sim scan", 2, "", "name --port or --tcp, not --sim"},
    {"WIRE scan --stations 7-6", 2, "", "7-6 is not a list of stations from 0 to 99, such as"},
    {"WIRE scan --stations 7 --station 7", 2, "", "--station excludes --stations"},
    {"decode FOLDER/trace", 0,
     "0.000000 +0.000000 > CR 07\\r\\n ; open station 07\n"
     "0.001000 +0.001000 < CC 07\\r\\n ; opened\n"
     "0.002000 +0.001000 > RDS DM00100.H 2\\r\\n ; read 2 words from DM100\n"
     "0.004000 +0.002000 < 12 ; no line end, does not fit its line\n"
     "0.005000 +0.001000 > CQ\\r\\n ; close\n",
     "^kvlink: 3 lines to the PLC: 1 close, 1 open, 1 read\nkvlink: 2 replies: 1 no line end, 1 "
     "opened\nkvlink: 1 missing reply, the first to line 6\nkvlink: 1 reply that fits no line\n"
     "kvlink: reply times: min 1.00, median 1.00, p99 2.00, max 2.00 ms\n"},
    {"decode FOLDER/%2", 6,
     "0.000000 +0.000000 > CR 00\\r\\n ; open station 00\n"
     "0.006000 +0.006000 < CC 00\\r\\n ; opened\n"
     "> RDS R5 2\\r\\n ; read 2 bits from R5\n< 1 0\\r\\n ; 2 bits\n> CQ\\r\\n ; close\n"
     "0.050000 +0.044000 < CF\\r\\n ; closed\n",
     "^kvlink: ANY/%2:7: expected time, direction and a line, as text or hexadecimal "
     "bytes\nkvlink: 3 lines to the PLC: 1 close, 1 open, 1 read\nkvlink: 3 replies: 1 closed, 1 "
     "opened, 1 with values\nkvlink: reply times: min 6.00, median 6.00, p99 6.00, max 6.00 ms\n"},
    {"decode FOLDER/none", 3, "", "cannot read ANY/none: No such file"},
    {"decode /dev/null", 2, "", "holds no line of the wire"},
    {"--port FOLDER/none scan", 3, "", "cannot search ANY/none: No such file"},
};

} // namespace

class TestKvlinkFind : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkFind() : KvlinkTest("") {}

private slots:
    void initTestCase()
    {
        const QString stamp("2026-11-22T21:09:01.123 0.00%1 +0.001000 ");
        writeFile("trace", stamp.arg("1250") + "#1 > CR 07\\r\\n ; open station 07\n" +
                               stamp.arg("2250") + "#1 < CC 07\\r\\n ; opened\nkvlink: a remark\n" +
                               stamp.arg("3250") + "> RDS DM00100.H 2\\r\\n ; read\n" +
                               stamp.arg("5250") + "< 12 ; no line end\n" + stamp.arg("6250") +
                               "> CQ\\r\\n ; close\n");
        writeFile("%2", "[23:59:59.998] +5.000000 TX: 43 52 20 30 30 0d 0a\n"
                        "00:00:00.003 RX: 43 43 20 30\n00:00:00.004 RX: 30 0d 0a\n"
                        "RDS R5 2\n1 0<CR><LF>\n43510D0A\noops \\q\n"
                        "< 2026/11/23 00:00:00.048000  length=4 from=0 to=3\n 43 46 0d 0a\n");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    // In a folder that has what a system with one USB adapter has.
    void saysWhatTheSystemKnowsOfAPort()
    {
        const QDir root(m_folder.path());
        for (const char *folder :
             {"dev/serial/by-id", "proc/12/fd", "sys/class/tty/ttyUSB0/device"})
            QVERIFY(root.mkpath(folder));
        writeFile("dev/ttyUSB0", QString());
        writeFile("proc/12/comm", "panel\n");
        writeFile("sys/class/tty/ttyUSB0/device/latency_timer", "16\n");
        const QString device = QFileInfo(root.filePath("dev/ttyUSB0")).canonicalFilePath();
        QVERIFY(QFile::link(device, root.filePath("dev/serial/by-id/usb-acme")));
        QVERIFY(QFile::link(device, root.filePath("proc/12/fd/3")));
        const PortInspector inspector(root.path() + '/');
        QCOMPARE(inspector.lastingName(device), root.filePath("dev/serial/by-id/usb-acme"));
        QCOMPARE(inspector.users(device), QStringList("panel (12)"));
        // A file has no flag of a port, so the driver's file is what is left.
        const QString rootPath = root.path() + '/';
        QFile port(device);
        QVERIFY(port.open(QIODevice::ReadWrite));
        {
            const PortLatency latency(port.handle(), device, rootPath);
            QCOMPARE(latency.text(), QString("1 ms while the port is open, else 16 ms, by the "
                                             "driver's file"));
            QCOMPARE(latency.hint(), QString());
            QCOMPARE(adapterLatencyMs(device, rootPath), 1);
            QCOMPARE(PortLatency(port.handle(), device, rootPath).text(),
                     QString("low, as it was set before"));
        }
        QCOMPARE(adapterLatencyMs(device, rootPath), 16);
        QCOMPARE(adapterLatencyMs("/dev/null"), -1);
    }

    void endsASearchAtASignal()
    {
        Simulator simulator(words("--serial 1200"));
        QProcess scan;
        scan.setReadChannel(QProcess::StandardError);
        scan.start(KVLINK_PROGRAM, words("--port") << simulator.place << "scan");
        QVERIFY(nextLine(&scan).contains("searching"));
        interrupt(scan);
        const Outcome outcome = ended(&scan);
        QCOMPARE(outcome.err, QString("kvlink: interrupted before a PLC was found\n"));
        QCOMPARE(outcome.status, 4);
    }
};

QTEST_GUILESS_MAIN(TestKvlinkFind)
#include "tst_kvlink_find.moc"
