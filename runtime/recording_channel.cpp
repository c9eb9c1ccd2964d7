#include "runtime/recording_channel.h"

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
    if (line.startsWith("CR "))
        m_reply = "CC " + line.mid(3);
    else if (line.startsWith("CQ"))
        m_reply = "CF\r\n";
    else
        m_reply = line.startsWith("RDS ") ? "E0\r\n" : "OK\r\n";
    return length;
}

int RecordingChannel::control(int, const QVariant &)
{
    m_reply.clear();
    return 1;
}
