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

extern "C" void noteStop(int)
{
    const int error = errno;
    clock_gettime(CLOCK_MONOTONIC, &requestedAt);
    requested = true;
    for (int number : STOP_SIGNALS) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == noteStop)
            static_cast<void>(std::signal(number, SIG_DFL));
    }
    const ssize_t written = write(wakeUp[1], "s", 1);
    static_cast<void>(written);
    errno = error;
}

bool watchSignal(int number)
{
    struct sigaction action;
    if (number == SIGHUP && sigaction(number, nullptr, &action) == 0 &&
        action.sa_handler == SIG_IGN)
        return true;
    sigemptyset(&action.sa_mask);
    action.sa_handler = noteStop;
    action.sa_flags = SA_RESTART;
    return sigaction(number, &action, nullptr) == 0;
}

} // namespace

bool watchStopSignals()
{
    return pipe2(wakeUp, O_CLOEXEC | O_NONBLOCK) == 0 &&
           std::all_of(std::begin(STOP_SIGNALS), std::end(STOP_SIGNALS), watchSignal);
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

bool waitForStop(qint64 ms)
{
    QElapsedTimer waiting;
    waiting.start();
    for (qint64 left = ms; left > 0 && !stopRequested(); left = ms - waiting.elapsed()) {
        pollfd end = {wakeUp[0], POLLIN, 0};
        poll(&end, 1, static_cast<int>(qMin<qint64>(left, 60000)));
    }
    return stopRequested();
}
