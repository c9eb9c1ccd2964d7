/// Runs the programs as a user does, and keeps what they printed.
#ifndef TESTS_APPS_PROGRAM_RUNNER_H
#define TESTS_APPS_PROGRAM_RUNNER_H

#include <QtCore/QDir>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <csignal>

/// Far longer than any run of a program takes.
const int PATIENCE_MS = 20000;

/// A time-out that a PLC which answers at once always keeps, while a test can still afford to wait
/// for its end.
const int REPLY_MS = 100 * KV_TEST_PATIENCE;

/// How a program ended; the status is -1 when it did not end by itself.
struct Outcome {
    int status;
    QString out;
    QString err;
};

/// Sends a signal. The id of a program that does not run is 0, by which kill() means every process
/// of this group.
inline void sendSignal(const QProcess &process, int number)
{
    if (process.processId() > 0)
        ::kill(static_cast<pid_t>(process.processId()), number);
}

inline void interrupt(const QProcess &process)
{
    sendSignal(process, SIGINT);
}

/// How many files a process has open.
inline int openFiles(qint64 process)
{
    return QDir(QString("/proc/%1/fd").arg(process))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

/// The next line of a program's output; what is left of it when there is none in time.
inline QString nextLine(QProcess *process)
{
    while (!process->canReadLine() && process->waitForReadyRead(PATIENCE_MS)) {
    }
    return QString::fromUtf8(process->readLine());
}

/// Waits for a program's end.
inline Outcome ended(QProcess *process)
{
    Outcome outcome = {-1, QString(), QString()};
    if (process->waitForFinished(PATIENCE_MS) && process->exitStatus() == QProcess::NormalExit)
        outcome.status = process->exitCode();
    outcome.out = QString::fromUtf8(process->readAllStandardOutput());
    outcome.err = QString::fromUtf8(process->readAllStandardError());
    return outcome;
}

/// @param arguments a last pair "< FILE" names its standard input
inline Outcome kvlink(const QStringList &arguments)
{
    QProcess process;
    const int end = arguments.indexOf("<");
    if (end >= 0)
        process.setStandardInputFile(arguments.last());
    process.start(KVLINK_PROGRAM, arguments.mid(0, end));
    return ended(&process);
}

/// The words of a command line without quotes.
inline QStringList words(const QString &text)
{
    return text.split(' ', Qt::SkipEmptyParts);
}

/// A kvsim that serves until it is stopped.
class Simulator
{
public:
    explicit Simulator(const QStringList &arguments)
    {
        process.start(KVSIM_PROGRAM, arguments);
        const QString ready = nextLine(&process).trimmed();
        const bool tcp = ready.startsWith("tcp");
        place = ready.section(' ', 1);
        wire = words(QLatin1String(tcp ? "--tcp %1" : "--port %1,9600,8n1"))
                   .replaceInStrings("%1", place);
    }
    ~Simulator() { stop(); }

    Outcome stop()
    {
        interrupt(process);
        return ended(&process);
    }

    QProcess process;
    QString place;    ///< the terminal's path, or HOST:PORT
    QStringList wire; ///< the options with which kvlink finds it

private:
    Q_DISABLE_COPY(Simulator)
};

/// What a kvsim said at its end of the faults that it was given: how often each has happened.
inline QMap<QByteArray, qint64> injectedFaults(const Outcome &kvsim)
{
    QMap<QByteArray, qint64> counts;
    for (const QString &line : kvsim.err.split('\n')) {
        const QStringList parts = line.split(' ');
        if (parts.size() == 4 && parts.at(1) == "fault")
            counts[parts.at(2).section(':', 0, 0).toLatin1()] = parts.at(3).toLongLong();
    }
    return counts;
}

#endif
