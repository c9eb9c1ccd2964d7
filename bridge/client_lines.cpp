#include "bridge/client_lines.h"

#include "runtime/wire_line.h"

const char *ClientLines::add(const QByteArray &bytes, qint64 nowMs)
{
    if (m_begun.isEmpty())
        m_begunMs = nowMs;
    int start = 0;
    for (int end; (end = bytes.indexOf('\n', start)) >= 0; start = end + 1) {
        append(m_begun + bytes.mid(start, end + 1 - start));
        m_begun.clear();
        m_begunMs = nowMs;
        if (m_lines.last().size() > MAX_LINE)
            return "its line is longer than 16384 bytes";
        if (m_waiting > MAX_WAITING)
            return "it sends lines without waiting for replies: more than 65536 bytes wait";
    }
    m_begun += bytes.mid(start);
    return m_begun.size() >= MAX_LINE ? "it sent 16384 bytes without a line end" : nullptr;
}

const char *ClientLines::check(qint64 nowMs) const
{
    return hasBegun() && nowMs - m_begunMs > MAX_LINE_MS ? "it did not end its line within 20 s"
                                                         : nullptr;
}

void ClientLines::append(const QByteArray &line)
{
    if (parseLine(line).kind == LineKind::Open) {
        m_lines.clear();
        m_waiting = 0;
    }
    m_lines.append(line);
    m_waiting += line.size();
}

QByteArray ClientLines::take()
{
    m_waiting -= m_lines.first().size();
    return m_lines.takeFirst();
}
