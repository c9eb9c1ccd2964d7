// kvlink before the first value: the search for a PLC, the ports, traces and captures.
#include "tests/apps/kvlink_runs.h"

namespace
{

#define SEARCHING "kvlink: searching 25 settings for station 0; at most 11 s\n"

const KvlinkRun RUNS[] = {
    // The search. The simulated PLC's own settings are not those that are tried first, and what
    // came at other speeds is in front of the first line that it understands.
    {"--serial 38400,8e1 > SERIAL scan", 0,
     "options ANY\n--port ANY,38400,8e1 --station 7 ANY NUM\n", "^" SEARCHING},
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
    {"--sim scan", 2, "", "name --port or --tcp, not --sim"},
    {"WIRE scan --stations 7-6", 2, "", "7-6 is not a list of stations from 0 to 99, such as"},
    {"WIRE scan --stations 7 --station 7", 2, "", "--station excludes --stations"},
    {"--port FOLDER/none scan", 3, "", "cannot search ANY/none: No such file"},
};

} // namespace

class TestKvlinkFind : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkFind() : KvlinkTest("") {}

private slots:
    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

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
