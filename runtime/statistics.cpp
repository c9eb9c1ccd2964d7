#include "runtime/statistics.h"

#include "runtime/escaped_text.h"

#include <cmath>

namespace
{

const qint64 KEPT_LIMIT = 1000; // three digits

qint64 rounded(qint64 microseconds)
{
    qint64 unit = 1;
    while (microseconds / unit >= KEPT_LIMIT)
        unit *= 10;
    return (microseconds + unit / 2) / unit * unit;
}

QString milliseconds(double ms)
{
    return QString::number(ms, 'f', ms < 10 ? 2 : ms < 100 ? 1 : 0);
}

} // namespace

Statistics::Statistics() : m_requests(0), m_replies(0), m_retries(0), m_timeOuts(0), m_errors(0) {}

void Statistics::add(const RequestFigures &request)
{
    ++m_requests;
    m_retries += qMax(0, request.attempts - 1);
    m_timeOuts += request.timeOuts;
    if (request.failed)
        ++m_errors;
    if (!request.replied)
        return;
    ++m_replies;
    ++m_times[rounded(request.timeNs / 1000)];
}

double Statistics::timeMs(int percent) const
{
    // The nearest rank: the smallest time that enough others do not exceed.
    const qint64 rank = qMax<qint64>(1, (qint64(m_replies) * percent + 99) / 100);
    qint64 seen = 0;
    for (auto time = m_times.constBegin(); time != m_times.constEnd(); ++time) {
        seen += time.value();
        if (seen >= rank)
            return static_cast<double>(time.key()) / 1000;
    }
    return 0;
}

QVector<TimeBin> Statistics::histogram(int bins) const
{
    if (m_times.isEmpty())
        return QVector<TimeBin>();
    const double firstMs = static_cast<double>(qMax<qint64>(1, m_times.firstKey())) / 1000;
    const int count = qMin(bins, m_times.size());
    const double ratio = std::pow(timeMs(100) / firstMs, 1.0 / count);
    QVector<TimeBin> spread;
    for (int i = 0; i < count; ++i)
        spread.append({firstMs * std::pow(ratio, i), firstMs * std::pow(ratio, i + 1), 0});
    int bin = 0;
    for (auto time = m_times.constBegin(); time != m_times.constEnd(); ++time) {
        while (bin + 1 < count && static_cast<double>(time.key()) / 1000 >= spread.at(bin).toMs)
            ++bin;
        spread[bin].requests += time.value();
    }
    return spread;
}

QString Statistics::text() const
{
    QString text = countText(m_requests, "request", "requests") + QLatin1String(", ") +
                   countText(m_replies, "reply", "replies") + QLatin1String(", ") +
                   countText(m_retries, "retry", "retries") + QLatin1String(", ") +
                   countText(m_timeOuts, "time-out", "time-outs") + QLatin1String(", ") +
                   countText(m_errors, "error", "errors");
    if (m_replies > 0)
        text += QLatin1String("; ") + timesText();
    return text;
}

QString Statistics::timesText() const
{
    return QString::fromLatin1("min %1, median %2, p99 %3, max %4 ms")
        .arg(milliseconds(timeMs(0)), milliseconds(timeMs(50)), milliseconds(timeMs(99)),
             milliseconds(timeMs(100)));
}
