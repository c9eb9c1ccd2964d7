#include "apps/kvlink/run_report.h"

#include "apps/option_checks.h"
#include "apps/kvlink/report_page.h"
#include "runtime/trace_log.h"
#include "runtime/whole_file.h"

#include <CLI/CLI.hpp>

#include <QtCore/QDateTime>

#include <cmath>

namespace
{

const int PAGE_BINS = 20;

// Most points of a plot's series, values in plots, and points of all of them together.
const int MAX_TIMES = 4000;
const int MAX_READINGS = 48;
const int MAX_POINTS = 60000;

// Most rows of a table.
const int MAX_ROWS = 200;

double rounded(double ms)
{
    return std::round(ms * 1000) / 1000;
}

QJsonArray pointsJson(const ThinnedSeries &series)
{
    QJsonArray points;
    for (const QPointF &point : series.points())
        points.append(QJsonArray{point.x(), point.y()});
    return points;
}

} // namespace

void addReportOption(CLI::App *command, QString *path)
{
    addText(*command, "--report", path, "FILE", "Write a page with plots of the run");
}

RunReport::RunReport(const QString &path, const QString &title, const QStringList &kinds,
                     const QStringList &links)
    : m_path(path), m_title(title), m_kinds(kinds), m_links(links),
      m_startMs(QDateTime::currentMSecsSinceEpoch()), m_startText(wallTime()),
      m_times(kinds.size(), ThinnedSeries(qMin(MAX_TIMES, MAX_POINTS / kinds.size()))),
      m_moreReadings(0), m_moreOutages(0), m_outageOf(links.size(), -1), m_moreFailures(0)
{
    m_clock.start();
}

Failure RunReport::check() const
{
    return isWanted() ? checkWholeFile(m_path) : Failure();
}

void RunReport::watch(Client *client, int kind, int link)
{
    if (isWanted())
        client->observe(
            [this, kind, link](const RequestReport &request) { addRequest(kind, request, link); });
}

double RunReport::nowMs() const
{
    return rounded(static_cast<double>(m_clock.nsecsElapsed()) / 1e6);
}

void RunReport::addRequest(int kind, const RequestReport &request, int link)
{
    if (!isWanted())
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_statistics.add(request.figures);
    const double tookMs = rounded(static_cast<double>(request.figures.timeNs) / 1e6);
    if (request.figures.replied)
        m_times[kind].add({nowMs(), qMax(0.001, tookMs)});
    if (m_outageOf.at(link) >= 0)
        m_outages[m_outageOf.at(link)].toMs = nowMs();
    if (request.failure)
        noteFailure(request, link);
    if (request.figures.replied)
        m_outageOf[link] = -1;
}

void RunReport::noteFailure(const RequestReport &request, int link)
{
    const QString text = aboutLink(m_links.at(link), request.failure.text());
    const bool isOut = m_outageOf.at(link) >= 0;
    const double beganMs = nowMs() - static_cast<double>(request.figures.timeNs) / 1e6;
    const bool isOutage = request.failure.status() == StatusNoReply;
    if (isOutage && m_outages.size() < MAX_ROWS && !isOut) {
        m_outageOf[link] = m_outages.size();
        m_outages.append({rounded(qMax(0.0, beganMs)), nowMs(), text});
    } else if (isOutage) {
        m_moreOutages += isOut ? 0 : 1;
    } else if (m_failures.size() < MAX_ROWS) {
        m_failures.append(QJsonObject{{"at", nowMs()}, {"text", text}});
    } else {
        ++m_moreFailures;
    }
}

void RunReport::setItems(const QVector<Item> &items)
{
    m_items = items;
    int count = 0;
    for (const Item &item : items)
        count += valueCount(item);
    m_moreReadings = qMax(0, count - MAX_READINGS);
    const ThinnedSeries empty(qMin(MAX_TIMES, MAX_POINTS / qMin(count, MAX_READINGS)));
    for (int i = 0; i < items.size(); ++i) {
        const Item &item = items.at(i);
        const int values = valueCount(item);
        for (int n = 0; n < values && m_readings.size() < MAX_READINGS; ++n)
            m_readings.append({values > 1
                                   ? QString::fromLatin1("%1 (%2)").arg(nameWithLink(item)).arg(n)
                                   : nameWithLink(item),
                               item.tag.unit, i, empty, 0, 0, QString()});
    }
}

