// kvlink's dump, restore and diff, against kvsim.
#include "tests/apps/kvlink_runs.h"

#include <sys/resource.h>

namespace
{

#define HEAD "device,value\n"

const KvlinkRun RUNS[] = {
    {"PLC dump dm99-101 W1e-20 T3-T4 R1200-1215 CTC0 AT1", 0,
     HEAD "DM99,0\nDM100,4660\nDM101,255\nW1E,0\nW1F,31\nW20,0\nT3,\"1,77,100\"\nT4,\"0,0,0\"\n"
          "R1200.H,32769\nCTC0,\"0,0,5\"\nAT1,9\n",
     "^"},
    {"PLC dump R1214-R1301 BE-B10 VB1F", 0,
     HEAD "R1214,0\nR1215,1\nR1300,0\nR1301,1\nBE,0\nBF,1\nB10,0\nVB1F,1\n", ""},
    {"PLC dump R1114-R1301 B0-B1F", 0,
     HEAD "R1114,0\nR1115,0\nR1200.H,32769\nR1300,0\nR1301,1\nB0.H,32768\nB10.H,0\n", ""},
    {"PLC --trace dump DM1-613", 0, HEAD "ALL\nDM613,0\n",
     "RDS DM00001.H 305\\r\\nALLRDS DM00306.H 306\\r\\nALLRDS DM00612.H 2\\r\\n"},
    {"PLC --trace dump TC0-139", 0, HEAD "ALL\nTC139,0\n", "RDS TC0 139\\r\\nALLRDS TC139 1\\r\\n"},
    // The 32 that are refused in a row lie in the blocks from DM65535 on.
    {"PLC --trace dump DM65533-67999 DM0", 6, HEAD "DM65533,8\nDM65534,0\nDM0,0\n",
     "RDS DM67999.H 1\\r\\nALL\nkvlink: DM65535-DM67999: error reply \"E0\""},
    {"PLC dump DM70000-70001", 1, "", "^kvlink: DM70000-DM70001: error reply \"E0\" ANY\n"},
    {"PLC dump DM1-EM2", 2, "", "\"DM1-EM2\": expected addresses of one device"},
    {"PLC dump DM2-1", 2, "", "\"DM2-1\": expected"},
    {"PLC dump R1216", 2, "", "\"R1216\": expected"},
    {"PLC dump PCTC1", 2, "", "\"PCTC1\": expected"},
    {"PLC dump X1", 2, "", "\"X1\": expected"},
    {"PLC dump R0-99 DM1 R0-20", 2, "", "\"R0-99\": expected"},
    {"PLC dump R0-215 DM1 R115-300", 2, "", "R0-R215 and R115-R300 overlap"},
    {"PLC dump DM1 -o /dev/full", 3, "", "cannot write /dev/full: it is not a plain file"},
    {"restore FOLDER/odd --dry-run", 0,
     "CR 00\nWRS DM00001.H 305 ANY\nCQ\nCR 00\nWRS DM00306.H 306 ANY\nCQ\n"
     "CR 00\nWRS DM00612.H 2 0264 0265\nCQ\n",
     ""},
    {"restore FOLDER/kinds --dry-run --station 5", 0,
     "CR 05\nWRS DM00001.H 1 0005\nCQ\nCR 05\nWRS R5 1 1\nCQ\nCR 05\nWRS R01200.H 1 C000\nCQ\n"
     "CR 05\nWRS TC3 1 0000000002\nCQ\nCR 05\nWRS TS3 1 4294967295\nCQ\n"
     "CR 05\nWRS CTC1 1 0000000006\nCQ\n",
     "^kvlink: not restored: contacts of T3, contacts and current values of CTC1: ANY\n"},
    {"PLC restore FOLDER/bad", 2, "",
     "/bad: line 3, column 5: \"65536\" for \"DM2\": expected 0 to"},
    {"PLC restore FOLDER/none", 3, "", "cannot read "},
    {"PLC restore FOLDER/moving --verify", 7, "", "DM900: DM900 differs: wrote 9, read back "},
    {"--read-only DM10-DM19 > PLC restore FOLDER/odd", 6, "",
     "^kvlink: DM10-DM19: error reply \"E4\" ANY\n"},
    {"--fault no-reply:once+5 --tcp 0 > PLC restore FOLDER/odd", 4, "",
     "stopped at DM306: no reply ALL\nkvlink: 305 of 613 addresses written; restore the file"},
    {"PLC diff FOLDER/kinds", 7,
     "address  left            right\nCTC1     0,5,6           0,0,0\nDM1      5               0\n"
     "R5       1               0\nR1200    0               1\nR1214    1               0\n"
     "T3       1,2,4294967295  1,77,100\n",
     "^"},
    {"diff FOLDER/odd FOLDER/zeros --format json", 7,
     "[{\"address\":\"DM613\",\"left\":613,"
     "\"right\":null}]\n",
     ""},
    {"diff FOLDER/kinds FOLDER/same --format csv", 0, "address,left,right\n", ""},
    {"PLC diff FOLDER/beyond --format csv", 6, "address,left,right\nDM70000,0,\n", "DM70000: "},
    {"PLC dump DM90-110 R1200-R1315 T0-9 -o FOLDER/own ; PLC diff FOLDER/own", 0, "", "^"},
};

// How a dump ends early.
const struct {
    const char *name;
    const char *wire; // options of kvsim
    int status;
    const char *err;
} ENDS[] = {
    {"killed", "--baud 57600", -1, ""},
    {"interrupted", "--baud 57600", 4, "stopped at DM"},
    {"outage", "--fault no-reply:once+8", 4, "dumped.part keeps 612 of 2000 addresses"},
    {"full disk", "--baud 57600", 3, "cannot write "},
};

} // namespace

