#include "runtime/spool_targets.h"

#include "runtime/escaped_text.h"

#include <QtCore/QElapsedTimer>

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const int WAIT_MS = 100;

// A pipe with any room takes so much at once: a write neither waits nor is cut in two.
const int PIECE = 4096;

// How often a command is looked at that has its standard error closed.
const int LOOK_MS = 20;

const int LONGEST_ERROR = 4096;

QString systemText(const char *what)
{
    return QString::fromLatin1("%1: %2").arg(QLatin1String(what), qt_error_string(errno));
}

// Whole rows where one fits: a reader then gets no half row when this program is killed.
int pieceOf(const QByteArray &rows)
{
    const int end = rows.left(PIECE).lastIndexOf('\n');
    return end >= 0 ? end + 1 : qMin(PIECE, rows.size());
}

/// A command of /bin/sh that runs. It is not a QProcess: a child of one waits for good when this
/// program is killed in its start, and keeps what it has inherited locked.
class Shell
{
public:
    Shell() : m_process(-1), m_errorPipe(-1), m_status(0) {}
    ~Shell();

    /// Begins, in a process group of its own: a signal of the terminal does not reach it.
    /// @return 0 or the system's error
    int start(const QByteArray &command, int input);

    /// Waits for its end. @param ms at most about so long, in milliseconds
    /// @return whether it has ended
    bool waitForEnd(int ms);

    /// Ends it with its children.
    void kill();

    /// How it ended, as waitpid() has it. Requires: it has ended by itself.
    int status() const { return m_status; }

    /// The last line of what it said on its standard error.
    QString lastError() const;

private:
    Q_DISABLE_COPY(Shell)

    bool readErrors();

    pid_t m_process; // -1: none, or ended
    int m_errorPipe; // -1: closed
    int m_status;
    QByteArray m_errors;
};

Shell::~Shell()
{
    if (m_errorPipe >= 0)
        close(m_errorPipe);
}

int Shell::start(const QByteArray &command, int input)
{
    int errors[2];
    if (pipe2(errors, O_CLOEXEC | O_NONBLOCK) != 0)
        return errno;
    fcntl(errors[1], F_SETFL, 0); // O_NONBLOCK is for this end alone
    m_errorPipe = errors[0];
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, errors[1], STDERR_FILENO);
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    posix_spawnattr_t settings;
    posix_spawnattr_init(&settings);
    posix_spawnattr_setsigdefault(&settings, &pipeSignal);
    posix_spawnattr_setflags(&settings, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    QByteArray words[] = {"sh", "-c", command};
    char *const arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    const int error = posix_spawn(&m_process, "/bin/sh", &files, &settings, arguments, environ);
    posix_spawnattr_destroy(&settings);
    posix_spawn_file_actions_destroy(&files);
    close(errors[1]);
    return error;
}

// The pipe ends with the command, as long as it leaves nothing behind that has it open.
bool Shell::waitForEnd(int ms)
{
    pollfd errors = {m_errorPipe, POLLIN, 0};
    if (poll(&errors, 1, ms) > 0)
        readErrors();
    if (m_process > 0 && waitpid(m_process, &m_status, WNOHANG) == m_process) {
        m_process = -1;
        while (readErrors()) {
        }
    }
    return m_process < 0;
}

// @return whether there may be more
bool Shell::readErrors()
{
    char part[LONGEST_ERROR];
    const ssize_t count = read(m_errorPipe, part, sizeof part);
    if (count > 0) {
        m_errors = (m_errors + QByteArray(part, static_cast<int>(count))).right(LONGEST_ERROR);
    } else if (count == 0) {
        close(m_errorPipe);
        m_errorPipe = -1;
    }
    return count > 0;
}

void Shell::kill()
{
    ::kill(-m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    m_process = -1;
}

QString Shell::lastError() const
{
    const QByteArray text = m_errors.trimmed();
    return escapedText(text.mid(text.lastIndexOf('\n') + 1));
}

// What a command that ended with a status as waitpid() has it is said to have done.
QString endOf(int status)
{
    if (WIFSIGNALED(status))
        return QString::fromLatin1("was ended by signal %1").arg(WTERMSIG(status));
    return WEXITSTATUS(status) == 0
               ? QString()
               : QString::fromLatin1("ended with status %1").arg(WEXITSTATUS(status));
}

} // namespace

DescriptorTarget::DescriptorTarget(int descriptor) : m_descriptor(descriptor), m_isPipe(false)
{
    struct stat file;
    m_isPipe = fstat(descriptor, &file) == 0 && S_ISFIFO(file.st_mode);
}

Failure DescriptorTarget::give(const QByteArray &rows, HandedOver *total)
{
    bool isGone = false;
    QString error;
    pollfd output = {m_descriptor, static_cast<short>(rows.isEmpty() ? 0 : POLLOUT), 0};
    const int ready = poll(&output, 1, rows.isEmpty() ? 0 : WAIT_MS);
    if (ready > 0 && (output.revents & (POLLERR | POLLHUP)) != 0) {
        isGone = true;
    } else if (ready > 0) {
        const int length = pieceOf(rows);
        const ssize_t count = write(m_descriptor, rows.constData(), static_cast<size_t>(length));
        total->given += qMax<ssize_t>(0, count);
        isGone = count < 0 && errno != EINTR && errno != EAGAIN;
        if (isGone && errno != EPIPE)
            error = systemText("cannot write to the standard output");
    }
    int unread = 0;
    if (!m_isPipe || ioctl(m_descriptor, FIONREAD, &unread) == 0)
        total->taken = qMax(total->taken, total->given - unread);
    return isGone ? Failure(StatusOpen, error) : Failure();
}

CommandTarget::CommandTarget(const QString &command, int timeoutMs, const std::atomic<bool> &isOver)
    : m_command(command), m_timeoutMs(timeoutMs), m_isOver(isOver)
{}

Failure CommandTarget::give(const QByteArray &rows, HandedOver *total)
{
    if (rows.isEmpty())
        return Failure();
    const int input = memfd_create("rows", MFD_CLOEXEC);
    const bool isFilled = input >= 0 && pwrite(input, rows.constData(),
                                               static_cast<size_t>(rows.size()), 0) == rows.size();
    Failure failure =
        isFilled ? run(input) : Failure(StatusOpen, systemText("cannot hold the rows in memory"));
    if (input >= 0)
        close(input);
    total->given += failure ? 0 : rows.size();
    total->taken = total->given;
    return failure;
}

Failure CommandTarget::run(int input) const
{
    Shell shell;
    QElapsedTimer clock;
    clock.start();
    QString end;
    if (const int error = shell.start(m_command.toLocal8Bit(), input)) {
        end = QLatin1String("does not start: ") + qt_error_string(error);
    } else {
        while (!shell.waitForEnd(LOOK_MS) && !m_isOver && !clock.hasExpired(m_timeoutMs)) {
        }
        if (shell.waitForEnd(0)) {
            end = endOf(shell.status());
        } else {
            shell.kill();
            end = m_isOver
                      ? QLatin1String("is ended with this program")
                      : QString::fromLatin1("has not ended after %1 s").arg(m_timeoutMs / 1000);
        }
    }
    if (end.isEmpty())
        return Failure();
    const QString reason = shell.lastError();
    return Failure(StatusOpen, QString::fromLatin1("\"%1\" %2").arg(m_command, end) +
                                   (reason.isEmpty() ? reason : QLatin1String(": ") + reason));
}
