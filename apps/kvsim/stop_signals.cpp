#include "apps/kvsim/stop_signals.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace
{

// As nohup leaves it: the program is to outlive its terminal.
bool isIgnored(int signal)
{
    struct sigaction action;
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

StopSignals::StopSignals() : m_fd(-1) {}

StopSignals::~StopSignals()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

Failure StopSignals::watch()
{
    sigset_t stopSet;
    sigemptyset(&stopSet);
    sigaddset(&stopSet, SIGINT);
    sigaddset(&stopSet, SIGTERM);
    if (!isIgnored(SIGHUP))
        sigaddset(&stopSet, SIGHUP);
    if (sigprocmask(SIG_BLOCK, &stopSet, nullptr) == 0)
        m_fd = signalfd(-1, &stopSet, SFD_NONBLOCK | SFD_CLOEXEC);
    if (m_fd < 0)
        return Failure(
            StatusOpen,
            QString::fromLatin1("cannot watch for signals: %1").arg(qt_error_string(errno)));
    QSocketNotifier *notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier]() {
        notifier->setEnabled(false);
        emit stopped();
    });
    return Failure();
}
