// inspect as a user runs it, on plug-ins of this machine and of another one, and on damaged ones.
#include "runtime/plugin_file.h"
#include "tests/apps/kvlink_runs.h"

namespace
{

const KvlinkRun RUNS[] = {
    {"inspect FOLDER/arm --panel FOLDER/panel.ini", 0,
     "file:              ANY/arm\n"
     "size in bytes:     1692\n"
     "platform:          arm, 32 bits, little endian, hard float\n"
     "needed libraries:  libc.so.6\n"
     "needed versions:   GLIBC_2.4\n"
     "entry points:      qt_plugin_instance, qt_plugin_query_metadata, "
     "qt_plugin_query_verification_data\n"
     "exported symbols:  3\n"
     "verification text: Qt 4.8.6, release, build key \"arm linux g++-4 no-pkg-config\" "
     "(.qtplugin)\n"
     "meta-data:         Qt 5.15, release, class P, interface "
     "com.quorvane.drivers.DriverInterface/1.1 (.qtmetadata)\n"
     "hardening:         bind now, no executable stack, fortify\n"
     "symbols:           stripped\n"
     "this machine:      canANY\n"
     "panel:             can load it\n"
     "not checked:       none\n",
     ""},
    {"inspect FOLDER/own --panel FOLDER/panel.ini", 7,
     "ALLthis machine:      can load it\npanel:ALLthe panel lacks libQt5Core.so.5ALL", ""},
    {"inspect FOLDER/sqlite --format json", 0,
     "[{ALL\"thisMachine\":\"cannot load it: its interface is org.qt-project.ALL}]\n", ""},
    {"inspect FOLDER/arm --panel FOLDER/five.ini", 7,
     "ALLpanel:             cannot load it: it was built with Qt 5.15, which Qt 5.9.1 does not "
     "take; it needs GLIBC_2.4, the panel has 2.3.6\nnot checked:       buildkey, machine, bits, "
     "endian, float, glibcxx, cxxabi, libraries\n",
     ""},
    {"inspect FOLDER/sqlite --panel FOLDER/panel.ini", 7, "ALLno verification text where Qt 4ALL",
     ""},
    {"inspect FOLDER/arm --panel FOLDER/bad.ini", 2, "",
     "/bad.ini: bits \"16\": expected 32 or 64"},
    {"inspect FOLDER/arm --panel FOLDER/odd.ini", 2, "", "/odd.ini: panel/gt is not a key of"},
    {"inspect FOLDER/arm --panel FOLDER/arm", 2, "", "/arm: "},
    {"inspect FOLDER/arm --panel FOLDER/none", 3, "", "cannot read ANY/none: "},
    {"inspect FOLDER/bad.ini", 3, "", "/bad.ini: not an ELF file\n"},
    {"info --driver FOLDER/unresolved", 3, "", "functionOfNoLibrary"},
    {"info", 0,
     "ALLsupported kinds: RS-232C (32), others of the runtime (16, 64)\nALL"
     "8 data bits, even parity, 1 stop bit\nALL",
     ""},
};

// The plug-in for ARM with another text, or with another byte at a place of the header; what is
// said of it, and how it ends, for the example panel.
const struct {
    const char *name;
    const char *text;
    int place;
    const char *instead;
    const char *said;
    int status;
} CHANGES[] = {
    {"older", "version=4.8.6", 0, "version=4.7.9", "panel:             can load it\n", 0},
    {"newer", "version=4.8.6", 0, "version=4.9.0", "Qt 4.9.0, which Qt 4.8.6 does not", 7},
    {"of Qt 5", "version=4.8.6", 0, "version=5.8.6", "Qt 5.8.6, which Qt 4.8.6 does not", 7},
    {"build key", "g++-4", 0, "g++-5", "its build key is \"arm linux g++-5 no", 7},
    {"no section of Qt", ".qtplugin", 0, ".xtplugin", "no-pkg-config\" (the whole file)", 0},
    {"packed relocations", "GLIBC_2.4", 0, "GLIBC_ABI", "it needs GLIBC_ABI, the panel has 2.13",
     7},
    {"of an older Qt 5", "METADATA !", 0, "METADATA  ", "before 5.12, or damaged; not read\n", 0},
    {"newer libc", "GLIBC_2.4", 0, "GLIBC_9.4", "it needs GLIBC_9.4, the panel has 2.13\n", 7},
    {"library", "libc.so.6", 0, "libz.so.9", "the panel lacks libz.so.9\n", 7},
    {"no entry", "_instance", 0, "_instants", "it exports no qt_plugin_instance\n", 7},
    {"no text", "4.8.6\n", 0, "\x1b[2J6\n", "Qt \\x1b[2J6, release", 7},
    {"other machine", nullptr, 0x12, "\x08", "it is for mips, not for arm", 7},
    {"soft float", nullptr, 0x25, "\x02", "it is for soft float, not for hard", 7},
    {"older linker", nullptr, 0x25, "", "platform:          arm, 32 bits, little endian, hard f",
     0},
    {"program", nullptr, 0x10, "\x02", ": not a shared library\n", 3},
    {"no sections", nullptr, 0x30, "", "a shared library without sections", 3},
    {"lost names", nullptr, 0x32, "\x7f", ": a damaged ELF file (", 3},
};

} // namespace

