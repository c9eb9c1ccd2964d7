#include "apps/kvlink/item_output.h"

#include "apps/kvlink/json_output.h"
#include "apps/kvlink/metric_output.h"
#include "items/csv_records.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QStringBuilder>
#include <QtCore/QTextStream>

#include <algorithm>

namespace
{

QString csvValue(const Item &item, const QString &value)
{
    return item.type == ItemType::String ? csvText(shownValue(item, value)) : value;
}

// A name and its values have a blank between them, as a time and a name have.
QVector<QStringList> textRowParts(const QVector<Item> &items)
{
    QVector<QStringList> parts;
    for (const Item &item : items)
        parts += QStringList(nameWithLink(item) + QLatin1Char(' '));
    return parts;
}

QString spacedTime(const QString &time)
{
    return time.isEmpty() ? time : time + QLatin1Char(' ');
}

// The user knows the values given on the command line.
bool isNews(const ItemRecord &record)
{
    return record.item.values.isEmpty() && record.result.failure.isGood();
}

void printValues(const ItemRecord &record, QString *rows)
{
    for (int i = 0; isNews(record) && i < record.result.values.size(); ++i)
        *rows += shownValue(record.item, record.result.values.at(i)) % QLatin1Char('\n');
}

void printText(const ItemRecord &record, QString *rows)
{
    if (!isNews(record))
        return;
    const QStringList &values = record.result.values;
    if (record.isNamed)
        *rows += record.time % record.parts.first() % shownWithUnit(record.item, values) %
                 QLatin1Char('\n');
    for (int i = 0; !record.isNamed && i < values.size(); ++i)
        *rows += shownWithUnit(record.item, values.mid(i, 1)) % QLatin1Char('\n');
}

bool hasTags(const QVector<Item> &items)
{
    return std::any_of(items.begin(), items.end(),
                       [](const Item &item) { return !item.tag.name.isEmpty(); });
}

bool hasLinks(const QVector<Item> &items)
{
    return std::any_of(items.begin(), items.end(),
                       [](const Item &item) { return !item.link.isEmpty(); });
}

QString csvHeader(const QVector<Item> &items)
{
    return QString::fromLatin1("time,address,type,index,value,status,error%1%2\n")
        .arg(QLatin1String(hasTags(items) ? ",name,unit" : ""),
             QLatin1String(hasLinks(items) ? ",link" : ""));
}

// What stands behind the error, in front of a value that is missing, and in front of each value.
enum CsvPart { CsvEnd, BeforeNoValue, BeforeValues };

QVector<QStringList> csvRowParts(const QVector<Item> &items)
{
    const bool areTagged = hasTags(items);
    const bool areLinked = hasLinks(items);
    QVector<QStringList> parts;
    for (const Item &item : items) {
        QString end;
        if (areTagged)
            end += QLatin1Char(',') % item.tag.name % QLatin1Char(',') % csvText(item.tag.unit);
        if (areLinked)
            end += QLatin1Char(',') % csvText(item.link);
        const QString start =
            QString::fromLatin1(",%1,%2,").arg(item.address, itemTypeName(item.type));
        parts += QStringList{end + QLatin1Char('\n'), start + QLatin1Char(',')};
        for (int i = 0; i < valueCount(item); ++i)
            parts.last() += start + QString::number(i) + QLatin1Char(',');
    }
    return parts;
}

void printCsv(const ItemRecord &record, QString *rows)
{
    const QStringList &values = record.result.values;
    const Failure &failure = record.result.failure;
    const QLatin1String status(statusName(failure.status()));
    const QString error = failure ? csvField(failure.text()) : QString();
    const auto append = [&](const QString &start, const QString &value) {
        *rows += record.time % start % value % QLatin1Char(',') % status % QLatin1Char(',') %
                 error % record.parts.at(CsvEnd);
    };
    for (int i = 0; i < values.size(); ++i)
        append(record.parts.at(BeforeValues + i), csvValue(record.item, values.at(i)));
    if (values.isEmpty())
        append(record.parts.at(BeforeNoValue), QString());
}

// DM100:hex[2] has the columns DM100:hex and DM101:hex. Where several values share an address, or
// the item is not named by it, they are numbered from 0.
QString columnName(const Item &item, int index)
{
    if (!item.link.isEmpty()) {
        Item unlinked = item;
        unlinked.link.clear();
        return item.link + QLatin1Char(':') + columnName(unlinked, index);
    }
    const QString name = item.text.section(QLatin1Char('['), 0, 0);
    if (valueCount(item) == 1)
        return item.type == ItemType::String ? item.text : name;
    if (item.type != ItemType::U8 && name.startsWith(item.address, Qt::CaseInsensitive))
        return valueAddress(item, index) + name.mid(item.address.size());
    return QString::fromLatin1("%1[%2]").arg(name).arg(index);
}

QString wideCsvHeader(const QVector<Item> &items)
{
    QString header = QLatin1String(hasLinks(items) ? "time,link" : "time");
    for (const Item &item : items) {
        const QString unit =
            item.tag.unit.isEmpty() ? QString() : QString::fromLatin1(" (%1)").arg(item.tag.unit);
        for (int i = 0; i < valueCount(item); ++i)
            header += QLatin1Char(',') + csvField(columnName(item, i) + unit);
    }
    return header + QLatin1String(",status,error\n");
}

// What stands between the time and the cells of a sample that begins with the item.
QVector<QStringList> wideCsvRowParts(const QVector<Item> &items)
{
    const bool areLinked = hasLinks(items);
    QVector<QStringList> parts;
    for (const Item &item : items)
        parts += QStringList(areLinked ? QLatin1Char(',') + csvText(item.link) : QString());
    return parts;
}

// The cells of other links are empty.
void printWideCsv(const ItemSample &sample, QString *rows)
{
    const QVector<Item> &items = sample.items;
    const QVector<ItemResult> &results = sample.results;
    *rows += sample.time % sample.parts.at(sample.first).first();
    for (int i = 0; i < items.size(); ++i) {
        const QStringList values = results.value(i - sample.first).values;
        for (int j = 0; j < valueCount(items.at(i)); ++j)
            *rows += QLatin1Char(',') % csvValue(items.at(i), values.value(j));
    }
    const QStringList failures = failureTexts(items.mid(sample.first, results.size()), results);
    *rows += QLatin1Char(',') % QLatin1String(statusName(statusOf(results))) % QLatin1Char(',') %
             csvField(failures.join(QLatin1String("; "))) % QLatin1Char('\n');
}

// The first is the default.
const OutputFormat FORMATS[] = {
    // name, is for people, is a live table, no rows, header, row parts, time, print, print sample,
    // end, print table, has state
    {"text", true, true, "", nullptr, textRowParts, spacedTime, printText, nullptr, nullptr,
     printTextTable, false},
    {"json", false, false, "[]\n", nullptr, jsonRowParts, jsonTime, printJson, nullptr, "\n]\n",
     printJsonTable, false},
    {"jsonl", false, false, "", nullptr, jsonRowParts, jsonTime, printJsonLine, nullptr, nullptr,
     nullptr, false},
    {"csv", false, false, "", csvHeader, csvRowParts, nullptr, printCsv, nullptr, nullptr,
     printCsvTable, false},
    {"csv-wide", false, false, "", wideCsvHeader, wideCsvRowParts, nullptr, nullptr, printWideCsv,
     nullptr, nullptr, false},
    {"influx", false, false, "", nullptr, influxRowParts, influxTime, printInfluxLine, nullptr,
     nullptr, nullptr, false},
    {"prometheus", false, false, "", nullptr, prometheusRowParts, nullptr, nullptr,
     printPrometheusSample, nullptr, nullptr, true},
    {"value", true, false, "", nullptr, nullptr, nullptr, printValues, nullptr, nullptr, nullptr,
     false},
};

} // namespace

