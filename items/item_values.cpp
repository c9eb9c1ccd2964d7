#include "items/item_values.h"

#include "items/item_scaling.h"
#include "runtime/escaped_text.h"
#include "tools/byte_order.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{

// Digits that tell every float from its neighbours; fewer do for most.
const int MAX_FLOAT_DIGITS = 9;
const int MIN_FLOAT_DIGITS = 6;

// From half a step above the largest float on, numbers round to infinity.
const double MAX_FLOAT = static_cast<double>(std::numeric_limits<float>::max());
const double FLOAT_LIMIT = std::ldexp(2.0 - std::ldexp(1.0, -24), 127);

// Whole numbers below it are printed without an exponent.
const float PLAIN_FLOAT_LIMIT = 1e9f;

// Of a value: more than a double loses of the at most 10 digits of a value's text.
const double TEXT_ERROR = 1e-12;

bool isSigned(ItemType type)
{
    return type == ItemType::S16 || type == ItemType::S32;
}

qint64 maxValue(const Item &item)
{
    return (qint64(1) << (itemBits(item) - (isSigned(item.type) ? 1 : 0))) - 1;
}

qint64 minValue(const Item &item)
{
    const int bits = itemBits(item);
    return bits > 1 && (isSigned(item.type) || item.eitherSign) ? -(qint64(1) << (bits - 1)) : 0;
}

// One or more digits of a base and nothing else.
bool parseDigits(const QString &text, int base, qint64 *value)
{
    const bool plain = std::all_of(text.begin(), text.end(), [](QChar c) {
        return c.unicode() <= 0x7F && std::isxdigit(c.unicode()) != 0;
    });
    bool ok = false;
    *value = text.toLongLong(&ok, base);
    return ok && plain;
}

// The text behind a mark such as 0x, in either case of its letter.
QString behindMark(const QString &text, const char *mark)
{
    return text.startsWith(QLatin1String(mark), Qt::CaseInsensitive) ? text.mid(2) : text;
}

bool parseInteger(const QString &text, qint64 *value)
{
    const bool negative = text.startsWith(QLatin1Char('-'));
    const QString magnitude = negative ? text.mid(1) : text;
    const QString behind = behindMark(magnitude, "0x");
    const bool ok = parseDigits(behind, behind.size() < magnitude.size() ? 16 : 10, value);
    if (negative)
        *value = -*value;
    return ok;
}

// A number that rounds to a float, which QString::toFloat refuses next to the largest one.
bool toSingle(const QString &text, float *single)
{
    bool ok = false;
    const double number = text.toDouble(&ok);
    const double size = std::fabs(number);
    *single = std::isfinite(number) && size > MAX_FLOAT
                  ? static_cast<float>(std::copysign(MAX_FLOAT, number))
                  : static_cast<float>(number);
    const bool inRange = !std::isfinite(number) || size < FLOAT_LIMIT;
    const bool vanishes = number != 0 && *single == 0;
    return ok && inRange && !vanishes;
}

bool parseFloat(const QString &text, qint64 *value)
{
    static const QStringList notFinite = {QLatin1String("nan"), QLatin1String("inf"),
                                          QLatin1String("-inf")};
    double decimal = 0;
    float number = 0;
    const bool ok =
        (notFinite.contains(text) || parseDecimal(text, &decimal)) && toSingle(text, &number);
    quint32 bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    *value = bits;
    return ok;
}

bool parseValue(const Item &item, const QString &text, qint64 *value)
{
    switch (item.type) {
    case ItemType::F32:
        return parseFloat(text, value);
    case ItemType::Hex:
        return parseDigits(behindMark(text, "0x"), 16, value);
    case ItemType::Bin:
        return parseDigits(behindMark(text, "0b"), 2, value);
    case ItemType::Bcd:
        return parseDigits(text, 10, value) && parseDigits(text, 16, value); // a digit is four bits
    default:
        return parseInteger(text, value);
    }
}

// The largest number of a type that is no float.
qint64 maxNumber(const Item &item)
{
    const bool isBcd = item.type == ItemType::Bcd;
    return isBcd ? QString(itemBits(item) / 4, QLatin1Char('9')).toLongLong() : maxValue(item);
}

// What a value of an item may be.
QString rangeText(const Item &item)
{
    const int bits = itemBits(item);
    if (item.tag.isScaled() && item.type != ItemType::F32)
        return scaledRange(item, minValue(item), maxNumber(item));
    switch (item.type) {
    case ItemType::F32:
        return QLatin1String("number of single precision");
    case ItemType::Hex:
        return QString::fromLatin1("number of %1 hexadecimal digits").arg(bits / 4);
    case ItemType::Bin:
        return QString::fromLatin1("number of %1 binary digits").arg(bits);
    case ItemType::Bcd:
        return QString::fromLatin1("number of %1 decimal digits").arg(bits / 4);
    default:
        return QString::fromLatin1("number from %1 to %2").arg(minValue(item)).arg(maxValue(item));
    }
}

// Swaps the words of a value where the high one comes first.
quint32 inOrder(const Item &item, WordOrder order, quint32 value)
{
    const bool swap = order == WordOrder::HighFirst && itemBits(item) == 32 &&
                      item.device.form != DeviceForm::Values;
    return swap ? (value << 16) | (value >> 16) : value;
}

Failure packString(const Item &item, QByteArray *data)
{
    QByteArray bytes;
    if (Failure failure = encodeString(item, &bytes))
        return failure;
    bytes = bytes.leftJustified(item.count, '\0');
    *data = item.textForm.highByteFirst ? toBigEndianUShortArray(bytes) : bytes;
    return Failure();
}

