// kvlink with items of several links.
#include "tests/apps/kvlink_runs.h"

#include <QtCore/QDateTime>

#include <vector>

namespace
{

const KvlinkRun RUNS[] = {
    {"read press:DM100 press:level --links FOLDER/links --tags FOLDER/plant", 0,
     "press:DM100 4660\npress:level 46.6 mm\n", ""},
    {"write press:DM7 7 --links FOLDER/links ; read press:DM7 DM100 --links FOLDER/links --link press",
     0, "press:DM7 7\nDM100 4660\n", ""},
    {"read press:DM0 hall:DM1:s16[2] --links FOLDER/links", 2, "",
     "press:DM0 and hall:DM1:s16[2] are on two links: "},
    {"read pres:DM0 --links FOLDER/links", 2, "", "pres is not a link of ANY; did you mean press?"},
    {"monitor press:DM0 DM1 --links FOLDER/links", 2, "", "DM1 has no link: give --port, "},
    {"monitor usb:DM0 twin:DM1 --links FOLDER/links", 2, "", "usb and twin share /dev/nosuch, "},
    {"monitor press:DM100 bridge:DM0 --links FOLDER/links --count 1 --format value", 0, "ALL\n",
     "bridge: 1 request, "},
    {"write oven=77 --tags FOLDER/plant --links FOLDER/links --sim", 2, "",
     "oven is on the link press, and no link is reached with --sim: leave --sim out, "},
    {"write press:DM0=78 DM1=1 --links FOLDER/links --sim --dry-run", 2, "", "reached with --sim"},
    {"write press:DM0=79 --links FOLDER/links --port /dev/nosuch", 2, "",
     "DM0 is on the link press, and no item uses --port: leave --port out, "},
    {"monitor press:DM0 lost:DM0 --links FOLDER/links --link hall", 2, "", "no item uses --link"},
    {"tags check FOLDER/plant --links FOLDER/links --sim", 2, "",
     "oven is on the link press, and no link is reached with --sim"},
    {"read hall:oven --links FOLDER/links --tags FOLDER/plant", 2, "",
     "\"oven\" is on link \"press\" in the tag file, not on \"hall\""},
    {"tags check FOLDER/plant --links FOLDER/links --link hall", 0,
     "NAME ANY\noven ANY 4660 ANY\nlevel ANY 0 ANY\n", ""},
    {"tags check FOLDER/linked --links FOLDER/links", 0, "NAME ANY\noven ANY 4660 ANY\n", ""},
    {"tags check FOLDER/linked", 0, "", "1 tag, no errors; not read: press is not a link of "},
    {"tags check FOLDER/plant --links FOLDER/links", 2, "", "level has no link: give --port, "},
    {"read press:DM0 --links FOLDER/none", 3, "", "cannot read the links ANY/none: "},
    {"read press:DM0 --links FOLDER", 3, "", "cannot read the links "},
    {"read DM100:f33 --links FOLDER/links", 2, "", "type \"f33\": expected bit, "},
    {"monitor oven --tags FOLDER/plant --links FOLDER/links --count 1 --format csv", 0,
     "time,address,type,index,value,status,error,name,unit,link\n"
     "TIME,DM100,u16,0,4660,ok,,oven,,press\n",
     "^kvlink: 1 request, ALL"},
    {"monitor oven DM0 --tags FOLDER/plant --links FOLDER/links PLC --count 1 --format csv-wide", 0,
     "time,link,press:oven,DM0,status,error\nTIME,ALL,ok,\nTIME,ALL,ok,\n",
     "kvlink: press: 1 request, "},
    {"read press:DM100 --links FOLDER/links --format influx", 0,
     "kvlink,item=DM100,address=DM100,link=press value=4660,status=\"ok\" ANY\n", ""},
    {"read press:level --links FOLDER/links --tags FOLDER/plant --format prometheus", 0,
     "ALL\nkvlink_value{item=\"level\",address=\"DM100\",link=\"press\",unit=\"mm\"} 46.6\n", ""},
    {"read lost:DM0 --links FOLDER/links --format prometheus", 3,
     "ANY\nANY\nkvlink_up{item=\"DM0\",address=\"DM0\",link=\"lost\"} 0\nANY\nANY\n",
     "cannot connect"},
    {"monitor lost:DM0 --links FOLDER/links --format prometheus", 3,
     "ANY\nANY\nkvlink_up{item=\"DM0\",address=\"DM0\",link=\"lost\"} 0\nANY\nANY\n",
     "cannot connect"},
};

// The text behind the last comma of each line: its link.
QStringList linksOf(const QStringList &rows)
{
    QStringList links;
    for (const QString &row : rows)
        links += row.section(',', -1);
    return links;
}

} // namespace

class TestKvlinkLinks : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkLinks()
        : KvlinkTest("--set DM100=4660"), m_press(words("--tcp 0 --station 7 --set DM100=4660")),
          m_hall(words("--tcp 0")), m_silent(words("--tcp 0 --station 9"))
    {}

