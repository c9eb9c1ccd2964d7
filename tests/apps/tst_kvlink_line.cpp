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
};

} // namespace

class TestKvlinkLine : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkLine() : KvlinkTest("--set DM100=4660 --set DM101=255") {}

private slots:
    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }
};

QTEST_GUILESS_MAIN(TestKvlinkLine)
#include "tst_kvlink_line.moc"
