#include "items/item_scaling.h"

#include <QtCore/QRegularExpression>

#include <cmath>

namespace
{

// Decimal digits that a double and a float keep.
const int DOUBLE_DIGITS = 15;
const int FLOAT_DIGITS = 7;

// A float has this many at most; more tell no two of them apart.
const int EXACT_FLOAT_DIGITS = 9;

} // namespace

bool parseDecimal(const QString &text, double *number)
{
    static const QRegularExpression form(
        QLatin1String("\\A-?(?:[0-9]+\\.?[0-9]*|\\.[0-9]+)(?:[eE][+-]?[0-9]+)?\\z"));
    bool ok = false;
    const double parsed = text.toDouble(&ok);
    if (!ok || !std::isfinite(parsed) || !form.match(text).hasMatch())
        return false;
    *number = parsed;
    return true;
}

QString scaledText(const Item &item, const QString &number)
{
    const ItemTag &tag = item.tag;
    const double value = number.toDouble() * tag.scale + tag.offset;
    if (tag.decimals < 0 || !std::isfinite(value))
        return QString::number(value, 'g',
                               item.type == ItemType::F32 ? FLOAT_DIGITS : DOUBLE_DIGITS);
    const QString text = QString::number(value, 'f', tag.decimals);
    return text.toDouble() == 0 ? QString::number(0.0, 'f', tag.decimals) : text; // no "-0.0"
}

bool unscaledText(const Item &item, const QString &value, QString *number)
{
    double given = 0;
    if (!parseDecimal(value, &given))
        return false;
    const double exact = (given - item.tag.offset) / item.tag.scale;
    if (!std::isfinite(exact))
        return false;
    *number = item.type == ItemType::F32
                  ? QString::number(exact, 'g', EXACT_FLOAT_DIGITS)
                  : QString::number(std::round(exact) + 0.0, 'f', 0); // no "-0"
    return true;
}

QString scaledRange(const Item &item, qint64 least, qint64 most)
{
    QString from = scaledText(item, QString::number(least));
    QString to = scaledText(item, QString::number(most));
    if (item.tag.scale < 0)
        from.swap(to);
    return QString::fromLatin1("number from %1 to %2 %3").arg(from, to, item.tag.unit).trimmed();
}
