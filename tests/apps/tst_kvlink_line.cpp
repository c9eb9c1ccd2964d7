// kvlink's command line as a user types it: items from a file, links by name, defaults, mistakes.
#include "tests/apps/kvlink_runs.h"

namespace
{

const KvlinkRun RUNS[] = {
    // A PLC that does not answer is asked once.
    {"--fault silence:once+2,1 > PLC read DM1 T1 DM2 --no-merge", 4, "",
     "^kvlink: DM1, T1, DM2: no reply to \"RDS DM00001.H 1\" on ANY\n"},
    {"--fault no-reply:once+2 --set T1=5 > PLC read DM1 T1 --ask-all", 6, "T1 5\n",
     "^kvlink: DM1: no reply to \"RDS DM00001.H 1\" on ANY\n"},
    // Mistakes name what is meant.
    {"raed DM0 --sim", 2, "", "kvlink: raed is not a command; did you mean read?\n"},
    {"project inti x", 2, "", "kvlink: inti is not a command; did you mean init?\n"},
    {"--tmeout=5 read DM0", 2, "", "kvlink: --tmeout is not an option; did you mean --timeout?\n"},
    {"monitor DM0 --changes", 2, "", "did you mean --changes-only?\n"},
    {"read DM0 --verify", 2, "", "kvlink: --verify is not an option\n"},
    {"PLC read DM100 --count 2", 2, "", "--count 2: ANY -n\n"},
    // A pseudo-terminal has no speed.
    {"--pty > PLC bench --requests 2", 0, "ANY\nANY\np99: NUM ms\n", "2 requests, 2 replies"},
    // Items from a file, behind those of the command line; negative values; decimal commas.
    {"PLC read DM101:hex --items FOLDER/items", 0, "DM101:hex 0x00FF\nDM100 4660\nDM101:s16 255\n",
     ""},
    {"PLC write --items FOLDER/wrong", 2, "", "^kvlink: ANY/wrong:2: value \"x\" of DM5: ANY\n"},
    {"PLC monitor --items FOLDER/none", 2, "", "cannot read the items ANY/none: "},
    {"PLC read", 2, "", "give ITEM or --items FILE\n"},
    {"write DM0 --dry-run -- 1 -5", 0, "CR 00\nWRS DM00000.H 2 0001 FFFB\nCQ\n", ""},
    {"write DM0 -k f32 --dry-run -- -inf", 0, "CR 00\nWRS DM00000.H 2 0000 FF80\nCQ\n", ""},
    {"--sim write DM0:f32=-1,5", 0, "", "^kvlink: DM0:f32=-1,5 writes ANY DM0:f32[2]=-1,5 ANY\n"},
    {"--sim write DM0:f32[2]=1,5 DM4:f32=1.5,2 DM8=1,5", 0, "", "^"},
};

} // namespace

class TestKvlinkLine : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkLine() : KvlinkTest("--set DM100=4660 --set DM101=255") {}

private slots:
    void initTestCase()
    {
        writeFile("items", QString::fromLatin1("\xef\xbb\xbf# the oven\r\n\r\nDM100 # its speed\r\n"
                                               "  DM101:s16"));
        writeFile("wrong", "DM4=1\nDM5=x\n");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    void aBenchThatIsInterruptedIsNoFailure()
    {
        Simulator slow(words("--station 7 --reply-delay 10"));
        QProcess bench;
        bench.setReadChannel(QProcess::StandardError);
        bench.start(KVLINK_PROGRAM,
                    arguments("PLC --trace bench --requests 9999 --baud 9600", &slow));
        for (int lines = 0; lines < 9; ++lines)
            nextLine(&bench);
        interrupt(bench);
        const Outcome outcome = ended(&bench);
        QVERIFY(fits(outcome.out, "requests per second: ALL at 9600 baud\n"));
        QCOMPARE(outcome.status, 0);
    }

    void failsWhereItsHelpCannotBeWritten()
    {
        for (const char *program : {KVLINK_PROGRAM, KVSIM_PROGRAM}) {
            QProcess process;
            process.setStandardOutputFile("/dev/full");
            process.start(program, {"--help"});
            const Outcome outcome = ended(&process);
            QCOMPARE(outcome.status, 3);
            QVERIFY(outcome.err.contains("cannot write to the standard output"));
        }
    }
};

QTEST_GUILESS_MAIN(TestKvlinkLine)
#include "tst_kvlink_line.moc"
