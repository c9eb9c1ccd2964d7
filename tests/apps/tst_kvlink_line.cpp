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
    {"--tags=x read DM0", 2, "", "--tags stands before its command; expected kvlink read --tags\n"},
    {"monitor DM0 --changes", 2, "", "did you mean --changes-only?\n"},
    {"info --format json", 2, "", "is not an option\nRun kvlink info --help for its usage.\n"},
    {"scan", 2, "", "kvlink: One of --port, --tcp and --link is required\n"},
    {"read oven.temperature --sim", 2, "",
     "is not ADDRESS[:TYPE][[COUNT]] with an address such as DM100; for a name give --tags FILE\n"},
    {"ping --timeout 11min --sim", 2, "", "to 10min, such as 500ms, 1s, 5min\n"},
    {"read DM0 --verify", 2, "", "kvlink: --verify is not an option\n"},
    {"PLC read DM100 --count 2", 2, "", "--count 2: ANY -n\n"},
    // A pseudo-terminal has no speed.
    {"--pty > PLC bench --requests 2", 0, "ANY\nANY\np99: NUM ms\n", "2 requests, 2 replies"},
    // Items from a file, behind those of the command line; negative values; decimal commas.
    {"PLC read DM101:hex --items FOLDER/items", 0, "DM101:hex 0x00FF\nDM100 4660\nDM101:s16 255\n",
     ""},
    {"PLC write --items FOLDER/wrong", 2, "", "^kvlink: ANY/wrong:2: value \"x\" of DM5: ANY\n"},
    {"--sim read --items FOLDER/endless", 2, "", "/endless:65537: more than 65536 items: "},
    {"PLC monitor --items FOLDER/none", 3, "", "cannot read the items ANY/none: "},
    {"PLC read", 2, "", "give ITEM or --items FILE\n"},
    {"write DM0 --dry-run -- 1 -5", 0, "CR 00\nWRS DM00000.H 2 0001 FFFB\nCQ\n", ""},
    {"write DM0 -k f32 --dry-run -- -inf", 0, "CR 00\nWRS DM00000.H 2 0000 FF80\nCQ\n", ""},
    {"--sim write DM0:f32=-1,5", 0, "", "^kvlink: DM0:f32=-1,5 writes ANY DM0:f32[2]=-1,5 ANY\n"},
    {"--sim write DM0:f32[2]=1,5 DM4:f32=1.5,2 DM8=1,5", 0, "", "^"},
    // Links by name.
    {"read DM100 --links FOLDER/links --link press", 0, "4660\n", ""},
    {"read DM100 --links FOLDER/links --link press --station 8 --timeout 50", 4, "",
     "within 50 ms (1 attempt"},
    {"read speed --links FOLDER/tagged --link press", 0, "4660\n", ""},
    {"info --links FOLDER/tagged --link press", 0, "ALL\ntags: ANY/named ([press])\n", ""},
    {"info --links FOLDER/links --link press --station 8", 0,
     "ALLlink: [press] of ANY/links (command line)\ntcp: ANY ([press])\n"
     "station: 8 (command line)\ntimeout: 1000 ms ([press])\nretry: 0 ([press])\n"
     "delay: 0 ms (default)\n",
     ""},
    {"info --links FOLDER/links --link pres", 2, "",
     "kvlink: pres is not a link of ANY/links; did you mean press? (known: press, oven, both)\n"},
    {"info --links FOLDER/links --link oven", 2, "",
     "/links: [oven] station: 100 is not a number from 0 to 99\n"},
    {"info --links FOLDER/links --link both", 2, "", "[both]: expected either port or tcp\n"},
    {"info --links FOLDER/unknown --link press", 2, "",
     "/unknown: [oven] statoin is not a key; did you mean station? (known: port, "},
    {"info --links FOLDER/default --link default", 2, "",
     "port stands in no section; expected ANY, other"},
    {"info --links FOLDER/none --link press", 3, "",
     "cannot read the links ANY/none: No such file or directory\n"},
    {"info --links FOLDER/links", 2, "", "no link is named; give --link NAME\n"},
    {"info --link press --sim", 2, "", "excludes"},
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
        const QString press = QString::fromLatin1("\xef\xbb\xbf[press]\ntcp = ") +
                              arguments("WIRE").last() +
                              " # its terminal server\nstation=7\ntimeout=1s\nretry=0\n";
        writeFile("links", press + "[oven]\nstation=100\nport=/dev/ttyS0,9600,8e1\n"
                                   "[both]\ntcp=[::1]:8501\nport=ttyS0\n");
        writeFile("tagged", press + "tags = named\n");
        writeFile("named", "name,address\nspeed,DM100\n");
        writeFile("default", "[default]\nport=ttyS0\n");
        writeFile("endless", QString("DM4\n").repeated(65537));
        writeFile("unknown", press + "[oven]\nstatoin=1\n");
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

    void takesALinkFromTheEnvironmentUnlessOneIsGiven()
    {
        QVERIFY(QDir(m_folder.path()).mkpath("kvlink"));
        QVERIFY(QFile::copy(m_folder.filePath("links"), m_folder.filePath("kvlink/links.ini")));
        qputenv("XDG_CONFIG_HOME", m_folder.path().toLocal8Bit());
        qputenv("KVLINK_LINK", "press");
        const Outcome named = kvlink(words("read DM100"));
        const Outcome given = kvlink(words("read DM100 --sim"));
        const Outcome info = kvlink(words("info"));
        qputenv("KVLINK_LINK", "tress");
        const Outcome unknown = kvlink(words("info"));
        qunsetenv("KVLINK_LINK");
        QCOMPARE(named.out + given.out, QString("4660\n0\n"));
        QVERIFY2(info.out.contains("kvlink/links.ini (KVLINK_LINK)\n"), qPrintable(info.out));
        QVERIFY2(unknown.err.contains("KVLINK_LINK: tress is not"), qPrintable(unknown.err));
    }

    void keepsTheBytesOfNames()
    {
        const Simulator plc(words("--pty --set DM0=5"));
        const char script[] =
            "n=$(printf \"$1/\\344\"); ln -sf \"$2\" \"$n\"; echo DM0 >\"$n.items\";"
            "\"$3\" --port \"$n,9600,8n1\" --trace=\"$n.trace\" read --items \"$n.items\""
            " && [ -s \"$n.trace\" ] && \"$3\" project init \"$n.db\" && "
            "\"$3\" --project-port COM2 --project \"$n.db\" info; rm \"$n\"*";
        for (const char *locale : {"C", "C.UTF-8"}) {
            QProcess shell;
            shell.start("env", {QString("LC_ALL=") + locale, "sh", "-c", script, "sh",
                                m_folder.path(), plc.place, KVLINK_PROGRAM});
            const Outcome outcome = ended(&shell);
            QVERIFY2(fits(outcome.out, "5\nALLstation: 1 (project)\nALL"), qPrintable(outcome.err));
            QVERIFY2(outcome.err.contains("\\xe4.db"), qPrintable(outcome.err));
        }
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
