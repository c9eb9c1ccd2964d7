// Why a line is bad: from counts to causes, and kvlink as a user runs it against kvsim's faults.
#include "runtime/line_diagnosis.h"
#include "runtime/thinned_series.h"
#include "tests/apps/kvlink_runs.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace
{

// What no pseudo-terminal counts, and what comes together.
const struct {
    const char *name; // counts
    const char *causes;
} COUNTS[] = {
    {"good 100", ""},
    {"good 100 parity 1", "noise"},
    {"good 100 damaged 1 framing 1", "noise"},
    {"good 1 damaged 9 parity 30", "parity"},
    {"good 1 damaged 9 parity 30 framing 2", "speed"},
    {"noReply 9 framing 9", "speed"},
    {"noReply 9 breaks 9", "speed break"},
    {"noReply 9 overrun 1", "silent overrun"},
    {"good 100 noReply 1 losses 1", "lost"},
    {"good 100 unexpected 3 lateBytes 6", "late"},
    {"good 100 damaged 9 lateBytes 6", "noise"},
    {"good 100 noReply 2 unexpected 1", "missing master"},
    {"good 100 noiseBytes 1", "noise"},
};

// The options of a kvsim, blanks in one as +, and what diagnose says of the line.
const struct {
    const char *name;
    int status;
    const char *causes;
} LINES[] = {
    {"", 0, ""},
    {"--fault split:once+4", 0, ""},
    {"--baud 115200", 0, ""},
    {"--fault no-reply", 4, "silent"},
    {"--fault no-reply:once+4", 5, "missing"},
    {"--fault silence:once+4,0", 5, "missing"},
    {"--fault close-connection:once+4,0", 5, "missing"},
    {"--tcp 0 --fault close-connection:once+4", 5, "lost"},
    {"--fault error-reply:once+4", 1, "refused"},
    {"--fault wrong-station:once+2", 5, "station"},
    {"--fault wrong-close:once+2", 5, "master"},
    {"--fault doubled:once+4", 5, "master"},
    {"--fault noise-before:once+4", 5, "noise"},
    {"--fault noise-inside:once+4", 5, "noise"},
    {"--fault noise-after:once+4", 5, "noise"},
    {"--fault noise-before", 5, "speed"},
    {"--fault cut:once+4", 5, "cut"},
    {"--fault echo", 5, "echo"},
    {"--fault late:once+4,LATE", 5, "late"},
    {"--fault no-reply:once+4 --fault wrong-station:once+2", 5, "missing station"},
};

const KvlinkRun RUNS[] = {
    {"PLC diagnose --duration 1ms", 0,
     "ANY s, ANY requests, 0 failed, 0 good after a retry\nANY exchanges with a good reply\n"
     "\ntimes in ms ALL\n64 words ALL to ALL #ALL\n\nno errors\n",
     ""},
    {"--fault no-reply:once+4 > WIRE --station 7 --timeout 100 diagnose --baud 9600 --duration 9ms",
     5,
     "ANY s, ANY requests, 0 failed, 1 good after a retry\nALL\ncharacters are on the wire in ANY "
     "% of the time at 9600 baud; spare: ANY %\n\nlikely causes, and what to checkALL",
     ""},
    {"PLC diagnose DM65530 -n 7 --duration 1ms", 1,
     "ALL\n\nlikely causes, and what to check\n- the PLC answers with error replies; ANY\n"
     "  check: that the address exists and has so many words (-n); the PLC's mode\n",
     ""},
    {"--tcp 0 --fault close-connection > PLC diagnose --duration 50ms", 4,
     "ANY s, 3 requests, 3 failed, ALL", ""},
    {"--sim bench --report ''", 2, "", "--report: the value is empty"},
    {"PLC diagnose T0", 2, "", "T0: expected a word"},
    {"PLC --trace bench --report FOLDER/none/page.html", 3, "",
     "^kvlink: cannot write ANY/none/page.html: ANY\n"},
    {"PLC diagnose --report FOLDER", 3, "", "^kvlink: cannot write ANY: ANY\n"},
    {"PLC --trace monitor DM0 --report FOLDER", 3, "", "^kvlink: cannot write ANY: ANY\n"},
};

} // namespace

class TestKvlinkWhy : public KvlinkTest
{
    Q_OBJECT

public:
    TestKvlinkWhy() : KvlinkTest("") {}

private slots:
    void findsCauses_data() { addRows(COUNTS); }