QString unpackString(const Item &item, QByteArray data)
{
    if (item.textForm.highByteFirst)
        toLittleEndianUShortArray(data);
    const int end = data.indexOf('\0');
    return decodeText(data.left(end < 0 ? item.count : qMin(end, item.count)), item.textForm);
}

QString floatText(quint32 bits)
{
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value) && std::fabs(value) < PLAIN_FLOAT_LIMIT && std::floor(value) == value)
        return QString::number(static_cast<qint64>(value));
    QString text;
    float shown = 0;
    for (int digits = MIN_FLOAT_DIGITS; digits <= MAX_FLOAT_DIGITS; ++digits) {
        text = QString::number(static_cast<double>(value), 'g', digits);
        if (toSingle(text, &shown) && shown == value)
            break;
    }
    return text;
}

QString digitsText(quint32 value, int digits, int base)
{
    return QString::fromLatin1("%1").arg(value, digits, base, QLatin1Char('0')).toUpper();
}

bool formatValue(const Item &item, quint32 value, QString *text)
{
    const int bits = itemBits(item);
    switch (item.type) {
    case ItemType::S16:
        *text = QString::number(static_cast<qint16>(value));
        break;
    case ItemType::S32:
        *text = QString::number(static_cast<qint32>(value));
        break;
    case ItemType::F32:
        *text = floatText(value);
        break;
    case ItemType::Hex:
        *text = QLatin1String("0x") + digitsText(value, bits / 4, 16);
        break;
    case ItemType::Bin:
        *text = digitsText(value, bits, 2);
        break;
    case ItemType::Bcd: {
        bool ok = false;
        *text = QString::number(QString::number(value, 16).toUInt(&ok, 10));
        return ok;
    }
    default:
        *text = QString::number(value);
    }
    return true;
}

bool isBeyond(double deadband, double before, double now)
{
    return std::fabs(now - before) - deadband >
           TEXT_ERROR * std::max(std::fabs(before), std::fabs(now));
}

} // namespace

Failure encodeString(const Item &item, QByteArray *bytes)
{
    if (encodeText(item.values.first(), item.textForm, bytes))
        return Failure();
    const QByteArray &encoding = item.textForm.encoding;
    return Failure(StatusUsage,
                   QString::fromLatin1("the text of \"%1\" has a character that is not %2")
                       .arg(item.text, encoding.isEmpty() ? QLatin1String("Latin-1")
                                                          : QString::fromLatin1(encoding)));
}

Failure packValues(const Item &item, WordOrder order, QByteArray *data)
{
    if (item.type == ItemType::String)
        return packString(item, data);
    const bool ranged = item.type != ItemType::F32;
    QByteArray packed;
    for (const QString &text : item.values) {
        qint64 value = 0;
        QString number = text;
        if ((item.tag.isScaled() && !unscaledText(item, text, &number)) ||
            !parseValue(item, number, &value) ||
            (ranged && (value < minValue(item) || value > maxValue(item))))
            return Failure(StatusUsage,
                           QString::fromLatin1("value \"%1\" of %2: expected a %3 (type %4)")
                               .arg(escapedText(text.toUtf8()), item.text, rangeText(item),
                                    itemTypeName(item.type)));
        const quint32 bits = inOrder(item, order, static_cast<quint32>(value));
        for (int shift = 0; shift < itemBits(item); shift += 8)
            packed += static_cast<char>((bits >> shift) & 0xFF);
    }
    *data = packed;
    return Failure();
}

Failure unpackValues(const Item &item, WordOrder order, const QByteArray &data, QStringList *values)
{
    if (item.type == ItemType::String) {
        *values = QStringList(unpackString(item, data));
        return Failure();
    }
    const int bits = itemBits(item);
    QStringList texts;
    for (int i = 0; i < item.count; ++i) {
        quint32 value = 0;
        if (bits == 1)
            value = (static_cast<unsigned char>(data.at(i / 8)) >> (i % 8)) & 1u;
        for (int byte = bits / 8 - 1; byte >= 0; --byte)
            value = (value << 8) | static_cast<unsigned char>(data.at(i * (bits / 8) + byte));
        value = inOrder(item, order, value);
        QString text;
        if (!formatValue(item, value, &text))
            return Failure(StatusUnusable,
                           QString::fromLatin1("%1 holds 0x%2: expected decimal digits (BCD)")
                               .arg(valueAddress(item, i), digitsText(value, bits / 4, 16)));
        texts += item.tag.isScaled() ? scaledText(item, text) : text;
    }
    *values = texts;
    return Failure();
}

QString shownValue(const Item &item, const QString &value)
{
    return item.type == ItemType::String ? shownText(value, item.textForm) : value;
}

QStringList plainValues(const Item &item)
{
    QByteArray data;
    QStringList values;
    packValues(item, WordOrder::LowFirst, &data);
    if (item.type != ItemType::Bit)
        unpackValues(item, WordOrder::LowFirst, data, &values);
    for (int i = 0; item.type == ItemType::Bit && i < data.size(); ++i)
        values += QString::number(static_cast<int>(data.at(i)));
    return values;
}

bool haveMoved(const Item &item, const QStringList &before, const QStringList &now)
{
    if (item.tag.deadband <= 0 || !isAmount(item.type) || before.size() != now.size())
        return before != now;
    for (int i = 0; i < now.size(); ++i) {
        const double from = before.at(i).toDouble();
        const double to = now.at(i).toDouble();
        const bool areFinite = std::isfinite(from) && std::isfinite(to);
        if (areFinite ? isBeyond(item.tag.deadband, from, to) : before.at(i) != now.at(i))
            return true;
    }
    return false;
}
