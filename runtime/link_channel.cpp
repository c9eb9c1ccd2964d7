#include "runtime/link_channel.h"

#include "runtime/device_channel.h"
#include "runtime/stop_request.h"
#include "runtime/wire_line.h"

#include <QtCore/QVariant>

LinkChannel::LinkChannel(DeviceChannel &channel, int timeoutMs, TraceLog *log)
    : TracedChannel(channel, log), m_deviceChannel(channel), m_timeoutMs(timeoutMs),
      m_isClosed(false)
{}

void LinkChannel::pauseBeforeAttempt()
{
    beginAttempt();
    waitForStop(static_cast<qint64>(m_deviceChannel.getDelay()));
}

void LinkChannel::noteFailedAttempt()
{
    m_deviceChannel.noteFailedAttempt();
}

void LinkChannel::discardInput()
{
    control(AbstractDeviceInterface::DiscardInput, QVariant(0));
}

QByteArray LinkChannel::exchange(const QByteArray &line, int lines, int maxLength)
{
    write(line.constData(), line.size());
    QByteArray reply;
    char buffer[512];
    while (reply.size() < maxLength && !(reply.endsWith('\n') && reply.count('\n') >= lines)) {
        const int room = qMin<int>(sizeof buffer, maxLength - reply.size());
        const int count = read(buffer, room);
        if (count <= 0)
            break;
        reply.append(buffer, count);
    }
    return reply;
}

int LinkChannel::read(char *buffer, int maxLength)
{
    if (stopRequested()) {
        const qint64 leftMs = m_timeoutMs - msSinceStop();
        m_isClosed = m_isClosed || leftMs <= 0;
        m_deviceChannel.setTimeout(static_cast<int>(qMax<qint64>(0, leftMs)));
    }
    return m_isClosed ? 0 : TracedChannel::read(buffer, maxLength);
}

int LinkChannel::write(const char *buffer, int length)
{
    m_isClosed = stopRequested() && parseLine(QByteArray(buffer, length)).kind == LineKind::Open;
    return m_isClosed ? -1 : TracedChannel::write(buffer, length);
}

int LinkChannel::getRetry()
{
    const int retry = m_deviceChannel.getRetry();
    return stopRequested() ? 0 : retry;
}

unsigned long LinkChannel::getDelay()
{
    pauseBeforeAttempt();
    return 0;
}
