#include "items/expression.h"

#include "items/item_values.h"
#include "runtime/escaped_text.h"

#include <QtCore/QRegularExpression>

namespace
{

QString quoted(const QString &text)
{
    return QLatin1Char('"') + escapedText(text.toUtf8()) + QLatin1Char('"');
}

Failure usage(const QString &text)
{
    return Failure(StatusUsage, text);
}

// Whether an item's device can hold its type.
Failure checkItemType(const Item &item)
{
    const char *holds = nullptr;
    switch (item.type) {
    case ItemType::Bit:
        if (item.device.form == DeviceForm::Words)
            holds = "words, which have no bits of their own";
        else if (item.device.form == DeviceForm::Values && !item.device.hasContacts)
            holds = "32-bit numbers without contacts";
        break;
    case ItemType::U8:
    case ItemType::U16:
    case ItemType::S16:
    case ItemType::F32:
    case ItemType::String:
        if (item.device.form == DeviceForm::Values)
            holds = "32-bit numbers: take u32, s32, hex, bin or bcd, or bit for its contact";
        break;
    case ItemType::U32:
    case ItemType::S32:
    case ItemType::Hex:
    case ItemType::Bin:
    case ItemType::Bcd:
        break;
    }
    if (!holds)
        return Failure();
    return usage(QString::fromLatin1("type %1 of %2: %3 holds %4")
                     .arg(itemTypeName(item.type), quoted(item.text), item.device.prefix,
                          QLatin1String(holds)));
}

Failure setType(const QString &name, const ItemDefaults &defaults, Item *item)
{
    if (name.isEmpty())
        item->type = defaults.hasType                          ? defaults.type
                     : item->device.form == DeviceForm::Values ? ItemType::U32
                                                               : ItemType::U16;
    else if (!itemTypeByName(name.toLower(), &item->type))
        return usage(
            QString::fromLatin1("type %1: expected %2").arg(quoted(name), itemTypeNames()));
    return checkItemType(*item);
}

Failure checkCount(const Item &item)
{
    if (item.count >= 1 && item.count <= MAX_ITEM_COUNT)
        return Failure();
    return usage(QString::fromLatin1("the count of %1 is not from 1 to %2")
                     .arg(quoted(item.text), QString::number(MAX_ITEM_COUNT)));
}

// A count that neither the text nor the defaults give is left as 0.
Failure parseHead(const QString &text, const ItemDefaults &defaults, Item *item)
{
    static const QString rest = QLatin1String("(?::([A-Za-z0-9]+))?(?:\\[([0-9]{1,9})\\])?\\z");
    static const QRegularExpression ours(QLatin1String("\\A([A-Za-z0-9]+)") + rest);
    static const QRegularExpression anyDriver(QLatin1String("\\A([^:\\[\\s]+)") + rest);
    const QRegularExpressionMatch match = (defaults.otherDriver ? anyDriver : ours).match(text);
    item->text = text;
    item->address = match.captured(1);
    item->device.form = DeviceForm::Unknown;
    if (!defaults.otherDriver)
        item->address = item->address.toUpper();
    if (defaults.otherDriver ? item->address.isEmpty()
                             : !parseDeviceAddress(item->address, &item->device))
        return usage(
            QString::fromLatin1("%1 is not ADDRESS[:TYPE][[COUNT]] with an address such as DM100")
                .arg(quoted(text)));
    const QString count = match.captured(3);
    item->count = count.isEmpty() ? defaults.count : count.toInt();
    item->eitherSign = defaults.eitherSign;
    item->textForm = defaults.textForm;
    Failure failure = setType(match.captured(2), defaults, item);
    return failure || count.isEmpty() ? failure : checkCount(*item);
}

} // namespace

Failure setValues(const QStringList &values, Item *item)
{
    if (!item->tag.isWritable)
        return usage(QString::fromLatin1("%1 is not writable: its tag says no; write its address "
                                         "%2 if it has to be")
                         .arg(item->tag.name, item->address));
    const bool isString = item->type == ItemType::String;
    int given = values.size();
    item->values = values;
    if (isString && given == 1) {
        QByteArray bytes;
        if (Failure failure = encodeString(*item, &bytes))
            return failure;
        given = bytes.size();
    }
    if (item->count == 0)
        item->count = given;
    if (Failure failure = checkCount(*item))
        return failure;
    const QString name = quoted(item->text);
    const QString count = QString::number(item->count);
    if (isString && (values.size() != 1 || given > item->count))
        return usage(QString::fromLatin1("%1 takes one text of up to %2 characters of 8 bits")
                         .arg(name, count));
    if (!isString && given != item->count)
        return usage(
            QString::fromLatin1("%1 takes %2, not %3: a comma divides values, and a "
                                "number has a point")
                .arg(name, countText(item->count, "value", "values"), QString::number(given)));
    QByteArray data;
    return packValues(*item, WordOrder::LowFirst, &data);
}

Failure setValues(const QString &values, Item *item)
{
    return setValues(item->type == ItemType::String ? QStringList(values)
                                                    : values.split(QLatin1Char(',')),
                     item);
}

Failure parseItem(const QString &text, const ItemDefaults &defaults, Item *item)
{
    const int equals = text.indexOf(QLatin1Char('='));
    Item parsed;
    Failure failure = parseHead(text.left(equals), defaults, &parsed);
    if (failure)
        return failure;
    if (equals >= 0) {
        failure = setValues(text.mid(equals + 1), &parsed);
    } else if (parsed.count == 0) {
        parsed.count = 1;
        if (parsed.type == ItemType::String)
            failure = usage(QString::fromLatin1("%1 needs its length, such as %2:string[10]")
                                .arg(quoted(text), parsed.address));
    }
    if (!failure)
        *item = parsed;
    return failure;
}

Failure parseItem(const QString &head, const QStringList &values, const ItemDefaults &defaults,
                  Item *item)
{
    Item parsed;
    Failure failure = parseHead(head, defaults, &parsed);
    if (!failure)
        failure = setValues(values, &parsed);
    if (!failure)
        *item = parsed;
    return failure;
}
