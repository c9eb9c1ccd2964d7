#include "items/item.h"

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

QString itemTypeNames()
{
    QStringList names;
    for (const TypeRow &row : TYPES)
        names += QLatin1String(row.name);
    return names.join(QLatin1String(", "));
}

bool isAmount(ItemType type)
{
    return type != ItemType::Bit && type != ItemType::Hex && type != ItemType::Bin &&
           type != ItemType::String;
}

QString nameWithLink(const Item &item)
{
    return item.link.isEmpty() ? item.text : item.link + QLatin1Char(':') + item.text;
}

int itemBits(const Item &item)
{
    switch (item.type) {
    case ItemType::Bit:
        return 1;
    case ItemType::U8:
    case ItemType::String:
        return 8;
    case ItemType::U16:
    case ItemType::S16:
        return 16;
    case ItemType::U32:
    case ItemType::S32:
    case ItemType::F32:
        return 32;
    case ItemType::Hex:
    case ItemType::Bin:
    case ItemType::Bcd:
        break;
    }
    return item.device.form == DeviceForm::Values ? 32 : 16;
}

int itemBytes(const Item &item)
{
    const bool wholeWords = item.type == ItemType::String && item.textForm.highByteFirst;
    return wholeWords ? (item.count + 1) / 2 * 2 : (item.count * itemBits(item) + 7) / 8;
}

int valueCount(const Item &item)
{
    return item.type == ItemType::String ? 1 : item.count;
}

QString valueAddress(const Item &item, int index)
{
    const DeviceAddress &device = item.device;
    const quint32 offset = static_cast<quint32>(index);
    if (device.form == DeviceForm::Unknown)
        return valueCount(item) == 1 ? item.address
                                     : QString::fromLatin1("%1[%2]").arg(item.address).arg(index);
    if (device.form == DeviceForm::Values)
        return device.at(device.number + offset);
    if (item.type != ItemType::Bit)
        return device.at(device.number + offset * static_cast<quint32>(itemBits(item)) / 16);
    return device.at(relayNumber(relayPlace(device.number, device.base) + offset, device.base));
}