const char *statusName(Status status)
{
    switch (status) {
    case StatusGood:
        return "ok";
    case StatusPlcError:
        return "plc-error";
    case StatusOpen:
        return "not-open";
    case StatusNoReply:
        return "no-reply";
    case StatusDiffers:
        return "differs";
    case StatusSome:
        return "some";
    case StatusUsage:
        return "usage";
    case StatusUnusable:
        break;
    }
    return "unusable";
}

QString shownValues(const Item &item, const QStringList &values)
{
    QStringList shown;
    for (const QString &value : values)
        shown += shownValue(item, value);
    return shown.join(QLatin1Char(' '));
}

QString shownWithUnit(const Item &item, const QStringList &values)
{
    const QString &unit = item.tag.unit;
    return shownValues(item, values) + (unit.isEmpty() ? unit : QLatin1Char(' ') + unit);
}

Status statusOf(const QVector<ItemResult> &results)
{
    Status first = StatusDiffers; // of those that are more than differences
    int failed = 0;
    for (const ItemResult &result : results) {
        failed += result.failure ? 1 : 0;
        if (result.failure && first == StatusDiffers)
            first = result.failure.status();
    }
    if (failed == 0)
        return StatusGood;
    return failed == results.size() || first == StatusDiffers ? first : StatusSome;
}

