#include "host/traced_channel.h"

#include "host/escaped_text.h"

#include <QtCore/QTextStream>

namespace
{

const char OUT = '>';
const char IN = '<';

// Longer than any line of the protocol: a peer that never ends its line must not fill the memory.
const int MAX_LINE_LENGTH = 4096;

QString seconds(qint64 ns)
{
    return QString::number(static_cast<double>(ns) / 1e9, 'f', 6);
}

} // namespace

TracedChannel::TracedChannel(AbstractDeviceInterface &channel, QTextStream &out)
    : m_channel(channel), m_out(out), m_previousNs(0), m_direction(OUT), m_requests(0), m_replies(0)
{
    m_clock.start();
}

TracedChannel::~TracedChannel()
{
    printLine();
}

int TracedChannel::read(char *buffer, int maxLength)
{
    const int received = m_channel.read(buffer, maxLength);
    if (received > 0)
        gather(IN, buffer, qMin(received, maxLength));
    else
        printLine();
    return received;
}

int TracedChannel::write(const char *buffer, int length)
{
    // The line is printed before it leaves: a time after the wait for the port would be too late.
    gather(OUT, buffer, length);
    return m_channel.write(buffer, length);
}

int TracedChannel::control(int code, const QVariant &value)
{
    return m_channel.control(code, value);
}

int TracedChannel::getRetry()
{
    return m_channel.getRetry();
}

int TracedChannel::getStationId()
{
    return m_channel.getStationId();
}

unsigned long TracedChannel::getDelay()
{
    return m_channel.getDelay();
}

void TracedChannel::gather(char direction, const char *bytes, int length)
{
    if (direction != m_direction)
        printLine();
    m_direction = direction;
    for (int i = 0; i < length; ++i) {
        m_line += bytes[i];
        if (bytes[i] == '\n')
            ++(direction == OUT ? m_requests : m_replies);
        if (bytes[i] == '\n' || m_line.size() == MAX_LINE_LENGTH)
            printLine();
    }
}

void TracedChannel::printLine()
{
    if (m_line.isEmpty())
        return;
    const qint64 now = m_clock.nsecsElapsed();
    m_out << seconds(now) << " +" << seconds(now - m_previousNs) << ' ' << m_direction << ' '
          << escapedText(m_line) << '\n';
    m_out.flush();
    m_previousNs = now;
    m_line.clear();
}
