#include "apps/kvlink/item_output.h"

#include "apps/kvlink/metric_output.h"
#include "items/csv_records.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <algorithm>
#include <cmath>

namespace
{

QJsonValue jsonValue(const Item &item, const QString &text)
{
    switch (item.type) {
    case ItemType::Hex:
    case ItemType::Bin:
        return text;
    case ItemType::String:
        return plainText(text);
    default:
        if (item.type != ItemType::F32 && !item.tag.isScaled())
            return text.toLongLong();
        return std::isfinite(text.toDouble()) ? QJsonValue(text.toDouble()) : QJsonValue(text);
    }
}

QJsonValue textOrNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QString csvValue(const Item &item, const QString &value)
{
    const QString text = shownValue(item, value);
    return item.type == ItemType::String ? csvText(text) : csvField(text);
}

void printNamed(const ItemRecord &record, QTextStream &out)
{
    if (!record.time.isEmpty())
        out << record.time << ' ';
    out << nameWithLink(record.item) << ' ' << shownWithUnit(record.item, record.result.values)
        << '\n';
}

// The user knows the values given on the command line.
bool isNews(const ItemRecord &record)
{
    return record.item.values.isEmpty() && record.result.failure.isGood();
}

void printValues(const ItemRecord &record, QTextStream &out)
{
    for (int i = 0; isNews(record) && i < record.result.values.size(); ++i)
        out << shownValue(record.item, record.result.values.at(i)) << '\n';
}

void printText(const ItemRecord &record, QTextStream &out)
{
    if (!isNews(record))
        return;
    if (record.isNamed)
        printNamed(record, out);
    for (int i = 0; !record.isNamed && i < record.result.values.size(); ++i)
        out << shownWithUnit(record.item, record.result.values.mid(i, 1)) << '\n';
}

void printJson(const ItemRecord &record, QTextStream &out)
{
    out << (record.isFirst ? "[\n" : ",\n") << asciiJson(itemObject(record));
}

void finishJson(QTextStream &out)
{
    out << "\n]\n";
}

void printJsonLine(const ItemRecord &record, QTextStream &out)
{
    out << asciiJson(itemObject(record)) << '\n';
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

void printCsv(const ItemRecord &record, QTextStream &out)
{
    const Item &item = record.item;
    QString more;
    if (record.hasTags)
        more = QString::fromLatin1(",%1,%2").arg(item.tag.name, csvText(item.tag.unit));
    if (record.hasLinks)
        more += QLatin1Char(',') + csvText(item.link);
    const ItemResult &result = record.result;
    const QString start =
        QString::fromLatin1("%1,%2,%3,").arg(record.time, item.address, itemTypeName(item.type));
    const QString end = QString::fromLatin1(",%1,%2%3\n")
                            .arg(QLatin1String(statusName(result.failure.status())),
                                 csvField(result.failure.text()), more);
    for (int i = 0; i < result.values.size(); ++i)
        out << start << i << ',' << csvValue(item, result.values.at(i)) << end;
    if (result.values.isEmpty())
        out << start << ',' << end;
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

// The cells of other links are empty.
void printWideCsv(const ItemSample &sample, QTextStream &out)
{
    const QVector<Item> &items = sample.items;
    out << sample.time;
    if (hasLinks(items))
        out << ',' << csvText(items.at(sample.first).link);
    for (int i = 0; i < items.size(); ++i) {
        const QStringList values = sample.results.value(i - sample.first).values;
        for (int j = 0; j < valueCount(items.at(i)); ++j)
            out << ',' << csvValue(items.at(i), values.value(j));
    }
    const QStringList failures =
        failureTexts(items.mid(sample.first, sample.results.size()), sample.results);
    out << ',' << statusName(statusOf(sample.results)) << ','
        << csvField(failures.join(QLatin1String("; "))) << '\n';
}

// The first is the default.
const OutputFormat FORMATS[] = {
    // name, is for people, is a live table, no rows, header, print, print sample, finish, print
    // table
    {"text", true, true, "", nullptr, printText, nullptr, nullptr, printTextTable},
    {"json", false, false, "[]\n", nullptr, printJson, nullptr, finishJson, printJsonTable},
    {"jsonl", false, false, "", nullptr, printJsonLine, nullptr, nullptr, nullptr},
    {"csv", false, false, "", csvHeader, printCsv, nullptr, nullptr, printCsvTable},
    {"csv-wide", false, false, "", wideCsvHeader, nullptr, printWideCsv, nullptr, nullptr},
    {"influx", false, false, "", nullptr, printInfluxLine, nullptr, nullptr, nullptr},
    {"prometheus", false, false, "", nullptr, nullptr, printPrometheusSample, nullptr, nullptr},
    {"value", true, false, "", nullptr, printValues, nullptr, nullptr, nullptr},
};

} // namespace

QJsonObject itemObject(const ItemRecord &record)
{
    const Item &item = record.item;
    QJsonArray values;
    for (const QString &value : record.result.values)
        values.append(jsonValue(item, value));
    QJsonObject object;
    object.insert(QLatin1String("time"), textOrNull(record.time));
    object.insert(QLatin1String("item"), item.text);
    object.insert(QLatin1String("address"), item.address);
    if (!item.link.isEmpty())
        object.insert(QLatin1String("link"), item.link);
    object.insert(QLatin1String("type"), itemTypeName(item.type));
    object.insert(QLatin1String("values"), values);
    if (!item.tag.name.isEmpty())
        object.insert(QLatin1String("unit"), textOrNull(item.tag.unit));
    object.insert(QLatin1String("operation"),
                  QLatin1String(item.values.isEmpty() ? "read" : "write"));
    object.insert(QLatin1String("status"),
                  QLatin1String(statusName(record.result.failure.status())));
    object.insert(QLatin1String("error"), textOrNull(record.result.failure.text()));
    return object;
}

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
    : m_out(out), m_format(format), m_items(items), m_hasTags(hasTags(items)),
      m_hasLinks(hasLinks(items)), m_hasHeader(hasHeader), m_begun(false)
{}

void ItemPrinter::print(const QVector<ItemResult> &results, const QString &time, int first)
{
    if (m_format.printSample) {
        begin();
        m_format.printSample({m_items, first, results, time}, m_out);
        return;
    }
    for (int i = 0; i < results.size(); ++i)
        printItem(first + i, results.at(i), time);
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
    for (const int i : qAsConst(changed)) {
        printItem(first + i, results.at(i), time);
        m_printed[first + i] = results.at(i);
    }
    return changed.size() == results.size();
}

void ItemPrinter::begin()
{
    if (!m_begun && m_hasHeader && m_format.header)
        m_out << m_format.header(m_items);
    m_begun = true;
}

void ItemPrinter::printItem(int item, const ItemResult &result, const QString &time)
{
    const ItemRecord record = {
        m_items.at(item), result,    time, !m_begun, m_items.size() > 1 || !time.isEmpty(),
        m_hasTags,        m_hasLinks};
    begin();
    m_format.print(record, m_out);
}

void ItemPrinter::finish()
{
    if (!m_begun)
        m_out << m_format.noRows;
    else if (m_format.finish)
        m_format.finish(m_out);
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