class TestKvlinkKeep : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkKeep()
        : KvlinkTest("--live DM900=ramp:1,2,1000 --set DM100=4660 --set DM101=255 --set W1F=31 "
                     "--set T3=77 --set TS3=100 --set R1200.H=32769 --set R1301=1 --set BF=1 "
                     "--set VB1F=1 --set CTC0=5 --set AT1=9 --set DM65533=8")
    {}

private slots:
    void initTestCase()
    {
        QString odd = HEAD;
        for (int i = 1; i <= 613; ++i)
            odd += QString("DM%1,%1\n").arg(i);
        writeFile("odd", odd);
        writeFile("zeros", odd.replace("DM613,613\n", "DM0,0\n"));
        const QString kinds = HEAD "DM1,5\nR5,1\nR1200.H,49152\nT3,\"1,2,4294967295\"\n%1";
        writeFile("kinds", kinds.arg("CTC1,\"0,5,6\"\n"));
        writeFile("same", HEAD "CTC1,\"0,5,6\"\nR5,0\nR1214,1\nR1215,1\nT3,\"1,2,4294967295\"\n"
                               "DM1,5\r\nR5,1\r\nDM7,0");
        writeFile("bad", HEAD "DM1,1\nDM2,65536\n");
        writeFile("moving", HEAD "DM900,9\n");
        writeFile("beyond", HEAD "DM70000,0\nDM100,4660\n");
        QCOMPARE(kvlink(arguments("PLC write T3:bit=1")).status, 0);
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    void bringsMemoryIntoAnotherPlc()
    {
        QString image = HEAD "MR515,1\nB7F,1\nVB100,1\n";
        for (int i = 0; i < 400; i += 3)
            image += QString("DM%1,%2\nEM%1,65535\n").arg(i).arg(i + 1);
        for (int i = 0; i < 150; ++i)
            image += QString("C%1,\"0,%2,%1\"\n").arg(i).arg(4294967295u - unsigned(i));
        writeFile("image", image + "CTC2,\"0,0,8\"\nAT7,4\nZ12,3\n");
        Simulator from(arguments("--tcp 0 --load FOLDER/image --save FOLDER/from"));
        Simulator to(arguments("--tcp 0 --set DM1=1 --set R3=1 --save FOLDER/to"));
        const Outcome dumped = kvlink(from.wire + arguments("dump DM0-399 EM0-500 MR0-MR2015 "
                                                            "R0-R115 B0-B7FF VB100 C0-149 CTC0-7 "
                                                            "AT0-7 Z0-12 -o FOLDER/dump"));
        QVERIFY2(dumped.status == 0 && dumped.err.isEmpty(), qPrintable(dumped.err));
        const Outcome restored = kvlink(to.wire + arguments("restore FOLDER/dump --verify"));
        QVERIFY2(restored.status == 0, qPrintable(restored.err));
        QVERIFY(from.stop().status == 0 && to.stop().status == 0);
        QVERIFY(content("from").size() > 2000);
        QCOMPARE(content("to"), content("from"));
    }

    void goesOnAfterAnEarlyEnd_data() { addRows(ENDS); }

    void goesOnAfterAnEarlyEnd()
    {
        const auto &row = currentRow(ENDS);
        const QString name = row.name;
        Simulator slow(
            arguments(QString("--tcp 0 --load FOLDER/odd ") + row.wire).replaceInStrings("+", " "));
        Simulator fast(arguments("--tcp 0 --load FOLDER/odd"));
        const QStringList dump =
            arguments("--retry 0 --trace=FOLDER/trace dump DM0-1999 -o FOLDER/dumped");
        QProcess process;
        std::signal(SIGXFSZ, SIG_IGN); // the program inherits it
        process.start(KVLINK_PROGRAM, slow.wire + dump);
        std::signal(SIGXFSZ, SIG_DFL);
        QTRY_VERIFY_WITH_TIMEOUT(content("dumped.part").size() > 3000, PATIENCE_MS);
        const rlimit limit = {4000, 4000};
        if (name == "killed")
            process.kill();
        else if (name == "interrupted") {
            QVERIFY(kvlink(fast.wire + dump).err.contains("dumped.part: another dump writes it"));
            interrupt(process);
        } else if (name == "full disk")
            QCOMPARE(::prlimit(pid_t(process.processId()), RLIMIT_FSIZE, &limit, nullptr), 0);
        const Outcome outcome = ended(&process);
        QVERIFY2(outcome.status == row.status && outcome.err.contains(row.err),
                 qPrintable(outcome.err));
        QVERIFY(row.status < 0 || outcome.err.contains("dumped.part keeps "));
        QVERIFY(!QFile::exists(m_folder.filePath("dumped")));
        writeFile("dumped.part", content("dumped.part") + "DM1"); // a line that is cut off
        const Outcome other =
            kvlink(fast.wire + arguments("dump DM0-1998 --resume -o FOLDER/dumped"));
        QVERIFY2(other.status == 2 && other.err.contains("same ranges"), qPrintable(other.err));
        const Outcome resumed = kvlink(fast.wire + dump + QStringList("--resume"));
        QVERIFY2(resumed.status == 0 && !content("trace").contains("RDS DM00000"),
                 qPrintable(resumed.err));
        QVERIFY(!QFile::exists(m_folder.filePath("dumped.part")));
        QCOMPARE(content("dumped"), kvlink(fast.wire + arguments("dump DM0-1999")).out);
        QVERIFY(QFile::remove(m_folder.filePath("dumped")));
    }

private:
    QString content(const char *name) const
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
    }
};

QTEST_GUILESS_MAIN(TestKvlinkKeep)
#include "tst_kvlink_keep.moc"
