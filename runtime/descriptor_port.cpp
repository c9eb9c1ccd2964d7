#include "runtime/descriptor_port.h"

#include "tools/host_environment.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <climits>

#include <poll.h>

namespace
{

inline int pollOnce(int descriptor, short events, qint64 ms)
{
    pollfd ready = {descriptor, events, 0};
    return poll(&ready, 1, static_cast<int>(qBound<qint64>(0, ms, INT_MAX)));
}

// Goes on after a signal.
__attribute__((cold, noinline)) bool waitAgain(int descriptor, short events, qint64 endMs)
{
    int count;
    do {
        count = pollOnce(descriptor, events, endMs - CurrentMSecsSinceBoot());
    } while (count < 0 && errno == EINTR);
    return count > 0;
}

} // namespace

DescriptorPort::DescriptorPort() : m_descriptor(-1) {}

void DescriptorPort::keepFromEventLoop(const QObject &device)
{
    const auto notifiers = device.findChildren<QSocketNotifier *>();
    for (QSocketNotifier *notifier : notifiers)
        notifier->setEnabled(false);
}

qint64 DescriptorPort::nowMs() const
{
    return CurrentMSecsSinceBoot();
}

__attribute__((cold)) void DescriptorPort::noteLoss(int error)
{
    setBroken(lossText(error));
}

void DescriptorPort::setBroken(const QString &text)
{
    if (m_brokenText.isEmpty())
        m_brokenText = text;
}

int DescriptorPort::read(char *buffer, int maxLength)
{
    if (hasBroken() || maxLength <= 0)
        return 0;
    qint64 received;
    do {
        received = readSome(buffer, maxLength);
    } while (received < 0 && errno == EINTR);
    if (received > 0)
        return static_cast<int>(received);
    if (received == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
        noteLoss(received == 0 ? 0 : errno);
    return 0;
}

int DescriptorPort::write(const char *bytes, int length, int timeoutMs)
{
    if (hasBroken())
        return -1;
    int sent = 0;
    for (qint64 endMs = -1; sent < length;) {
        const qint64 written = writeSome(bytes + sent, length - sent);
        if (written > 0) {
            sent += static_cast<int>(written);
        } else if (written < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            noteLoss(errno);
            return -1;
        } else if (!waitForRoom(&endMs, timeoutMs)) {
            giveUpOutput();
            break;
        }
    }
    return sent;
}

// Waits until the system takes more, for the time-out at most from the first call, which sets the
// end.
__attribute__((cold, noinline)) bool DescriptorPort::waitForRoom(qint64 *endMs, int timeoutMs)
{
    if (*endMs < 0)
        *endMs = nowMs() + timeoutMs;
    const qint64 leftMs = *endMs - nowMs();
    return leftMs > 0 && wait(POLLOUT, leftMs);
}

bool DescriptorPort::waitForInput(qint64 ms)
{
    return !hasBroken() && wait(POLLIN, ms);
}

bool DescriptorPort::wait(short events, qint64 ms)
{
    const qint64 endMs = ms > 0 ? CurrentMSecsSinceBoot() + ms : 0;
    const int count = pollOnce(m_descriptor, events, ms);
    return count > 0 || (count < 0 && errno == EINTR && waitAgain(m_descriptor, events, endMs));
}
