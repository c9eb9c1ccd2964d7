#include "items/expression.h"

#include "runtime/escaped_text.h"
#include "items/item_values.h"

#include <QtCore/QRegularExpression>

namespace
{

struct TypeRow {
    ItemType type;
    const char *name;
};

const TypeRow TYPES[] = {
    {ItemType::Bit, "bit"}, {ItemType::U8, "u8"},         {ItemType::U16, "u16"},
    {ItemType::S16, "s16"}, {ItemType::U32, "u32"},       {ItemType::S32, "s32"},
    {ItemType::F32, "f32"}, {ItemType::Hex, "hex"},       {ItemType::Bin, "bin"},
    {ItemType::Bcd, "bcd"}, {ItemType::String, "string"},
};

QString quoted(const QString &text)
{
    return QLatin1Char('"') + escapedText(text.toUtf8()) + QLatin1Char('"');
}

QString typeNames()
{
    QStringList names;
    for (const TypeRow &row : TYPES)
        names += QLatin1String(row.name);
    return names.join(QLatin1String(", "));
}

// Whether an item's device can hold its type.
bool checkItemType(const Item &item, QString *error)
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
    if (holds)
        *error = QString::fromLatin1("type %1 of %2: %3 holds %4")
                     .arg(itemTypeName(item.type), quoted(item.text), item.device.prefix,
                          QLatin1String(holds));
    return !holds;
}

bool setType(const QString &name, const ItemDefaults &defaults, Item *item, QString *error)
{
    if (name.isEmpty())
        item->type = defaults.hasType                          ? defaults.type
                     : item->device.form == DeviceForm::Values ? ItemType::U32
                                                               : ItemType::U16;
    else if (!itemTypeByName(name.toLower(), &item->type)) {
        *error = QString::fromLatin1("%1 is no type of an item: %2").arg(quoted(name), typeNames());
        return false;
    }
    return checkItemType(*item, error);
}

bool checkCount(const Item &item, QString *error)
{
    if (item.count >= 1 && item.count <= MAX_ITEM_COUNT)
        return true;
    *error = QString::fromLatin1("the count of %1 is not from 1 to %2")
                 .arg(quoted(item.text))
                 .arg(MAX_ITEM_COUNT);
    return false;
}

// A count that neither the text nor the defaults give is left as 0.
bool parseHead(const QString &text, const ItemDefaults &defaults, Item *item, QString *error)
{
    static const QRegularExpression form(
        QLatin1String("\\A([A-Za-z0-9]+)(?::([A-Za-z0-9]+))?(?:\\[([0-9]{1,9})\\])?\\z"));
    const QRegularExpressionMatch match = form.match(text);
    item->text = text;
    item->address = match.captured(1).toUpper();
    if (!parseDeviceAddress(item->address, &item->device)) {
        *error = QString::fromLatin1("%1 is not ADDRESS[:TYPE][[COUNT]][=VALUE[,VALUE...]] with an "
                                     "address such as DM100")
                     .arg(quoted(text));
        return false;
    }
    const QString count = match.captured(3);
    item->count = count.isEmpty() ? defaults.count : count.toInt();
    item->eitherSign = defaults.eitherSign;
    return setType(match.captured(2), defaults, item, error) &&
           (count.isEmpty() || checkCount(*item, error));
}

bool setValues(const QStringList &values, Item *item, QString *error)
{
    const bool isString = item->type == ItemType::String;
    const int given = isString && values.size() == 1 ? values.first().size() : values.size();
    item->values = values;
    if (item->count == 0)
        item->count = given;
    if (!checkCount(*item, error))
        return false;
    if (isString ? values.size() != 1 || given > item->count : given != item->count) {
        *error = QString::fromLatin1(isString ? "%1 takes one text of up to %2 characters"
                                              : "%1 takes %2 values, not %3")
                     .arg(quoted(item->text))
                     .arg(item->count);
        if (!isString)
            *error = error->arg(given);
        return false;
    }
    QByteArray data;
    return packValues(*item, WordOrder::LowFirst, &data, error);
}

} // namespace

bool itemTypeByName(const QString &name, ItemType *type)
{
    for (const TypeRow &row : TYPES) {
        if (name == QLatin1String(row.name)) {
            *type = row.type;
            return true;
        }
    }
    return false;
}

QString itemTypeName(ItemType type)
{
    const TypeRow *row = TYPES;
    while (row->type != type)
        ++row;
    return QLatin1String(row->name);
}

bool parseItem(const QString &text, const ItemDefaults &defaults, Item *item, QString *error)
{
    const int equals = text.indexOf(QLatin1Char('='));
    Item parsed;
    if (!parseHead(text.left(equals), defaults, &parsed, error))
        return false;
    if (equals >= 0) {
        const QString values = text.mid(equals + 1);
        const QStringList list =
            parsed.type == ItemType::String ? QStringList(values) : values.split(QLatin1Char(','));
        if (!setValues(list, &parsed, error))
            return false;
    } else if (parsed.count == 0) {
        parsed.count = 1;
        if (parsed.type == ItemType::String) {
            *error = QString::fromLatin1("%1 needs its length, such as %2:string[10]")
                         .arg(quoted(text), parsed.address);
            return false;
        }
    }
    *item = parsed;
    return true;
}

bool parseItem(const QString &head, const QStringList &values, const ItemDefaults &defaults,
               Item *item, QString *error)
{
    Item parsed;
    if (!parseHead(head, defaults, &parsed, error) || !setValues(values, &parsed, error))
        return false;
    *item = parsed;
    return true;
}
