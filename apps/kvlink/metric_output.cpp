#include "apps/kvlink/metric_output.h"

#include "apps/kvlink/item_output.h"
#include "items/item_values.h"

#include <QtCore/QDateTime>
#include <QtCore/QSet>
#include <QtCore/QTextStream>

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

// A field has one type in the whole measurement, and a database drops what has another: numbers of
// all kinds are floating-point, and texts have a field of their own.
QString influxField(const Item &item, const QString &index, const QString &value)
{
    if (isText(item))
        return QString::fromLatin1("text%1=%2").arg(index, influxText(plainText(value)));
    const bool isAsPrinted = item.type == ItemType::F32 || item.tag.isScaled();
    return QString::fromLatin1("value%1=%2")
        .arg(index, isAsPrinted ? value : QString::number(numberOf(item, value), 'f', 0));
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

// A collector refuses a file that has the same series twice.
QVector<int> differentItems(const QVector<Item> &items)
{
    QVector<int> different;
    QSet<QString> seen;
    for (int i = 0; i < items.size(); ++i) {
        const QString labels = prometheusLabels(items.at(i));
        if (!seen.contains(labels))
            different += i;
        seen.insert(labels);
    }
    return different;
}

QString prometheusNumber(double number)
{
    if (std::isnan(number))
        return QLatin1String("NaN");
    if (std::isinf(number))
        return QLatin1String(number > 0 ? "+Inf" : "-Inf");
    return QString::number(number, 'g', 17);
}

} // namespace

void printInfluxLine(const ItemRecord &record, QTextStream &out)
{
    const Item &item = record.item;
    const QStringList &values = record.result.values;
    QStringList fields;
    for (int i = 0; i < values.size(); ++i) {
        // The protocol has no number for what is none.
        if (!isText(item) && !std::isfinite(numberOf(item, values.at(i))))
            continue;
        const QString index = valueCount(item) > 1 ? QString::number(i) : QString();
        fields += influxField(item, index, values.at(i));
    }
    fields += QLatin1String("status=") +
              influxText(QLatin1String(statusName(record.result.failure.status())));
    if (record.result.failure)
        fields += QLatin1String("error=") + influxText(record.result.failure.text());
    out << "kvlink" << influxTag("item", item.text) << influxTag("address", item.address)
        << influxTag("link", item.link) << influxTag("unit", item.tag.unit) << ' '
        << fields.join(QLatin1Char(','));
    const QDateTime time = QDateTime::fromString(record.time, Qt::ISODateWithMs);
    if (time.isValid())
        out << ' ' << time.toMSecsSinceEpoch() * NS_PER_MS;
    out << '\n';
}

void printPrometheusSample(const ItemSample &sample, QTextStream &out)
{
    const QVector<ItemResult> &results = sample.results;
    const QVector<Item> items = sample.items.mid(sample.first, results.size());
    out << "# HELP kvlink_up Whether the item could be read or written.\n"
           "# TYPE kvlink_up gauge\n";
    const QVector<int> series = differentItems(items);
    for (const int i : series)
        out << "kvlink_up{" << prometheusLabels(items.at(i)) << "} "
            << (results.at(i).failure ? 0 : 1) << '\n';
    out << "# HELP kvlink_value Value of the item.\n# TYPE kvlink_value gauge\n";
    for (const int i : series) {
        const Item &item = items.at(i);
        const QStringList &values = results.at(i).values;
        for (int j = 0; j < values.size() && !isText(item); ++j) {
            out << "kvlink_value{" << prometheusLabels(item);
            if (valueCount(item) > 1)
                out << ',' << prometheusLabel("index", QString::number(j));
            out << "} " << prometheusNumber(numberOf(item, values.at(j))) << '\n';
        }
    }
}
