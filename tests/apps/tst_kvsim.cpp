/// kvsim as a user runs it: the line's speed, links, the memory's files, what it refuses.
#include "tests/apps/program_runner.h"
#include "tests/table.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTemporaryFile>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

Outcome kvlink(const Simulator &simulator, const QString &arguments)
{
    return kvlink(simulator.wire + words(arguments));
}

Outcome kvsim(const QString &arguments)
{
    QProcess process;
    process.start(KVSIM_PROGRAM, words(arguments).replaceInStrings("''", ""));
    return ended(&process);
}

// When the first and the last byte of the reply came, after the request left; -1: never.
struct Times {
    double firstMs;
    double lastMs;
};

Times exchange(int fd, const QByteArray &request, int replySize)
{
    Times times = {-1, -1};
    QElapsedTimer timer;
    timer.start();
    if (::write(fd, request.constData(), size_t(request.size())) != request.size())
        return times;
    for (int received = 0; received < replySize;) {
        pollfd ready = {fd, POLLIN, 0};
        char chunk[4096];
        const ssize_t size =
            ::poll(&ready, 1, PATIENCE_MS) == 1 ? ::read(fd, chunk, sizeof chunk) : 0;
        if (size <= 0)
            return times;
        times.lastMs = double(timer.nsecsElapsed()) / 1e6;
        times.firstMs = received == 0 ? times.lastMs : times.firstMs;
        received += static_cast<int>(size);
    }
    return times;
}

// 18 and 201 characters at 9600 / 11 a second, 19 and 1001 at 38400 / 10.
const struct {
    const char *name;
    const char *request;
    int replySize;
    double msToFirst, msToLast;
} SPEEDS[] = {
    {"--baud 9600", "RDS DM00000.H 40\r\n", 201, 20.625, 250.94},
    {"--baud 38400 --bits-per-char 10", "RDS DM00000.H 200\r\n", 1001, 4.9, 265.62},
    {"--reply-delay 100", "RDS DM00000.H 40\r\n", 201, 100.0, 100.0},
};

const struct {
    const char *name;
    int status;
    QString message;
} REFUSED_CONDITIONS[] = {
    {"--fault gremlin", 2, "known are no-reply, close-connection, silence, error-reply,"},
    {"--live DM0=noise:1", 2, "counter:STEP,MS"},
    {"--read-only DM9-DM1", 2, "DM9-DM1"},
    {"--set XX1=1", 2, "no such device in \"XX1=1\""},
    {"--station 100", 2, "0 to 99"},
    {"--baud 0", 2, "50 to 4000000"},
    {"--link ''", 2, "--link: the value is empty"},
    {"--tcp ::1:0", 2, "::1:0"},
    {"--tcp 65536", 2, "65536"},
    {"--tcp nowhere:0", 3, "nowhere"},
    {"--link no/such/directory/plc", 3, "no/such/directory/plc"},
    {"--load no/such/file", 3, "no/such/file"},
    {"--load /dev/zero", 3, "cannot read /dev/zero: at least 67108865 bytes, above the limit"},
    {"--load " KVSIM_PROGRAM, 2, "line 1, column 1: the first line is not device,value"},
    {"--faults .", 3, "cannot read ."},
    {"--save /dev/stdout", 3, "cannot write /dev/stdout: it is not a plain file"},
    {"--save no/such/folder/file", 3, "cannot write no/such/folder/file"},
    {"--trace=no/such/folder/file", 3, "cannot write no/such/folder/file"},
};

} // namespace

class TestKvsim : public QObject
{
    Q_OBJECT
private slots:
    void keepsTheLinesSpeed_data() { addRows(SPEEDS); }

    void keepsTheLinesSpeed()
    {
        const auto &row = currentRow(SPEEDS);
        Simulator simulator(words(row.name));
        const int fd = ::open(qPrintable(simulator.place), O_RDWR | O_NOCTTY | O_CLOEXEC);
        QVERIFY(fd >= 0);
        exchange(fd, "CR 00\r\n", 7);
        // Only what else the machine does makes it slower, so the best of many counts.
        double best = 1e9;
        for (int i = 0; i < 20 && best > row.msToLast * 1.05; ++i) {
            const Times times = exchange(fd, row.request, row.replySize);
            QVERIFY2(times.firstMs >= row.msToFirst, qPrintable(QString::number(times.firstMs)));
            QVERIFY2(times.lastMs >= row.msToLast, qPrintable(QString::number(times.lastMs)));
            QVERIFY(row.msToFirst == row.msToLast || times.firstMs < times.lastMs / 2);
            best = qMin(best, times.lastMs);
        }
        ::close(fd);
        QVERIFY2(best <= row.msToLast * 1.05, qPrintable(QString::number(best)));
    }

