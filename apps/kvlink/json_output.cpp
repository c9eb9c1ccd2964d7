#include "apps/kvlink/json_output.h"

#include "apps/kvlink/item_output.h"

#include <QtCore/QLocale>
#include <QtCore/QStringBuilder>

#include <cmath>

namespace
{

// The part up to each member that differs from sample to sample.
enum RowPart { ToError, ToStatus, ToTime, ToValues };

// Whole numbers below it are written without an exponent.
const double PLAIN_LIMIT = std::ldexp(1.0, 64);

QString textOrNull(const QString &text)
{
    return text.isEmpty() ? QString::fromLatin1("null") : jsonText(text);
}

// The shortest text that no other number has.
QString jsonNumber(double number)
{
    const bool isPlain = std::fabs(number) < PLAIN_LIMIT && std::floor(number) == number;
    return QString::number(number + 0.0, isPlain ? 'f' : 'g', // no "-0"
                           QLocale::FloatingPointShortest);
}

QString jsonValue(const Item &item, const QString &text)
{
    switch (item.type) {
    case ItemType::Hex:
    case ItemType::Bin:
        return jsonText(text);
    case ItemType::String:
        return jsonText(plainText(text));
    default:
        if (item.type != ItemType::F32 && !item.tag.isScaled())
            return text;
        return std::isfinite(text.toDouble()) ? jsonNumber(text.toDouble()) : jsonText(text);
    }
}

// The members come in alphabetical order.
QStringList rowParts(const Item &item)
{
    const QString link = item.link.isEmpty()
                             ? QString()
                             : QLatin1String("\"link\":") % jsonText(item.link) % QLatin1Char(',');
    const QString unit = item.tag.name.isEmpty() ? QString()
                                                 : QLatin1String("\"unit\":") %
                                                       textOrNull(item.tag.unit) % QLatin1Char(',');
    const QLatin1String operation(item.values.isEmpty() ? "read" : "write");
    return {
        QLatin1String("{\"address\":") % jsonText(item.address) % QLatin1String(",\"error\":"),
        QLatin1String(",\"item\":") % jsonText(item.text) % QLatin1Char(',') % link %
            QLatin1String("\"operation\":\"") % operation % QLatin1String("\",\"status\":\""),
        QLatin1String("\",\"time\":"),
        QLatin1String(",\"type\":\"") % itemTypeName(item.type) % QLatin1String("\",") % unit %
            QLatin1String("\"values\":["),
    };
}

void appendObject(const ItemRecord &record, QString *rows)
{
    const Failure &failure = record.result.failure;
    const QStringList &parts = record.parts;
    *rows += parts.at(ToError) % textOrNull(failure.text()) % parts.at(ToStatus) %
             QLatin1String(statusName(failure.status())) % parts.at(ToTime) % record.time %
             parts.at(ToValues);
    const QStringList &values = record.result.values;
    for (int i = 0; i < values.size(); ++i) {
        if (i > 0)
            *rows += QLatin1Char(',');
        *rows += jsonValue(record.item, values.at(i));
    }
    *rows += QLatin1String("]}");
}

} // namespace

QVector<QStringList> jsonRowParts(const QVector<Item> &items)
{
    QVector<QStringList> parts;
    for (const Item &item : items)
        parts += rowParts(item);
    return parts;
}

QString jsonTime(const QString &time)
{
    return textOrNull(time);
}

void printJson(const ItemRecord &record, QString *rows)
{
    *rows += QLatin1String(record.isFirst ? "[\n" : ",\n");
    appendObject(record, rows);
}

void printJsonLine(const ItemRecord &record, QString *rows)
{
    appendObject(record, rows);
    *rows += QLatin1Char('\n');
}

QString itemJson(const Item &item, const ItemResult &result, const QString &time)
{
    QString object;
    appendObject({item, result, rowParts(item), jsonTime(time), true, true}, &object);
    return object;
}