    void findsCauses()
    {
        const auto &row = currentRow(COUNTS);
        LineCounts counts;
        QMap<QString, int *> places = {
            {"parity", &counts.errors.parity},     {"framing", &counts.errors.framing},
            {"overrun", &counts.errors.overrun},   {"breaks", &counts.errors.breaks},
            {"lateBytes", &counts.stray.late},     {"unaskedBytes", &counts.stray.unasked},
            {"noiseBytes", &counts.stray.damaged}, {"losses", &counts.losses},
        };
        for (size_t end = 0; end < counts.ends.size(); ++end)
            places[exchangeEndName(static_cast<ExchangeEnd>(end))] = &counts.ends[end];
        const QStringList parts = words(row.name);
        for (int i = 0; i < parts.size(); i += 2)
            *places.value(parts.at(i)) = parts.at(i + 1).toInt();
        QStringList causes;
        for (const LineCause *cause : likelyCauses(counts))
            causes += cause->name;
        QCOMPARE(causes.join(' '), QString(row.causes));
    }

    void diagnosesLines_data() { addRows(LINES); }

    void diagnosesLines()
    {
        const auto &row = currentRow(LINES);
        const QString faults = QString(row.name).replace("LATE", QString::number(REPLY_MS * 9 / 5));
        Simulator plc(words("--station 7 --seed 3 " + faults).replaceInStrings("+", " "));
        const QString command = "--station 7 --timeout %1 diagnose --duration 100ms --format json";
        const Outcome outcome = kvlink(plc.wire + words(command.arg(REPLY_MS)));
        const QJsonObject result = QJsonDocument::fromJson(outcome.out.toUtf8()).object();
        QStringList causes;
        for (const auto &cause : result.value("causes").toArray())
            causes += cause.toObject().value("cause").toString();
        QVERIFY2(causes.join(' ') == row.causes, qPrintable(outcome.out));
        QCOMPARE(outcome.status, row.status);
    }

    void keepsHostileTextsAsData()
    {
        const QByteArray text = "</script><!--\xE2\x80\xA8\"'\\\xFF@SCRIPT@";
        QStringList options = words("--station 7");
        for (int i = 0; i < text.size(); i += 2)
            options << "--set"
                    << QString("DM%1=%2").arg(i / 2).arg(uchar(text[i]) + uchar(text[i + 1]) * 256);
        Simulator plc(options);
        const QString item = QString("DM0:bin DM0:string[%1]").arg(text.size());
        const QString path = m_folder.filePath("page.html");
        const QString command = "--station 7 monitor --count 2 --interval 1 ";
        QCOMPARE(kvlink(plc.wire + words(command + "--report " + path + ' ' + item)).status, 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray page = file.readAll();
        QCOMPARE(page.count("</script"), 3);
        const int from = page.indexOf("id=\"data\">") + 10;
        const QByteArray data = page.mid(from, page.indexOf("</script", from) - from);
        QVERIFY2(std::all_of(data.begin(), data.end(), [](char c) { return c > 31 && c != '<'; }),
                 data.constData());
        const QJsonObject run = QJsonDocument::fromJson(data).object();
        const auto series = [&](int n) {
            return run["values"].toArray()[n].toObject()["series"].toArray()[0].toObject();
        };
        QCOMPARE(series(0)["most"].toInt(), int('<' + '/' * 256));
        QCOMPARE(series(1)["latest"].toString(),
                 QString("</script><!--\\xe2\\x80\\xa8\"'\\x5c\\xff@SCRIPT@"));
        QCOMPARE(run["times"].toArray()[0].toObject()["points"].toArray().size(), 2);
    }

    void thinsOutASeries()
    {
        ThinnedSeries series(100);
        for (int i = 0; i < 100000; ++i)
            series.add(QPointF(i, i == 4321 ? 7 : i == 87654 ? -7 : i % 3));
        const QVector<QPointF> points = series.points();
        QVERIFY(points.size() <= 100 && points.size() > 40);
        QVERIFY(points.contains(QPointF(4321, 7)) && points.contains(QPointF(87654, -7)));
        QVERIFY(points.first().x() < 4000 && points.last().x() > 96000);
    }

    void runs_data() { addRows(RUNS); }
    void runs() { check(currentRow(RUNS)); }
};

QTEST_GUILESS_MAIN(TestKvlinkWhy)
#include "tst_kvlink_why.moc"
