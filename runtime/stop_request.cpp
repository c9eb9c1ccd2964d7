#include "runtime/stop_request.h"

#include <QtCore/QElapsedTimer>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <iterator>

#include <fcntl.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

namespace
{

const int STOP_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

// The handler may run in any thread, also in that of a simulated PLC.
std::atomic<bool> requested(false);
static_assert(ATOMIC_BOOL_LOCK_FREE == 2, "a signal handler cannot take a lock");
timespec requestedAt; // valid once it was requested

// Written by the handler and never read, so that every later wait ends at once, too.
int wakeUp[2] = {-1, -1};

// Holds a byte for each SIGUSR1 that nobody has taken yet.
int reports[2] = {-1, -1};

// From a signal handler: a full pipe wakes a reader just as well.
void writeByte(int pipe)
{
    const ssize_t written = write(pipe, "s", 1);
    static_cast<void>(written);
}

extern "C" void noteStop(int)
{
    const int error = errno;
    requestStop();
    for (int number : STOP_SIGNALS) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == noteStop)
            static_cast<void>(std::signal(number, SIG_DFL));
    }
    errno = error;
}

extern "C" void noteReport(int)
{
    const int error = errno;
    writeByte(reports[1]);
    errno = error;
}

bool handleSignal(int number, void (*handler)(int))
{
    struct sigaction action;
    sigemptyset(&action.sa_mask);
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    return sigaction(number, &action, nullptr) == 0;
}

bool watchStopSignal(int number)
{
    struct sigaction action;
    const bool isIgnored = number == SIGHUP && sigaction(number, nullptr, &action) == 0 &&
                           action.sa_handler == SIG_IGN;
    return isIgnored || handleSignal(number, noteStop);
}

} // namespace

Failure watchStopSignals()
{
    // A later call must not take the signals back that a stop has given to the system.
    static const bool isWatched =
        pipe2(wakeUp, O_CLOEXEC | O_NONBLOCK) == 0 && pipe2(reports, O_CLOEXEC | O_NONBLOCK) == 0 &&
        handleSignal(SIGUSR1, noteReport) &&
        std::all_of(std::begin(STOP_SIGNALS), std::end(STOP_SIGNALS), watchStopSignal);
    return isWatched ? Failure() : Failure(StatusOpen, QLatin1String("cannot watch for signals"));
}

void requestStop()
{
    clock_gettime(CLOCK_MONOTONIC, &requestedAt);
    requested = true;
    writeByte(wakeUp[1]);
}

bool stopRequested()
{
    return requested;
}

qint64 msSinceStop()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec - requestedAt.tv_sec) * 1000 +
           (now.tv_nsec - requestedAt.tv_nsec) / 1000000;
}

bool takeReportRequest()
{
    char taken[64];
    bool isRequested = false;
    while (read(reports[0], taken, sizeof taken) > 0)
        isRequested = true;
    return isRequested;
}

int stopDescriptor()
{
    return wakeUp[0];
}

int reportDescriptor()
{
    return reports[0];
}

bool waitForStop(qint64 ms, const std::function<void()> &report)
{
    if (ms <= 0 && !report)
        return stopRequested();
    QElapsedTimer waiting;
    waiting.start();
    qint64 left = ms;
    do {
        pollfd ends[] = {{wakeUp[0], POLLIN, 0}, {reports[0], POLLIN, 0}};
        poll(ends, report ? 2 : 1, static_cast<int>(qBound<qint64>(0, left, 60000)));
        if (report && ends[1].revents != 0 && takeReportRequest())
            report();
        left = ms - waiting.elapsed();
    } while (left > 0 && !stopRequested());
    return stopRequested();
}

bool waitForInput(int descriptor)
{
    while (!stopRequested()) {
        pollfd ends[] = {{wakeUp[0], POLLIN, 0}, {descriptor, POLLIN, 0}};
        if (poll(ends, 2, -1) > 0 && ends[1].revents != 0)
            return !stopRequested();
    }
    return false;
}
