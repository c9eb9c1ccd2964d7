#include "bridge/client_lines.h"

#include "runtime/wire_line.h"

QString ClientLines::add(const QByteArray &bytes, qint64 nowMs)
{
    if (m_begun.isEmpty())
        m_begunMs = nowMs;
    int start = 0;
    for (int end; (end = bytes.indexOf('\n', start)) >= 0; start = end + 1) {
        append(m_begun + bytes.mid(start, end + 1 - start));
        m_begun.clear();
        m_begunMs = nowMs;
        if (m_lines.last().size() > MAX_LINE)
            return QString::fromLatin1("its line is longer than %1 bytes").arg(MAX_LINE);
        if (m_waiting > MAX_WAITING)
            return QString::fromLatin1("it sends lines without waiting for replies: more than %1 "
                                       "bytes wait")
                .arg(MAX_WAITING);
    }
    m_begun += bytes.mid(start);
    return m_begun.size() >= MAX_LINE
               ? QString::fromLatin1("it sent %1 bytes without a line end").arg(MAX_LINE)
               : QString();
}

QString ClientLines::check(qint64 nowMs) const
{
    return hasBegun() && nowMs - m_begunMs > MAX_LINE_MS
               ? QString::fromLatin1("it did not end its line within %1 s").arg(MAX_LINE_MS / 1000)
               : QString();
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
