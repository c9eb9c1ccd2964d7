#include "apps/kvlink/diagnosis.h"

#include "runtime/client.h"
#include "runtime/escaped_text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <algorithm>

namespace
{

const int BINS = 12;
const int BAR_LENGTH = 40;

// A count as diagnose names it, for scripts and for people.
struct NamedCount {
    const char *name;
    int count;
    const char *text;
};

QVector<NamedCount> namedCounts(const LineCounts &counts)
{
    const char *const texts[EXCHANGE_ENDS] = {
        "exchanges with a good reply",
        "exchanges without a reply",
        "exchanges with a reply that ends early",
        "exchanges with a damaged reply",
        "exchanges with another station's reply",
        "exchanges with a reply to something else",
        "exchanges with an echo",
        "exchanges with an error reply",
    };
    QVector<NamedCount> list;
    for (size_t i = 0; i < counts.ends.size(); ++i)
        list.append({exchangeEndName(static_cast<ExchangeEnd>(i)), counts.ends[i], texts[i]});
    list.append({"parity", counts.errors.parity, "characters with a wrong parity bit"});
    list.append({"framing", counts.errors.framing, "characters without a stop bit"});
    list.append({"overrun", counts.errors.overrun, "characters that this computer lost"});
    list.append({"breaks", counts.errors.breaks, "breaks of the wire"});
    list.append({"lateBytes", counts.stray.late, "bytes after the time-out or a damaged reply"});
    list.append({"unaskedBytes", counts.stray.unasked, "bytes that were not asked for"});
    list.append({"noiseBytes", counts.stray.damaged, "bytes of noise between replies"});
    list.append({"losses", counts.losses, "times that the port or the connection was lost"});
    return list;
}

QString padded(double ms)
{
    return QString::number(ms, 'f', 2).rightJustified(10);
}

QJsonObject timesJson(const QString &name, const Statistics &statistics)
{
    return QJsonObject{
        {"request", name},
        {"requests", statistics.requests()},
        {"failed", statistics.errors()},
        {"minMs", statistics.timeMs(0)},
        {"medianMs", statistics.timeMs(50)},
        {"p99Ms", statistics.timeMs(99)},
        {"maxMs", statistics.timeMs(100)},
    };
}

QJsonArray causesJson(const LineCounts &counts)
{
    QJsonArray causes;
    for (const LineCause *cause : likelyCauses(counts))
        causes.append(
            QJsonObject{{"cause", cause->name}, {"text", cause->text}, {"check", cause->check}});
    return causes;
}

} // namespace

Diagnosis::Diagnosis(const QString &line, const LineSpeed &speed, const QStringList &kinds)
    : m_line(line), m_speed(speed), m_helped(0), m_bytes(0), m_seconds(0)
{
    for (const QString &name : kinds)
        m_kinds.append({name, Statistics()});
}

void Diagnosis::add(int kind, const RequestReport &report)
{
    m_all.add(report.figures);
    m_kinds[kind].statistics.add(report.figures);
    if (!report.figures.failed && report.figures.attempts > 1)
        ++m_helped;
    m_bytes += report.bytes;
    m_counts.add(report);
}

Status Diagnosis::status() const
{
    const QVector<const LineCause *> causes = likelyCauses(m_counts);
    if (m_all.requests() == 0 || (!causes.isEmpty() && m_counts.isSilent()))
        return StatusNoReply;
    if (causes.isEmpty())
        return StatusGood;
    return causes.size() == 1 && m_counts.of(ExchangeEnd::Refused) > 0 ? StatusPlcError
                                                                       : StatusUnusable;
}

QString Diagnosis::shortText() const
{
    return QString::fromLatin1("%1, %2 failed")
        .arg(countText(m_all.requests(), "request", "requests"))
        .arg(m_all.errors());
}

QString Diagnosis::summary() const
{
    QStringList causes;
    for (const LineCause *cause : likelyCauses(m_counts))
        causes += QLatin1String(cause->text);
    return m_all.text() + QLatin1String("; ") +
           (causes.isEmpty() ? QLatin1String("no errors") : causes.join(QLatin1String("; ")));
}

