#include "apps/kvsim/line_trace.h"

Failure LineTrace::open(const QString &place, QTextStream &err)
{
    QTextStream *stream = &err;
    if (place != QLatin1String("-")) {
        m_file.setFileName(place);
        if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return Failure(
                StatusOpen,
                QString::fromLatin1("cannot write %1: %2").arg(place, m_file.errorString()));
        m_fileStream.setDevice(&m_file);
        stream = &m_fileStream;
    }
    m_log.reset(new TraceLog(*stream));
    return Failure();
}

void LineTrace::linePassed(char direction, const QByteArray &line)
{
    // Only the client knows its attempts.
    m_log->line(direction, line, 0);
}