QStringList failureTexts(const QVector<Item> &items, const QVector<ItemResult> &results)
{
    QStringList reasons;
    QVector<QStringList> names;
    for (int i = 0; i < results.size(); ++i) {
        const Failure &failure = results.at(i).failure;
        if (!failure)
            continue;
        int reason = reasons.indexOf(failure.text());
        if (reason < 0) {
            reason = reasons.size();
            reasons += failure.text();
            names += QStringList();
        }
        names[reason] += items.at(i).text;
    }
    for (int i = 0; i < reasons.size() && items.size() > 1; ++i)
        reasons[i].prepend(names.at(i).join(QLatin1String(", ")) + QLatin1String(": "));
    return reasons;
}

const OutputFormat *defaultFormat()
{
    return &FORMATS[0];
}

CLI::Option *addFormatOption(CLI::App *command, const OutputFormat **format, OutputKind kind)
{
    std::vector<std::string> names;
    std::string list;
    for (const OutputFormat &row : FORMATS) {
        const bool isCsv = row.header;
        if (kind != OutputKind::Items && (!row.printTable || (isCsv && kind == OutputKind::Object)))
            continue;
        names.push_back(row.name);
        list += (list.empty() ? "" : "|") + names.back();
    }
    return command
        ->add_option_function<std::string>(
            "--format",
            [format](const std::string &name) {
                for (const OutputFormat &row : FORMATS)
                    *format = name == row.name ? &row : *format;
            },
            "Format of the output")
        ->default_str(FORMATS[0].name)
        ->check(CLI::IsMember(names).description(""))
        ->type_name(list);
}

ItemPrinter::ItemPrinter(QTextStream &out, const OutputFormat &format, const QVector<Item> &items,
                         bool hasHeader)
    : m_out(out), m_format(format), m_items(items),
      m_parts(format.rowParts ? format.rowParts(items) : QVector<QStringList>(items.size())),
      m_hasHeader(hasHeader), m_begun(false)
{}

void ItemPrinter::print(const QVector<ItemResult> &results, const QString &time, int first)
{
    const QString shownTime = timeText(time);
    if (m_format.printSample) {
        begin();
        m_format.printSample({m_items, first, results, m_parts, shownTime}, &m_rows);
    }
    for (int i = 0; !m_format.printSample && i < results.size(); ++i)
        appendItem(first + i, results.at(i), shownTime);
    writeRows();
}

bool ItemPrinter::hasChanged(int item, const ItemResult &result) const
{
    const auto found = m_printed.constFind(item);
    if (found == m_printed.constEnd())
        return true;
    const ItemResult &printed = found.value();
    return printed.failure.status() != result.failure.status() ||
           haveMoved(m_items.at(item), printed.values, result.values);
}

bool ItemPrinter::printChanges(const QVector<ItemResult> &results, const QString &time, int first)
{
    QVector<int> changed;
    for (int i = 0; i < results.size(); ++i) {
        if (hasChanged(first + i, results.at(i)))
            changed += i;
    }
    if (m_format.printSample && !changed.isEmpty()) {
        print(results, time, first);
        for (int i = 0; i < results.size(); ++i)
            m_printed[first + i] = results.at(i);
        return true;
    }
    const QString shownTime = timeText(time);
    for (const int i : qAsConst(changed)) {
        appendItem(first + i, results.at(i), shownTime);
        m_printed[first + i] = results.at(i);
    }
    writeRows();
    return changed.size() == results.size();
}

QString ItemPrinter::timeText(const QString &time) const
{
    return m_format.timeText ? m_format.timeText(time) : time;
}

void ItemPrinter::begin()
{
    if (!m_begun && m_hasHeader && m_format.header)
        m_rows += m_format.header(m_items);
    m_begun = true;
}

void ItemPrinter::appendItem(int item, const ItemResult &result, const QString &time)
{
    const ItemRecord record = {m_items.at(item), result,
                               m_parts.at(item), time,
                               !m_begun,         m_items.size() > 1 || !time.isEmpty()};
    begin();
    m_format.print(record, &m_rows);
}

void ItemPrinter::writeRows()
{
    m_out << m_rows;
    m_rows.truncate(0); // and its room stays
}

void ItemPrinter::finish()
{
    if (!m_begun)
        m_out << m_format.noRows;
    else if (m_format.end)
        m_out << m_format.end;
    m_out.flush(); // a serial link may wait when it closes
}

void printLines(const QByteArray &lines, QTextStream &out)
{
    for (const QByteArray &line : QByteArray(lines).replace("\r\n", "\n").split('\n')) {
        if (!line.isEmpty())
            out << escapedText(line) << '\n';
    }
}

Status reportFailures(QTextStream &err, const QVector<Item> &items,
                      const QVector<ItemResult> &results)
{
    const Status status = statusOf(results);
    for (const QString &text : failureTexts(items, results))
        complain(err, text, status);
    return status;
}
