#include "runtime/traced_channel.h"

#include "runtime/trace_log.h"

#include <algorithm>

namespace
{

const char OUT = '>';
const char IN = '<';

// Longer than any line of the protocol: a peer that never ends its line must not fill the memory.
const int MAX_LINE_LENGTH = 4096;

} // namespace

TracedChannel::TracedChannel(AbstractDeviceInterface &channel, TraceLog *log)
    : m_channel(channel), m_log(log), m_direction(OUT), m_bytes(0), m_inRequest(false),
      m_isAttemptNew(false)
{}

TracedChannel::~TracedChannel()
{
    endLine();
}

void TracedChannel::beginRequest()
{
    endLine();
    m_record = RequestRecord();
    m_inRequest = true;
}

void TracedChannel::endRequest()
{
    endLine();
    endExchange();
    m_inRequest = false;
}

int TracedChannel::read(char *buffer, int maxLength)
{
    const int received = m_channel.read(buffer, maxLength);
    if (received > 0) {
        gather(IN, buffer, qMin(received, maxLength));
    } else {
        ++m_record.timeOuts;
        endLine();
    }
    return received;
}

int TracedChannel::write(const char *buffer, int length)
{
    const int written = m_channel.write(buffer, length);
    gather(OUT, buffer, qBound(0, written, length));
    return written;
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
    beginAttempt();
    return m_channel.getDelay();
}

void TracedChannel::gather(char direction, const char *bytes, int length)
{
    if (direction != m_direction)
        endLine();
    m_direction = direction;
    m_bytes += length;
    if (direction == IN) {
        m_record.received += length;
    } else if (m_isAttemptNew && length > 0) {
        m_isAttemptNew = false;
        ++m_record.attempts;
    }
    const char *const end = bytes + length;
    while (bytes != end) {
        const char *const room = bytes + qMin<qint64>(end - bytes, MAX_LINE_LENGTH - m_line.size());
        const char *const lineEnd = std::find(bytes, room, '\n');
        const char *const next = lineEnd == room ? room : lineEnd + 1;
        m_line.append(bytes, static_cast<int>(next - bytes));
        if (lineEnd != room || m_line.size() == MAX_LINE_LENGTH)
            endLine();
        bytes = next;
    }
}

void TracedChannel::note(char direction)
{
    if (direction == IN) {
        if (m_record.reply.size() < MAX_LINE_LENGTH)
            m_record.reply += m_line;
        if (m_record.sent == m_record.dataLine && m_record.dataReply.isEmpty())
            m_record.dataReply = m_line;
        if (parseReply(m_line).kind == ReplyKind::Refused) {
            m_record.refused = m_record.sent;
            m_record.errorReply = m_line;
        }
        return;
    }
    endExchange();
    m_record.sent = m_line;
    m_record.reply.clear();
    const LineKind kind = parseLine(m_line).kind;
    if (kind != LineKind::Open && kind != LineKind::Close) {
        m_record.dataLine = m_line;
        m_record.dataReply.clear();
    }
}

void TracedChannel::endExchange()
{
    if (!m_record.sent.isEmpty())
        ++m_record.ends[static_cast<size_t>(exchangeEnd(m_record.sent, m_record.reply))];
}

void TracedChannel::endLine()
{
    if (m_line.isEmpty())
        return;
    note(m_direction);
    if (m_log)
        m_log->line(m_direction, m_line, m_inRequest ? m_record.attempts : 0);
    m_line.clear();
}
