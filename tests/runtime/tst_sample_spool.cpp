// The spool of samples: bounded, in order, lasting, and careful with the files of others.
#include "runtime/project_database.h"
#include "runtime/sample_spool.h"
#include "runtime/spool_targets.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <csignal>

#include <sys/resource.h>
#include <unistd.h>

namespace
{

QByteArray contents(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestSampleSpool : public QObject
{
    Q_OBJECT

private slots:
    // What the reader has got stays, and the newest. Whoever is killed closes nothing: the file is
    // copied as it lies there.
    void keepsTheNewest()
    {
        SampleSpool spool(path("spool"), 9);
        QVERIFY(!spool.open());
        QVector<SpooledSample> samples;
        SpoolReader reader(spool);
        for (const char *rows : {"aaa", "bbb", "ccc", "d", "longer than all"}) {
            QVERIFY(!spool.append(rows));
            if (*rows == 'a')
                QVERIFY(!reader.next(1, 0, &samples));
        }
        QCOMPARE(spool.counts().dropped, 3);
        for (const char *end : {"", "-wal"})
            QVERIFY(QFile::copy(path("spool") + end, path("copy") + end));
        QVERIFY(!reader.take(samples.first().number) && spool.counts().waiting == 1);
        SampleSpool again(path("copy"), 1000);
        QVERIFY(!again.open() && !again.append("last"));
        QVERIFY(!SpoolReader(again).next(1000, 0, &samples));
        QByteArrayList rows;
        for (const SpooledSample &sample : qAsConst(samples))
            rows += sample.rows;
        QCOMPARE(rows, QByteArrayList({"aaa", "longer than all", "last"}));
        QVERIFY(SampleSpool(path("copy"), 9).open().text().contains("another process uses it"));
    }

    // Full twice: what was taken makes room, though no file can grow, and nothing else is lost.
    void goesOnOnAFullDisk()
    {
        SampleSpool spool(path("full"), 10000000);
        QVERIFY(!spool.open());
        SpoolReader reader(spool);
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit;
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit full = {1500000, limit.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
        QVector<SpooledSample> samples;
        for (int round = 0; round < 2; ++round) {
            const qint64 first = samples.isEmpty() ? 1 : samples.last().number + 1;
            int kept = 0;
            while (kept < 1000 && !spool.append(QByteArray(10000, 'r')))
                ++kept;
            QVERIFY2(kept > 0 && kept < 1000, qPrintable(QString::number(kept)));
            QVERIFY(!reader.next(10000000, 0, &samples));
            QVERIFY(samples.size() == kept && samples.first().number == first);
            const Failure failure = reader.take(samples.last().number);
            QVERIFY2(!failure, qPrintable(failure.text()));
            QCOMPARE(spool.counts().waiting, 0);
        }
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
        for (const char *end : {"", "-wal"})
            QVERIFY(QFile::copy(path("full") + end, path("again") + end));
        SampleSpool again(path("again"), 10000000);
        QVERIFY(!again.open() && again.counts().waiting == 0);
    }

    void leavesOtherFilesAlone()
    {
        QVERIFY(!SampleSpool(path("damaged"), 9).open());
        QVERIFY(QFile::resize(path("damaged"), 4096));
        QVERIFY(!writeExampleProject(path("foreign")));
        const QString rows[][2] = {
            {path("damaged"), "; if it is damaged, move it away"},
            {path("foreign"), "it is no spool; name another file"},
            {QFINDTESTDATA("tst_sample_spool.cpp"), "it is no spool; name another file"},
            {path(""), "Is a directory"},
            {"/dev/null", "expected a regular file"}};
        for (const auto &row : rows) {
            const QByteArray before = contents(row[0]);
            const QString text = SampleSpool(row[0], 9).open().text();
            QVERIFY2(text.contains(row[1]) && text.contains(row[0]), qPrintable(text));
            QCOMPARE(contents(row[0]), before);
        }
    }

    void knowsWhatAReaderHasTaken()
    {
        int ends[2];
        QCOMPARE(pipe(ends), 0);
        DescriptorTarget target(ends[1]);
        const QByteArray rows = QByteArray("row\n").repeated(100000);
        HandedOver total = {0, 0};
        for (qint64 before = -1; total.given > before;) { // until the pipe is full
            before = total.given;
            QVERIFY(!target.give(rows.mid(static_cast<int>(before)), &total));
        }
        QVERIFY(total.given > 4096 && total.given < rows.size());
        QCOMPARE(total.taken, 0);
        char taken[5000];
        QCOMPARE(read(ends[0], taken, sizeof(taken)), ssize_t(5000));
        close(ends[0]);
        const Failure failure = target.give(QByteArray(), &total);
        QVERIFY(failure && failure.text().isEmpty());
        QCOMPARE(total.taken, 5000);
        close(ends[1]);
    }

    void takesWhatACommandHasTaken()
    {
        const char *const rows[][2] = {{"test $(cat) = 1", ""},
                                       {"echo a >&2; echo b >&2; exit 7", "status 7: b"},
                                       {"kill -9 $$", "was ended by signal 9"},
                                       {"sleep 9 & wait", "has not ended after 0 s"}};
        for (const auto &row : rows) {
            HandedOver total = {0, 0};
            const std::atomic<bool> isOver(false);
            const QString text = CommandTarget(row[0], 500, isOver).give("1\n", &total).text();
            QVERIFY2(text.contains(row[1]), qPrintable(text));
            QCOMPARE(total.taken, *row[1] ? 0 : 2);
        }
    }

private:
    QString path(const QString &name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(TestSampleSpool)
#include "tst_sample_spool.moc"
