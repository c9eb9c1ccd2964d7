#include "simulator/deadline_timer.h"

#include <QtCore/QSocketNotifier>

#include <ctime>

#include <sys/timerfd.h>
#include <unistd.h>

namespace
{

const qint64 NS_PER_SECOND = 1000000000;

} // namespace

DeadlineTimer::DeadlineTimer()
    : m_fd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)), m_setNs(0)
{
    if (m_fd < 0)
        return;
    QSocketNotifier *notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this]() {
        quint64 expirations = 0;
        // Nothing to read: the timer was set anew after it had fired.
        if (::read(m_fd, &expirations, sizeof expirations) <= 0)
            return;
        m_setNs = 0;
        emit due();
    });
}

DeadlineTimer::~DeadlineTimer()
{
    // The notifier goes before the descriptor that it watches.
    qDeleteAll(children());
    if (m_fd >= 0)
        ::close(m_fd);
}

void DeadlineTimer::startAt(qint64 ns)
{
    // A time of 0 would stop the timer.
    set(qMax(ns, qint64(1)));
}

void DeadlineTimer::stop()
{
    set(0);
}

void DeadlineTimer::set(qint64 ns)
{
    if (ns == m_setNs)
        return;
    itimerspec setting = {};
    setting.it_value.tv_sec = static_cast<time_t>(ns / NS_PER_SECOND);
    setting.it_value.tv_nsec = static_cast<long>(ns % NS_PER_SECOND);
    if (timerfd_settime(m_fd, TFD_TIMER_ABSTIME, &setting, nullptr) == 0)
        m_setNs = ns;
}

qint64 DeadlineTimer::nowNs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * NS_PER_SECOND + now.tv_nsec;
}
