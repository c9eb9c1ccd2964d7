#include "apps/kvlink/progress.h"

#include "runtime/trace_log.h"

#include <QtCore/QTextStream>

#include <unistd.h>

namespace
{

const qint64 REWRITE_MS = 200;
const qint64 LINE_MS = 30000;

} // namespace

RewrittenLine::RewrittenLine(QTextStream &err, const QString &trace)
    : m_err(err), m_isShown(trace != QLatin1String(TRACE_TO_STDERR) && isatty(STDERR_FILENO) == 1),
      m_length(0)
{}

void RewrittenLine::show(const QString &text)
{
    if (!m_isShown)
        return;
    m_err << '\r' << text.leftJustified(m_length);
    m_err.flush();
    m_length = text.size();
}

void RewrittenLine::clear()
{
    if (m_length > 0)
        m_err << '\r' << QString(m_length, QLatin1Char(' ')) << '\r';
    m_err.flush();
    m_length = 0;
}

Progress::Progress(QTextStream &err, const QString &trace)
    : m_err(err), m_line(err, trace), m_shownAtMs(0)
{
    m_clock.start();
}

void Progress::show(const QString &place, qint64 done, qint64 total)
{
    const qint64 nowMs = m_clock.elapsed();
    if (nowMs - m_shownAtMs < (m_line.isShown() ? REWRITE_MS : LINE_MS))
        return;
    m_shownAtMs = nowMs;
    QString text = QString::fromLatin1("%1: %2 of %3").arg(place).arg(done).arg(total);
    if (done > 0)
        text += QString::fromLatin1(", %1 s left").arg(nowMs * (total - done) / done / 1000 + 1);
    if (!m_line.isShown()) {
        m_err << "kvlink: " << text << '\n';
        m_err.flush();
    }
    m_line.show(text);
}
