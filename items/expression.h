/// Item expressions: what kvlink's user wants to read or write, such as DM100:f32[4] or
/// R1215:bit=1.
#ifndef ITEMS_EXPRESSION_H
#define ITEMS_EXPRESSION_H

#include "items/item.h"
#include "runtime/failure.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/// What an expression means where it does not say.
struct ItemDefaults {
    bool hasType = false; ///< else u16 for words and channels, u32 for other devices
    ItemType type = ItemType::U16;
    int count = 0;           ///< 1 to MAX_ITEM_COUNT; 0 for as many as there are values, or 1
    bool eitherSign = false; ///< see `Item`
    TextForm textForm;
    bool otherDriver = false; ///< addresses are those of a driver whose devices are not known
};

/// Reads ADDRESS[:TYPE][[COUNT]][=VALUE[,VALUE...]]. With values, the count is their number unless
/// it is given; a string has one value, which may hold commas. Values are checked against the type.
/// Refused are bits of DM and the like, types below 32 bits on ten-digit devices, and addresses
/// without a proper number: the PLC or the driver would take them for another device. An address of
/// another driver may have any characters but blanks, ":", "[" and "="; it is left as it is.
/// @param item is filled on success
/// @return StatusUsage with what is wrong
Failure parseItem(const QString &text, const ItemDefaults &defaults, Item *item);

/// The same with the values apart. @param head ADDRESS[:TYPE][[COUNT]] @param values one or more
Failure parseItem(const QString &head, const QStringList &values, const ItemDefaults &defaults,
                  Item *item);

/// Gives an item the values that it is to be written with, and checks them. A count of 0 becomes
/// their number. @return StatusUsage with what is wrong
Failure setValues(const QStringList &values, Item *item);

/// The same with the values in one text, VALUE[,VALUE...], as they stand behind "=".
Failure setValues(const QString &values, Item *item);

#endif