    void servesALinkUntilStopped()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath("plc");
        QVERIFY(QFile::link("nowhere", path));
        std::signal(SIGHUP, SIG_DFL); // kvsim inherits it, also that of nohup
        for (const int signal : {SIGTERM, SIGHUP}) {
            Simulator simulator(words("--station 12 --set DM100=4660 --link") << path);
            QCOMPARE(simulator.place, QFile::symLinkTarget(path));
            simulator.wire.last().replace(simulator.place, path);
            QCOMPARE(kvlink(simulator, "--station 12 read DM100").out, QString("4660\n"));
            QCOMPARE(::kill(pid_t(simulator.process.processId()), signal), 0);
            const Outcome end = ended(&simulator.process);
            QCOMPARE(end.status, 0);
            QCOMPARE(end.err, QString("kvsim: 3 requests, 0 error replies, 0 replies dropped\n"));
            QVERIFY(!QFileInfo(path).isSymLink());
        }
    }

    void replacesLinksOnly()
    {
        QTemporaryFile file;
        QVERIFY(file.open() && file.write("precious") == 8 && file.flush());
        QCOMPARE(kvsim("--link " + file.fileName()).status, 3);
        QCOMPARE(QFileInfo(file.fileName()).size(), qint64(8));
    }

    void keepsMemoryInFiles()
    {
        QTemporaryDir folder;
        QFile image(folder.filePath("plc.csv"));
        QVERIFY(image.open(QIODevice::WriteOnly) &&
                image.write("device,value\nDM1,5\nT3,\"1,2,3\"\n") > 0);
        image.close();
        Simulator simulator(words("--load FILE --save FILE --tcp 0 --set DM1=6 --read-only DM1-DM9 "
                                  "--live DM2=ramp:8,8,1000")
                                .replaceInStrings("FILE", image.fileName()));
        QCOMPARE(kvlink(simulator, "read DM1 -n 2").out, QString("6\n8\n"));
        const Outcome refused = kvlink(simulator, "--retry 0 write DM9 1");
        QVERIFY2(refused.status == 1 && refused.err.contains("E4"), qPrintable(refused.err));
        QCOMPARE(kvlink(simulator, "write DM10 77").status, 0);
        QCOMPARE(simulator.stop().status, 0);
        QVERIFY(image.open(QIODevice::ReadOnly));
        QCOMPARE(image.readAll(),
                 QByteArray("device,value\nDM1,6\nDM2,8\nDM10,77\nT3,\"1,2,3\"\n"));
    }

    // A file system that takes no more ends the save at once, or its signal ends the program.
    void keepsTheOldFileWhenASaveFails()
    {
        QTemporaryDir folder;
        QFile file(folder.filePath("plc.csv"));
        QByteArray image = "device,value\n";
        for (int i = 0; i < 20000; ++i)
            image += "DM" + QByteArray::number(i) + ",1\n";
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(image) == image.size());
        file.close();
        for (const bool isKilled : {false, true}) {
            std::signal(SIGXFSZ, isKilled ? SIG_DFL : SIG_IGN); // the program inherits it
            Simulator simulator(words("--load FILE --save FILE --set DM0=2")
                                    .replaceInStrings("FILE", file.fileName()));
            std::signal(SIGXFSZ, SIG_DFL);
            const rlimit limit = {100000, 100000};
            QCOMPARE(::prlimit(pid_t(simulator.process.processId()), RLIMIT_FSIZE, &limit, nullptr),
                     0);
            const Outcome end = simulator.stop();
            QCOMPARE(end.status, isKilled ? -1 : 3);
            QVERIFY2(isKilled || end.err.contains("cannot write " + file.fileName()),
                     qPrintable(end.err));
            QVERIFY(file.open(QIODevice::ReadOnly) && file.readAll() == image);
            file.close();
        }
    }

    void tracesInKvlinksFormat()
    {
        Simulator simulator(words("--trace --fault") << "noise-after:once 3");
        kvlink(simulator, QString("--retry 0 --timeout %1 read DM1").arg(REPLY_MS));
        static const QRegularExpression stamp(
            "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d "
            "\\d+\\.\\d{6} \\+\\d+\\.\\d{6} ",
            QRegularExpression::MultilineOption);
        const QString lines = simulator.stop().err.remove(stamp);
        QVERIFY2(lines.startsWith(QLatin1String(
                     "> CR 00\\r\\n ; open station 00\n< CC 00\\r\\n ; opened\n"
                     "> RDS DM00001.H 1\\r\\n ; read 1 word from DM1\n< 0000\\r\\n ; 1 word\n"
                     "> CQ\\r\\n ; close\n< CF\\r\\n ; closed\n< \\x")),
                 qPrintable(lines));
    }

    void refusesConditions_data() { addRows(REFUSED_CONDITIONS); }

    void refusesConditions()
    {
        const auto &row = currentRow(REFUSED_CONDITIONS);
        const Outcome outcome = kvsim(row.name);
        QCOMPARE(outcome.status, row.status);
        QVERIFY2(outcome.err.contains(row.message), qPrintable(outcome.err));
        QCOMPARE(outcome.out, QString());
    }

    // A file's line is long, and holds what a terminal would obey.
    void showsHostileLinesEscapedAndCut()
    {
        const char *const rows[][2] = {{"--load ", "device,value\n"}, {"--faults ", "late\n"}};
        for (const auto &row : rows) {
            QTemporaryFile file;
            const QByteArray line = QByteArray("\x1B]0;\x9B\xFF") + QByteArray(1000000, 'A');
            QVERIFY(file.open() && file.write(row[1] + line) > 0 && file.flush());
            const Outcome outcome = kvsim(row[0] + file.fileName());
            QCOMPARE(outcome.status, 2);
            QVERIFY2(outcome.err.contains("\\x1b]0;\\x9b\\xffAAA") && outcome.err.size() < 500,
                     qPrintable(outcome.err.left(500)));
        }
    }
};

QTEST_GUILESS_MAIN(TestKvsim)
#include "tst_kvsim.moc"