bool Diagnosis::hasSpeed() const
{
    return m_speed.baudRate > 0 && m_seconds > 0;
}

void Diagnosis::print(QTextStream &out) const
{
    out << m_line << ": " << QString::number(m_seconds, 'f', 1) << " s, " << shortText() << ", "
        << m_helped << " good after a retry\n";
    if (!m_latency.isEmpty())
        out << "latency of the port: " << m_latency << '\n';
    printCounts(out);
    printTimes(out);
    printWire(out);
    printCauses(out);
}

void Diagnosis::printCounts(QTextStream &out) const
{
    for (const NamedCount &row : namedCounts(m_counts)) {
        if (row.count > 0)
            out << QString::number(row.count).rightJustified(8) << ' ' << row.text << '\n';
    }
}

void Diagnosis::printTimes(QTextStream &out) const
{
    const QVector<TimeBin> bins = m_all.histogram(BINS);
    if (bins.isEmpty())
        return;
    int width = 0;
    for (const Kind &kind : m_kinds)
        width = qMax(width, kind.name.size());
    out << "\ntimes in ms" << QString(width - 5, QLatin1Char(' '))
        << "min    median       p99       max\n";
    for (const Kind &kind : m_kinds) {
        out << kind.name.leftJustified(width);
        for (int percent : {0, 50, 99, 100})
            out << padded(kind.statistics.timeMs(percent));
        out << '\n';
    }
    const auto fewer = [](const TimeBin &a, const TimeBin &b) { return a.requests < b.requests; };
    const int most = std::max_element(bins.begin(), bins.end(), fewer)->requests;
    out << "\n   from ms        to ms requests\n";
    for (const TimeBin &bin : bins) {
        const int length = (bin.requests * BAR_LENGTH + most - 1) / most;
        out << padded(bin.fromMs) << " to" << padded(bin.toMs)
            << QString::number(bin.requests).rightJustified(9) << (length > 0 ? " " : "")
            << QString(length, QLatin1Char('#')) << '\n';
    }
}

void Diagnosis::printWire(QTextStream &out) const
{
    if (!hasSpeed())
        return;
    const double busy = 100 * busyShare();
    out << "\ncharacters are on the wire in " << QString::number(busy, 'f', 1)
        << " % of the time at " << m_speed.baudRate
        << " baud; spare: " << QString::number(100 - busy, 'f', 1) << " %\n";
}

void Diagnosis::printCauses(QTextStream &out) const
{
    const QVector<const LineCause *> causes = likelyCauses(m_counts);
    out << '\n' << (causes.isEmpty() ? "no errors" : "likely causes, and what to check") << '\n';
    for (const LineCause *cause : causes)
        out << "- " << cause->text << "\n  check: " << cause->check << '\n';
}

QJsonObject Diagnosis::json() const
{
    QJsonObject counts;
    for (const NamedCount &row : namedCounts(m_counts))
        counts.insert(QLatin1String(row.name), row.count);
    QJsonArray times;
    for (const Kind &kind : m_kinds)
        times.append(timesJson(kind.name, kind.statistics));
    QJsonArray histogram;
    for (const TimeBin &bin : m_all.histogram(BINS))
        histogram.append(
            QJsonObject{{"fromMs", bin.fromMs}, {"toMs", bin.toMs}, {"requests", bin.requests}});
    return QJsonObject{
        {"line", m_line},
        {"latency", m_latency.isEmpty() ? QJsonValue() : QJsonValue(m_latency)},
        {"seconds", m_seconds},
        {"requests", m_all.requests()},
        {"failed", m_all.errors()},
        {"helped", m_helped},
        {"retries", m_all.retries()},
        {"counts", counts},
        {"times", times},
        {"histogram", histogram},
        {"busy", hasSpeed() ? QJsonValue(busyShare()) : QJsonValue()},
        {"causes", causesJson(m_counts)},
    };
}

QJsonObject Diagnosis::reportJson() const
{
    QJsonArray counts;
    for (const NamedCount &row : namedCounts(m_counts)) {
        if (row.count > 0)
            counts.append(QJsonArray{row.count, row.text});
    }
    return QJsonObject{{"causes", causesJson(m_counts)}, {"counts", counts}};
}