class TestKvlinkInspect : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkInspect() : KvlinkTest("") {}

private slots:
    void initTestCase()
    {
        const QString sqlite =
            QCoreApplication::libraryPaths().first() + "/sqldrivers/libqsqlite.so";
        const QString files[][2] = {{KV_PLUGIN_FILE, "own"},
                                    {KV_UNRESOLVED_PLUGIN, "unresolved"},
                                    {sqlite, "sqlite"},
                                    {KV_SOURCE "/examples/panel.ini", "panel.ini"},
                                    {KV_SOURCE "/fuzz/corpus/plugin/arm", "arm"}};
        for (const auto &file : files)
            QVERIFY2(QFile::link(file[0], m_folder.filePath(file[1])), qPrintable(file[0]));
        QFile arm(m_folder.filePath("arm"));
        QVERIFY(arm.open(QIODevice::ReadOnly));
        m_arm = arm.readAll();
        writeFile("five.ini", "[panel]\nqt=5.9.1\nglibc=2.3.6\n");
        writeFile("bad.ini", "[panel]\nbits=16\n");
        writeFile("odd.ini", "[panel]\ngt=4.8.6\n");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    void judgesOtherFiles_data() { addRows(CHANGES); }

    void judgesOtherFiles()
    {
        const auto &row = currentRow(CHANGES);
        QByteArray content = m_arm;
        if (row.text)
            content.replace(row.text, row.instead);
        else
            content[row.place] = row.instead[0];
        QVERIFY(content != m_arm && content.size() == m_arm.size());
        writeFile("changed", QString::fromLatin1(content.constData(), content.size()));
        const Outcome outcome =
            kvlink(arguments("inspect FOLDER/changed --panel FOLDER/panel.ini"));
        const QString printed = outcome.out + outcome.err;
        QVERIFY2(printed.contains(row.said) && outcome.status == row.status, qPrintable(printed));
    }

    // A file is what it was, another one, or refused with a reason; its texts stay short.
    void readsDamagedFiles()
    {
        for (int i = 0; i < m_arm.size(); ++i) {
            QByteArray other = m_arm, reversed = m_arm;
            other[i] = char(other.at(i) + 1);
            reversed[i] = char(~reversed.at(i));
            for (const QByteArray &content : {m_arm.left(i), other, reversed}) {
                PluginFile plugin;
                const Failure failure = parsePluginFile(content, &plugin);
                QVERIFY2(!failure || !failure.text().isEmpty(), QByteArray::number(i));
                QVERIFY2(content.size() == m_arm.size() || failure, QByteArray::number(i));
            }
        }
    }

private:
    QByteArray m_arm;
};

QTEST_GUILESS_MAIN(TestKvlinkInspect)
#include "tst_kvlink_inspect.moc"