void RunReport::addSample(int first, const QVector<ItemResult> &results)
{
    if (!isWanted())
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    int n = 0;
    for (int i = 0; i < m_readings.size(); ++i) {
        const int item = m_readings.at(i).item;
        n = i > 0 && m_readings.at(i - 1).item == item ? n + 1 : 0;
        const QStringList values = results.value(item - first).values;
        if (n < values.size())
            take(m_items.at(item), values.at(n), &m_readings[i]);
    }
}

void RunReport::take(const Item &item, const QString &value, Reading *reading)
{
    bool isNumber = false;
    double number = value.toDouble(&isNumber);
    if (item.type == ItemType::Bin || !isNumber)
        number =
            static_cast<double>(value.toLongLong(&isNumber, item.type == ItemType::Bin ? 2 : 0));
    const bool isText = item.type == ItemType::String;
    reading->latest = isText ? shownText(value, item.textForm) : value;
    if (isText || !isNumber || !std::isfinite(number))
        return;
    const bool isFirst = reading->points.isEmpty();
    reading->least = isFirst ? number : qMin(reading->least, number);
    reading->most = isFirst ? number : qMax(reading->most, number);
    reading->points.add({nowMs(), number});
}

QJsonArray RunReport::timesJson() const
{
    QJsonArray lists;
    for (int i = 0; i < m_kinds.size(); ++i) {
        if (!m_times.at(i).isEmpty())
            lists.append(
                QJsonObject{{"label", m_kinds.at(i)}, {"points", pointsJson(m_times.at(i))}});
    }
    return lists;
}

// The values of an item share a plot.
QJsonArray RunReport::valuesJson() const
{
    QJsonArray items;
    QJsonArray series;
    for (int i = 0; i < m_readings.size(); ++i) {
        const Reading &reading = m_readings.at(i);
        series.append(QJsonObject{{"label", reading.label},
                                  {"least", reading.least},
                                  {"most", reading.most},
                                  {"latest", reading.latest},
                                  {"points", pointsJson(reading.points)}});
        if (i + 1 < m_readings.size() && m_readings.at(i + 1).item == reading.item)
            continue;
        items.append(QJsonObject{{"unit", reading.unit}, {"series", series}});
        series = QJsonArray();
    }
    return items;
}

QJsonArray RunReport::outagesJson() const
{
    QJsonArray outages;
    for (const Outage &outage : m_outages)
        outages.append(
            QJsonObject{{"from", outage.fromMs}, {"to", outage.toMs}, {"text", outage.text}});
    return outages;
}

QJsonArray RunReport::factsJson(const QVector<ReportedLink> &links) const
{
    QJsonArray facts = {QJsonArray{"From", m_startText}, QJsonArray{"To", wallTime()}};
    for (int i = 0; i < links.size(); ++i) {
        const QString station = QString::number(links.at(i).client->station());
        const QString requests = links.at(i).client->statistics().text();
        if (links.size() > 1) {
            facts.append(QJsonArray{m_links.at(i), QString::fromLatin1("%1, station %2: %3")
                                                       .arg(links.at(i).line, station, requests)});
            continue;
        }
        facts.prepend(QJsonArray{"Station", station});
        facts.prepend(QJsonArray{"Line", links.at(i).line});
        facts.append(QJsonArray{"Requests", requests});
    }
    return facts;
}

Failure RunReport::write(const QString &line, const Client &client, QJsonObject extra)
{
    return write(QVector<ReportedLink>{{line, &client}}, extra);
}

Failure RunReport::write(const QVector<ReportedLink> &links, QJsonObject extra)
{
    if (!isWanted())
        return Failure();
    const int offset = QDateTime::fromMSecsSinceEpoch(m_startMs).offsetFromUtc() / 60;
    QJsonArray histogram;
    for (const TimeBin &bin : m_statistics.histogram(PAGE_BINS))
        histogram.append(QJsonArray{bin.fromMs, bin.toMs, bin.requests});
    extra.insert("facts", factsJson(links));
    const QPair<const char *, QJsonValue> members[] = {
        {"title", m_title},         {"start", static_cast<double>(m_startMs)},
        {"end", nowMs()},           {"offset", offset},
        {"times", timesJson()},     {"histogram", histogram},
        {"outages", outagesJson()}, {"moreOutages", m_moreOutages},
        {"failures", m_failures},   {"moreFailures", m_moreFailures},
        {"values", valuesJson()},   {"moreValues", m_moreReadings},
    };
    for (const auto &member : members)
        extra.insert(QLatin1String(member.first), member.second);
    return writeWholeFile(m_path, reportPage(extra));
}
