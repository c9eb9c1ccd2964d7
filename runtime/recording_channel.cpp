#include "runtime/recording_channel.h"

#include "runtime/wire_line.h"

#include <cstring>

int RecordingChannel::read(char *buffer, int maxLength)
{
    const int length = qMin(m_reply.size(), maxLength);
    std::memcpy(buffer, m_reply.constData(), static_cast<size_t>(length));
    m_reply.remove(0, length);
    return length;
}

int RecordingChannel::write(const char *buffer, int length)
{
    const QByteArray line(buffer, length);
    m_sent += line;
    const WireLine parsed = parseLine(line);
    m_reply = parsed.kind == LineKind::Read ? "E0\r\n" : replyOfSuccess(parsed);
    return length;
}

int RecordingChannel::control(int, const QVariant &)
{
    m_reply.clear();
    return 1;
}
