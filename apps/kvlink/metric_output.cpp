#include "apps/kvlink/metric_output.h"

#include "apps/kvlink/item_output.h"
#include "items/item_values.h"

#include <QtCore/QDateTime>
#include <QtCore/QSet>
#include <QtCore/QStringBuilder>

#include <cmath>

namespace
{

const qint64 NS_PER_MS = 1000000;

// A line of its own would end the point; the protocol has no escape for it in a tag.
QString oneLine(QString text)
{
    return text.replace(QLatin1Char('\n'), QLatin1Char(' '));
}

// ,name=value, or nothing: a tag must not be empty, nor end in a backslash.
QString influxTag(const char *name, const QString &value)
{
    QString escaped = oneLine(value);
    for (const char *special : {",", "=", " "})
        escaped.replace(QLatin1String(special), QLatin1Char('\\') + QLatin1String(special));
    if (escaped.endsWith(QLatin1Char('\\')))
        escaped += QLatin1Char(' ');
    return value.isEmpty() ? QString()
                           : QString::fromLatin1(",%1=%2").arg(QLatin1String(name), escaped);
}

QString influxText(const QString &text)
{
    QString escaped = text;
    for (const char *special : {"\\", "\""})
        escaped.replace(QLatin1String(special), QLatin1Char('\\') + QLatin1String(special));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

bool isText(const Item &item)
{
    return item.type == ItemType::String;
}

// A value of a number: the bits and digits of Hex and Bin count as what they stand for.
double numberOf(const Item &item, const QString &value)
{
    if (item.type == ItemType::Hex)
        return value.toUInt(nullptr, 16);
    if (item.type == ItemType::Bin)
        return value.toUInt(nullptr, 2);
    return value.toDouble();
}

// The digits of a finite number, as the other formats have them.
QString digitsOf(const Item &item, const QString &value)
{
    const bool isOfDigits = item.type == ItemType::Hex || item.type == ItemType::Bin;
    return isOfDigits ? QString::number(numberOf(item, value), 'f', 0) : value;
}

// A field has one type in the whole measurement, and a database drops what has another: numbers of
// all kinds are floating-point, and texts have a field of their own.
QString influxField(const Item &item, const QString &index, const QString &value)
{
    if (isText(item))
        return QLatin1String("text") % index % QLatin1Char('=') % influxText(plainText(value));
    return QLatin1String("value") % index % QLatin1Char('=') % digitsOf(item, value);
}

QString prometheusLabel(const char *name, const QString &value)
{
    QString escaped = value;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"))
        .replace(QLatin1Char('"'), QLatin1String("\\\""))
        .replace(QLatin1Char('\n'), QLatin1String("\\n"));
    return QString::fromLatin1("%1=\"%2\"").arg(QLatin1String(name), escaped);
}

QString prometheusLabels(const Item &item)
{
    QString labels = prometheusLabel("item", item.text) + QLatin1Char(',') +
                     prometheusLabel("address", item.address);
    if (!item.link.isEmpty())
        labels += QLatin1Char(',') + prometheusLabel("link", item.link);
    if (!item.tag.unit.isEmpty())
        labels += QLatin1Char(',') + prometheusLabel("unit", item.tag.unit);
    return labels;
}

QString prometheusNumber(const Item &item, const QString &value)
{
    const double number = numberOf(item, value);
    if (std::isnan(number))
        return QLatin1String("NaN");
    if (std::isinf(number))
        return QLatin1String(number > 0 ? "+Inf" : "-Inf");
    return digitsOf(item, value);
}

void appendPrometheusValues(const Item &item, const QString &labels, const QStringList &values,
                            QString *rows)
{
    for (int i = 0; i < values.size() && !isText(item); ++i) {
        *rows += QLatin1String("kvlink_value{") % labels;
        if (valueCount(item) > 1)
            *rows += QLatin1Char(',') % prometheusLabel("index", QString::number(i));
        *rows += QLatin1String("} ") % prometheusNumber(item, values.at(i)) % QLatin1Char('\n');
    }
}

} // namespace

QVector<QStringList> influxRowParts(const QVector<Item> &items)
{
    QVector<QStringList> parts;
    for (const Item &item : items)
        parts += QStringList(QLatin1String("kvlink") % influxTag("item", item.text) %
                             influxTag("address", item.address) % influxTag("link", item.link) %
                             influxTag("unit", item.tag.unit) % QLatin1Char(' '));
    return parts;
}

QString influxTime(const QString &time)
{
    const QDateTime parsed = QDateTime::fromString(time, Qt::ISODateWithMs);
    return parsed.isValid()
               ? QLatin1Char(' ') + QString::number(parsed.toMSecsSinceEpoch() * NS_PER_MS)
               : QString();
}

void printInfluxLine(const ItemRecord &record, QString *rows)
{
    const Item &item = record.item;
    const QStringList &values = record.result.values;
    *rows += record.parts.first();
    for (int i = 0; i < values.size(); ++i) {
        // The protocol has no number for what is none.
        if (!isText(item) && !std::isfinite(numberOf(item, values.at(i))))
            continue;
        const QString index = valueCount(item) > 1 ? QString::number(i) : QString();
        *rows += influxField(item, index, values.at(i)) % QLatin1Char(',');
    }
    const Failure &failure = record.result.failure;
    *rows +=
        QLatin1String("status=\"") % QLatin1String(statusName(failure.status())) % QLatin1Char('"');
    if (failure)
        *rows += QLatin1String(",error=") % influxText(failure.text());
    *rows += record.time % QLatin1Char('\n');
}

QVector<QStringList> prometheusRowParts(const QVector<Item> &items)
{
    QVector<QStringList> parts;
    QSet<QString> seen;
    for (const Item &item : items) {
        const QString labels = prometheusLabels(item);
        parts += seen.contains(labels) ? QStringList() : QStringList(labels);
        seen.insert(labels);
    }
    return parts;
}

void printPrometheusSample(const ItemSample &sample, QString *rows)
{
    *rows += QLatin1String("# HELP kvlink_up Whether the item could be read or written.\n"
                           "# TYPE kvlink_up gauge\n");
    for (int i = 0; i < sample.results.size(); ++i) {
        for (const QString &labels : sample.parts.at(sample.first + i))
            *rows += QLatin1String("kvlink_up{") % labels %
                     QLatin1String(sample.results.at(i).failure ? "} 0\n" : "} 1\n");
    }
    *rows += QLatin1String("# HELP kvlink_value Value of the item.\n# TYPE kvlink_value gauge\n");
    for (int i = 0; i < sample.results.size(); ++i) {
        for (const QString &labels : sample.parts.at(sample.first + i))
            appendPrometheusValues(sample.items.at(sample.first + i), labels,
                                   sample.results.at(i).values, rows);
    }
}
