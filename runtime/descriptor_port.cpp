#include "runtime/descriptor_port.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <climits>

#include <poll.h>

DescriptorPort::DescriptorPort() : m_descriptor(-1)
{
    m_clock.start();
}

void DescriptorPort::keepFromEventLoop(const QObject &device)
{
    const auto notifiers = device.findChildren<QSocketNotifier *>();
    for (QSocketNotifier *notifier : notifiers)
        notifier->setEnabled(false);
}

void DescriptorPort::setBroken(const QString &text)
{
    if (m_brokenText.isEmpty())
        m_brokenText = text;
}

int DescriptorPort::read(char *buffer, int maxLength)
{
    if (isBroken() || maxLength <= 0)
        return 0;
    qint64 received;
    do {
        received = readSome(buffer, maxLength);
    } while (received < 0 && errno == EINTR);
    if (received > 0)
        return static_cast<int>(received);
    if (received == 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
        setBroken(lossText(received == 0 ? 0 : errno));
    return 0;
}

int DescriptorPort::write(const char *bytes, int length, int timeoutMs)
{
    if (isBroken())
        return -1;
    const qint64 endMs = nowMs() + timeoutMs;
    int sent = 0;
    while (sent < length) {
        const qint64 written = writeSome(bytes + sent, length - sent);
        if (written > 0) {
            sent += static_cast<int>(written);
        } else if (written < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            setBroken(lossText(errno));
            return -1;
        } else if (nowMs() >= endMs || !wait(POLLOUT, endMs - nowMs())) {
            giveUpOutput();
            break;
        }
    }
    return sent;
}

bool DescriptorPort::waitForInput(qint64 ms)
{
    return !isBroken() && wait(POLLIN, ms);
}

bool DescriptorPort::wait(short events, qint64 ms)
{
    const qint64 endMs = ms > 0 ? nowMs() + ms : 0;
    qint64 leftMs = qMax<qint64>(0, ms);
    for (;;) {
        pollfd ready = {m_descriptor, events, 0};
        const int count = poll(&ready, 1, static_cast<int>(qMin<qint64>(leftMs, INT_MAX)));
        if (count >= 0 || errno != EINTR)
            return count > 0;
        leftMs = ms > 0 ? qMax<qint64>(0, endMs - nowMs()) : 0;
    }
}
