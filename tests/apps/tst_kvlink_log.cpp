// kvlink as a logger: its files, what it leaves out, and what it says meanwhile.
#include "tests/apps/kvlink_runs.h"

namespace
{

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
};

QTEST_GUILESS_MAIN(TestKvlinkLog)
#include "tst_kvlink_log.moc"