private slots:
    void initTestCase()
    {
        writeFile("links",
                  QString("[press]\ntcp = %1\nstation = 7\n[hall]\ntcp = %2\n"
                          "[bridge]\ntcp = %1\nstation = 7\n"
                          "[usb]\nport = /dev/nosuch\n"
                          "[twin]\nport = nosuch,19200\n[silent]\ntcp = %3\ntimeout = 200\n"
                          "[lost]\ntcp = 127.0.0.1:1\n")
                      .arg(m_press.place, m_hall.place, m_silent.place));
        writeFile("linked", "name,address,link\noven,DM100,press\n");
        writeFile("plant",
                  "name,address,scale,unit,link\noven,DM100,,,press\nlevel,DM100,0.01,mm,\n");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    void logsTheChangesOfAllLinks()
    {
        check({"monitor press:DM100 hall:DM0 lost:DM0 --links FOLDER/links --count 3 --interval 20 "
               "--changes-only --format jsonl --output FOLDER/log --report FOLDER/page.html",
               6, "",
               "kvlink: lost: outage: cannot connect to ALLkvlink: press: 3 requests, ALL"
               "kvlink: lost: 0 requests, ANY; 3 samples without an open link\n"});
        QFile log(m_folder.filePath("log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QString text = log.readAll();
        QCOMPARE(text.count('\n'), 3);
        for (const char *link : {"\"link\":\"press\"", "\"link\":\"hall\"", "\"link\":\"lost\""})
            QCOMPARE(text.count(link), 1);
        QVERIFY(QFile::exists(m_folder.filePath("page.html")));
    }

    void samplesLinksInTimeOrderBesideADeadOne()
    {
        const Outcome outcome = kvlink(arguments(
            "monitor press:DM0 hall:DM0 silent:DM0 --links FOLDER/links --interval 250 --duration "
            "2 --format csv --retry 0"));
        QStringList rows = outcome.out.split('\n', Qt::SkipEmptyParts);
        rows.removeFirst();
        QCOMPARE(linksOf(rows).count("press"), 8);
        QCOMPARE(linksOf(rows).count("hall"), 8);
        QVERIFY(linksOf(rows).count("silent") > 0);
        QVERIFY(
            outcome.out.contains("nothing was sent, as the link is to be opened anew after: no "));
        for (int i = 1; i < rows.size(); ++i)
            QVERIFY2(QDateTime::fromString(rows.at(i - 1).section(',', 0, 0), Qt::ISODateWithMs) <=
                         QDateTime::fromString(rows.at(i).section(',', 0, 0), Qt::ISODateWithMs),
                     qPrintable(rows.at(i)));
        QVERIFY2(fits(outcome.err,
                      "kvlink: silent: outage: ALL\nkvlink: press: 8 requests, ANY ms\n"
                      "kvlink: hall: 8 requests, ANY ms\nkvlink: silent: ALL"),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, 6);
    }

    void readsSixteenLinks()
    {
        std::vector<std::unique_ptr<Simulator>> plcs;
        QString links;
        QStringList items;
        for (int i = 0; i < 16; ++i) {
            plcs.emplace_back(new Simulator(words(i % 2 ? "--pty" : "--tcp 0")));
            links += QString("[n%1]\n%2\n").arg(i).arg(plcs.back()->wire.join('=').mid(2));
            items += QString("n%1:DM0[10]").arg(i);
        }
        writeFile("many", links);
        const Outcome outcome = kvlink(arguments("monitor " + items.join(' ') +
                                                 " --links FOLDER/many --interval 50 --count 20 "
                                                 "--format jsonl --report FOLDER/many.html"));
        QCOMPARE(outcome.out.count('\n'), 320);
        QVERIFY2(outcome.err.count('\n') >= 16 && outcome.status == 0, qPrintable(outcome.err));
        QVERIFY2(!outcome.err.contains("ThreadSanitizer"), qPrintable(outcome.err));
    }

    void tellsOfAllLinksAndEndsWithThem()
    {
        QProcess monitor;
        monitor.start(KVLINK_PROGRAM,
                      arguments("monitor press:DM0 hall:DM0 silent:DM0 --interval 1h "
                                "--links FOLDER/links"));
        for (int row = 0; row < 2; ++row)
            QVERIFY(nextLine(&monitor).contains(":DM0 0"));
        sendSignal(monitor, SIGUSR1);
        monitor.setReadChannel(QProcess::StandardError);
        QString said;
        while (!said.contains("silent: so far") && monitor.waitForReadyRead(PATIENCE_MS))
            said += QString::fromUtf8(monitor.readAll());
        QVERIFY2(fits(said, "ALLkvlink: press: so far 1 request, ALLkvlink: hall: so far ALL"),
                 qPrintable(said));
        interrupt(monitor);
        const Outcome outcome = ended(&monitor);
        QVERIFY2(fits(outcome.err, "ALLkvlink: press: 1 request, ALLkvlink: silent: ALL"),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, 6);
    }

private:
    Simulator m_press;
    Simulator m_hall;
    Simulator m_silent;
};

QTEST_GUILESS_MAIN(TestKvlinkLinks)
#include "tst_kvlink_links.moc"
