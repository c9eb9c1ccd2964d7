#include "apps/kvlink/progress.h"

#include <QtCore/QTextStream>

#include <unistd.h>

namespace
{

const qint64 REWRITE_MS = 200;
const qint64 LINE_MS = 30000;

} // namespace

Progress::Progress(QTextStream &err, bool isTraced)
    : m_err(err), m_isRewritten(!isTraced && isatty(STDERR_FILENO)), m_shownLength(0),
      m_shownAtMs(0)
{
    m_clock.start();
}

void Progress::show(const QString &place, qint64 done, qint64 total)
{
    const qint64 nowMs = m_clock.elapsed();
    if (nowMs - m_shownAtMs < (m_isRewritten ? REWRITE_MS : LINE_MS))
        return;
    m_shownAtMs = nowMs;
    QString text = QString::fromLatin1("%1: %2 of %3").arg(place).arg(done).arg(total);
    if (done > 0)
        text += QString::fromLatin1(", %1 s left").arg(nowMs * (total - done) / done / 1000 + 1);
    if (m_isRewritten)
        m_err << '\r' << text.leftJustified(m_shownLength);
    else
        m_err << "kvlink: " << text << '\n';
    m_shownLength = text.size();
    m_err.flush();
}

void Progress::clear()
{
    if (m_isRewritten && m_shownLength > 0)
        m_err << '\r' << QString(m_shownLength, QLatin1Char(' ')) << '\r';
    m_err.flush();
    m_shownLength = 0;
}
