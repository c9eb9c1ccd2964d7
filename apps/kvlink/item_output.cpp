#include "item_output.h"

#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <cmath>

namespace
{

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
    case StatusUsage:
    case StatusUnusable:
    case StatusSome:
        break;
    }
    return "unusable";
}

QJsonValue jsonValue(ItemType type, const QString &text)
{
    switch (type) {
    case ItemType::Hex:
    case ItemType::Bin:
    case ItemType::String:
        return text;
    case ItemType::F32:
        return std::isfinite(text.toDouble()) ? QJsonValue(text.toDouble()) : QJsonValue(text);
    default:
        return text.toLongLong();
    }
}

QJsonValue textOrNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

// The stream may have any encoding: outside strings JSON is ASCII, and inside them it can be.
QString asciiJson(const QJsonObject &object)
{
    QString ascii;
    for (const QChar c : QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact))) {
        if (c.unicode() < 0x7F)
            ascii += c;
        else
            ascii += QString::fromLatin1("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
    }
    return ascii;
}

QString shown(const QString &value)
{
    return reversiblyEscapedText(value.toLatin1());
}

QString csvField(const QString &text)
{
    QString field = escapedText(text.toUtf8());
    if (field.contains(QLatin1Char(',')) || field.contains(QLatin1Char('"'))) {
        field.replace(QLatin1Char('"'), QLatin1String("\"\""));
        field = QLatin1Char('"') + field + QLatin1Char('"');
    }
    return field;
}

// A spreadsheet runs what begins with =, +, - or @ as a formula, and takes what follows an
// apostrophe as text.
QString csvValue(ItemType type, const QString &value)
{
    const bool needsMark = type == ItemType::String && !value.isEmpty() &&
                           QLatin1String("=+-@'").contains(value.at(0));
    return csvField((needsMark ? QLatin1String("'") : QLatin1String("")) + shown(value));
}

} // namespace

CLI::Option *addFormatOption(CLI::App *command, OutputFormat *format)
{
    static const std::map<std::string, OutputFormat> formats = {{"text", OutputFormat::Text},
                                                                {"json", OutputFormat::Json},
                                                                {"jsonl", OutputFormat::JsonLines},
                                                                {"csv", OutputFormat::Csv},
                                                                {"value", OutputFormat::Value}};
    return command
        ->add_option_function<std::string>(
            "--format", [format](const std::string &name) { *format = formats.at(name); },
            "Format of the output")
        ->check(CLI::IsMember({"text", "json", "jsonl", "csv", "value"}).description(""))
        ->type_name("text|json|jsonl|csv|value");
}

ItemPrinter::ItemPrinter(QTextStream &out, OutputFormat format, const QVector<Item> &items)
    : m_out(out), m_format(format), m_items(items), m_begun(false)
{}

void ItemPrinter::print(const QVector<ItemResult> &results, const QString &time)
{
    for (int i = 0; i < m_items.size(); ++i)
        printItem(i, results.at(i), time);
}

void ItemPrinter::printItem(int item, const ItemResult &result, const QString &time)
{
    switch (m_format) {
    case OutputFormat::Text:
    case OutputFormat::Value:
        printText(m_items.at(item), result, time);
        break;
    case OutputFormat::Json:
    case OutputFormat::JsonLines:
        printJson(m_items.at(item), result, time);
        break;
    case OutputFormat::Csv:
        printCsv(m_items.at(item), result, time);
        break;
    }
    m_begun = true;
}

void ItemPrinter::finish()
{
    if (m_format == OutputFormat::Json)
        m_out << (m_begun ? "\n]\n" : "[]\n");
}

void ItemPrinter::printText(const Item &item, const ItemResult &result, const QString &time)
{
    // A value that the user gave is no news to people.
    if (!item.values.isEmpty() || result.failure.status != StatusGood)
        return;
    const bool named = m_format == OutputFormat::Text && (m_items.size() > 1 || !time.isEmpty());
    if (named && !time.isEmpty())
        m_out << time << ' ';
    if (named)
        m_out << item.text;
    for (const QString &value : result.values) {
        m_out << (named ? " " : "") << shown(value);
        if (!named)
            m_out << '\n';
    }
    if (named)
        m_out << '\n';
}

void ItemPrinter::printJson(const Item &item, const ItemResult &result, const QString &time)
{
    QJsonArray values;
    for (const QString &value : result.values)
        values.append(jsonValue(item.type, value));
    QJsonObject object;
    object.insert(QLatin1String("time"), textOrNull(time));
    object.insert(QLatin1String("item"), item.text);
    object.insert(QLatin1String("address"), item.address);
    object.insert(QLatin1String("type"), itemTypeName(item.type));
    object.insert(QLatin1String("values"), values);
    object.insert(QLatin1String("operation"),
                  QLatin1String(item.values.isEmpty() ? "read" : "write"));
    object.insert(QLatin1String("status"), QLatin1String(statusName(result.failure.status)));
    object.insert(QLatin1String("error"), textOrNull(result.failure.text));
    if (m_format == OutputFormat::Json)
        m_out << (m_begun ? ",\n" : "[\n");
    m_out << asciiJson(object);
    if (m_format == OutputFormat::JsonLines)
        m_out << '\n';
}

void ItemPrinter::printCsv(const Item &item, const ItemResult &result, const QString &time)
{
    if (!m_begun)
        m_out << "time,address,type,index,value,status,error\n";
    const QString start =
        QString::fromLatin1("%1,%2,%3,").arg(time, item.address, itemTypeName(item.type));
    const QString end =
        QString::fromLatin1(",%1,%2\n")
            .arg(QLatin1String(statusName(result.failure.status)), csvField(result.failure.text));
    for (int i = 0; i < result.values.size(); ++i)
        m_out << start << i << ',' << csvValue(item.type, result.values.at(i)) << end;
    if (result.values.isEmpty())
        m_out << start << ',' << end;
}

Status reportFailures(QTextStream &err, const QVector<Item> &items,
                      const QVector<ItemResult> &results)
{
    QStringList reasons;
    QVector<QStringList> names;
    Status first = StatusDiffers; // of those that are no mere differences
    int failed = 0;
    for (int i = 0; i < results.size(); ++i) {
        const Failure &failure = results.at(i).failure;
        if (failure.status == StatusGood)
            continue;
        ++failed;
        first = first == StatusDiffers ? failure.status : first;
        int reason = reasons.indexOf(failure.text);
        if (reason < 0) {
            reason = reasons.size();
            reasons += failure.text;
            names += QStringList();
        }
        names[reason] += items.at(i).text;
    }
    for (int i = 0; i < reasons.size(); ++i) {
        const QString prefix = items.size() > 1
                                   ? names.at(i).join(QLatin1String(", ")) + QLatin1String(": ")
                                   : QString();
        complain(err, prefix + reasons.at(i), first);
    }
    if (failed == 0)
        return StatusGood;
    return failed == results.size() || first == StatusDiffers ? first : StatusSome;
}
