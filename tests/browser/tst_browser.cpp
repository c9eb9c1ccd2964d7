// Reports of real runs in Chromium without a window: it complains of nothing, shows what went in,
// and draws plots.
#include "tests/apps/program_runner.h"
#include "tests/table.h"

#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>

#include <unistd.h>

namespace
{

// Commands on a wire with noise and a name that is no plain text, and parts of the page as the
// browser has it. DM10 and its neighbours hold </script>.
const struct {
    const char *name;
    const char *shown; // with | between the parts
} PAGES[] = {
    {"diagnose --duration 2s",
     "\"'&lt;b&gt;&amp;,9600,8n1</td>|single replies come damaged</b><span>Check: termination|"
     "exchanges with a good reply|>open and close<|>64 words<"},
    {"bench DM7 -n 3 --requests 60 --retry 0",
     "<h1>kvlink bench DM7</h1>|60 requests, 60 replies|<h2>Other failures</h2>|received \"\\x"},
    {"monitor DM0 DM1[2] DM10:string[9] --count 40 --interval 20",
     "<td>DM0</td><td class=\"number\">4660</td>|>DM1[2] (1)<|<td>&lt;/script&gt;</td>"},
};

} // namespace

class TestBrowser : public QObject
{
    Q_OBJECT

public:
    TestBrowser()
        : m_port(m_folder.filePath("\"'<b>&")), m_page(m_folder.filePath("page.html")),
          m_plc(words("--station 7 --seed 3 --fault noise-before:0.05 --set DM0=4660"
                      " --set DM10=12092 --set DM11=25459 --set DM12=26994 --set DM13=29808"
                      " --set DM14=62 --link " +
                      m_port))
    {}

private slots:
    void showsRuns_data() { addRows(PAGES); }

    void showsRuns()
    {
        const auto &row = currentRow(PAGES);
        const QStringList link{"--station", "7", "--port", m_port + ",9600,8n1"};
        const Outcome run = kvlink(link + words(row.name) + QStringList{"--report", m_page});
        QVERIFY2(QFile::exists(m_page), qPrintable(run.err));
        const Outcome shown = chromium("--dump-dom");
        QVERIFY2(!shown.err.contains("CONSOLE"), qPrintable(shown.err));
        for (const QString &text : QString(row.shown).split('|'))
            QVERIFY2(shown.out.contains(text), qPrintable(text + " is not in\n" + shown.out));
        const QString picture = m_folder.filePath("page.png");
        chromium("--screenshot=" + picture);
        QVERIFY(pixelsOfFirstSeries(QImage(picture)) > 200);
        QVERIFY(QFile::remove(m_page));
    }

    // That the test above would notice a page that asks for more than it holds.
    void noticesRequests()
    {
        kvlink({"--sim", "bench", "--requests", "3", "--report", m_page});
        QFile page(m_page);
        QVERIFY(page.open(QIODevice::Append) && page.write("<img src='http://127.0.0.1/'>") > 0);
        page.close();
        const Outcome shown = chromium("--dump-dom");
        QVERIFY2(shown.err.contains("CONSOLE"), qPrintable(shown.err));
    }

private:
    // No text has that colour.
    static int pixelsOfFirstSeries(const QImage &image)
    {
        int count = 0;
        for (int i = 0; i < image.width() * image.height(); ++i)
            count += image.pixel(i % image.width(), i / image.width()) == qRgb(0x1F, 0x6F, 0xB2);
        return count;
    }

    // Opens the page. The browser resolves no name, as without a network.
    Outcome chromium(const QString &what)
    {
        QStringList arguments = words(
            "--headless --disable-gpu --disable-quic --no-first-run --disable-sync "
            "--disable-background-networking --disable-component-update --window-size=1100,1800 "
            "--virtual-time-budget=3000 --enable-logging=stderr --user-data-dir=" +
            m_folder.filePath("profile"));
        if (geteuid() == 0)
            arguments += "--no-sandbox";
        arguments << "--host-resolver-rules=MAP * ~NOTFOUND" << what << m_page;
        QProcess process;
        process.start("chromium", arguments);
        return ended(&process);
    }

    QTemporaryDir m_folder;
    const QString m_port;
    const QString m_page;
    Simulator m_plc;
};

QTEST_GUILESS_MAIN(TestBrowser)
#include "tst_browser.moc"
