/// Item expressions: what kvlink's user wants to read or write, such as DM100:f32[4] or
/// R1215:bit=1.
#ifndef ITEMS_EXPRESSION_H
#define ITEMS_EXPRESSION_H

#include "items/device_address.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// Most values of one item.
enum { MAX_ITEM_COUNT = 1024 };

/// How the data of an item is to be understood.
enum class ItemType {
    Bit,
    U8,
    U16,
    S16,
    U32,
    S32,
    F32,
    Hex, ///< as wide as the device: 16 or 32 bits; Bin and Bcd as well
    Bin,
    Bcd,
    String ///< two characters a word, the first one in the low byte
};

/// One item to read or write.
struct Item {
    QString text;    ///< as written, without the values
    QString address; ///< as written, in upper case
    DeviceAddress device;
    ItemType type = ItemType::U16;
    int count = 1;           ///< number of values, of characters for a string; 1 to MAX_ITEM_COUNT
    QStringList values;      ///< to write, as written; empty for an item to read
    bool eitherSign = false; ///< whether the unsigned types take negative values as well
};

/// What an expression means where it does not say.
struct ItemDefaults {
    bool hasType = false; ///< else u16 for words and channels, u32 for other devices
    ItemType type = ItemType::U16;
    int count = 0;           ///< 1 to MAX_ITEM_COUNT; 0 for as many as there are values, or 1
    bool eitherSign = false; ///< see `Item`
};

/// Reads ADDRESS[:TYPE][[COUNT]][=VALUE[,VALUE...]]. With values, the count is their number unless
/// it is given; a string has one value, which may hold commas. Values are checked against the type.
/// @return whether @p item was filled; else @p error tells what is wrong
bool parseItem(const QString &text, const ItemDefaults &defaults, Item *item, QString *error);

/// The same with the values apart. @param head ADDRESS[:TYPE][[COUNT]] @param values one or more
bool parseItem(const QString &head, const QStringList &values, const ItemDefaults &defaults,
               Item *item, QString *error);

/// The type with a name such as u16. @return whether there is one; else @p type is unchanged
bool itemTypeByName(const QString &name, ItemType *type);

/// The name of a type, such as u16.
QString itemTypeName(ItemType type);

#endif
