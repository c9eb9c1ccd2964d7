/// A spool of kvlink, while kvlink, its reader and the broker behind it are killed again and again.
#include "tests/apps/program_runner.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <cstdio>
#include <random>

#include <fcntl.h>
#include <unistd.h>

namespace
{

const char MONITOR[] = "monitor T0 --interval 10 --timeout 5s --spool FOLDER/spool --tcp ";

// The broker has a batch as a file. Without the broker nothing is confirmed.
const char COMMAND[] =
    "trap 'rm FOLDER/command' EXIT && echo $$ >FOLDER/command && cat >FOLDER/$$ && "
    "mv FOLDER/$$ FOLDER/got.$(date +%s%N) && kill -0 $(cat FOLDER/broker)";

// Time for the programs; more where they start and run slowly.
void letPass(unsigned long ms)
{
    QThread::msleep(ms * KV_TEST_PATIENCE);
}

// Puts what it reads into a file at the moment of the reading, also when it is killed then.
int receive(const char *file)
{
    const int end = open(file, O_WRONLY | O_CREAT | O_EXCL, 0666);
    do
        QThread::msleep(30); // for which rows stay in the pipe
    while (splice(STDIN_FILENO, nullptr, end, nullptr, 65536, 0) > 0);
    return 0;
}

/// What runs, and what it has come to.
struct SpoolSoak {
    SpoolSoak(bool piped, unsigned seed) : isPiped(piped), chance(seed) {}

    QString placed(QString text) const { return text.replace("FOLDER", folder.path()); }

    QByteArray contents(const QString &name) const
    {
        QFile file(folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // What has ended begins again. Without a reader kvlink ends by itself.
    void start()
    {
        if (isPiped && kvlink.processId() > 0 && reader.state() == QProcess::NotRunning)
            wrongEnds += kvlink.waitForFinished(PATIENCE_MS) && kvlink.exitCode() == 3 ? 0 : 1;
        if (!isPiped && reader.state() == QProcess::NotRunning)
            reader.start("sh", {"-c", placed("echo $$ >FOLDER/broker; exec sleep 9999")});
        if (kvlink.state() != QProcess::NotRunning)
            return;
        QStringList arguments = words(placed(MONITOR) + plc.place);
        if (isPiped) {
            reader.waitForFinished(PATIENCE_MS);
            kvlink.setStandardOutputProcess(&reader);
            const QString file = folder.filePath(QString::asprintf("got.%06d", ++readers));
            reader.start("env", words(KV_TEST_EMULATOR) +
                                    QStringList{QCoreApplication::applicationFilePath(), file});
        } else {
            arguments << "--deliver" << placed(COMMAND);
        }
        kvlink.start(KVLINK_PROGRAM, arguments);
        kvlink.waitForStarted();
    }

    void kill()
    {
        letPass(50 + chance() % 150);
        const unsigned long victim = chance() % (isPiped ? 2 : 3);
        const pid_t command = contents("command").toInt();
        if (victim == 2) {
            killed[2] += command > 1 && ::kill(-command, SIGKILL) == 0 ? 1 : 0;
            return;
        }
        ++killed[victim];
        (victim == 0 ? kvlink : reader).kill();
        (victim == 0 ? kvlink : reader).waitForFinished();
        letPass(20);
        if (victim == 0)
            cut += samples().value(samples().size() - 1);
        start();
    }

    static QList<qint64> values(const QByteArray &text, const char *pattern)
    {
        QList<qint64> all;
        for (auto rows = QRegularExpression(pattern).globalMatch(text); rows.hasNext();)
            all += rows.next().captured(1).toLongLong();
        return all;
    }

    // What the PLC has answered.
    QList<qint64> samples() const { return values(contents("trace"), "< \\d,(\\d{10}),"); }

    // A command runs now and then only: a few kills may miss it.
    bool wereKilled(int kills) const
    {
        return killed[0] > 0 && killed[1] > 0 && (isPiped || kills < 100 || killed[2] > 0);
    }

    /// @param kills that were to happen
    /// @return whether all samples that kvlink has kept have arrived, in order
    bool finish(int kills)
    {
        letPass(1000); // signals are watched then
        interrupt(kvlink);
        const Outcome end = ended(&kvlink);
        if (!isPiped)
            reader.kill();
        reader.waitForFinished();
        QList<qint64> rows;
        for (const QString &name : QDir(folder.path()).entryList({"got.*"}))
            rows += values(contents(name), " T0 (\\d+)\n");
        QList<qint64> arrived;
        for (const qint64 value : qAsConst(rows)) {
            if (!arrived.contains(value))
                arrived += value;
        }
        QList<qint64> expected = samples();
        for (const qint64 value : qAsConst(cut))
            expected.removeAll(arrived.contains(value) ? 0 : value);
        const bool isGood = arrived == expected && !arrived.isEmpty() && wereKilled(kills) &&
                            wrongEnds == 0 && end.status == 0;
        qInfo("%s: %d samples kept, %d arrived, %s; %d rows repeated; killed: kvlink %d, %s %d, "
              "command %d\n%s",
              isPiped ? "pipe" : "command", expected.size(), arrived.size(),
              isGood ? "in order" : "WRONG", rows.size() - arrived.size(), killed[0],
              isPiped ? "reader" : "broker", killed[1], killed[2], qPrintable(end.err));
        return isGood;
    }

    const bool isPiped;
    std::mt19937 chance;
    QTemporaryDir folder;
    Simulator plc{words(placed("--tcp 0 --live T0=counter:1,1 --trace=FOLDER/trace"))};
    QProcess reader; // or the broker
    QProcess kvlink;
    int readers = 0;
    int wrongEnds = 0;         // of kvlink without a reader
    int killed[3] = {0, 0, 0}; // kvlink, reader or broker, command
    QList<qint64> cut;         // samples that a kill of kvlink may have cut off
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 2)
        return receive(argv[1]);
    if (argc != 3) {
        std::fprintf(stderr, "usage: spool_soak KILLS SEED\n");
        return 2;
    }
    const int kills = QByteArray(argv[1]).toInt();
    bool isGood = true;
    for (int way = 0; isGood && way < 2; ++way) {
        SpoolSoak soak(way == 0, QByteArray(argv[2]).toUInt());
        soak.start();
        for (int i = 0; i < kills; ++i)
            soak.kill();
        isGood = soak.finish(kills);
    }
    return isGood ? 0 : 1;
}
