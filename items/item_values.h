/// The values of an item as a user writes and reads them, and as data of a request.
#ifndef ITEMS_ITEM_VALUES_H
#define ITEMS_ITEM_VALUES_H

#include "items/expression.h"

#include <QtCore/QByteArray>

/// Order of the two words of a 32-bit value on a device of words.
enum class WordOrder {
    LowFirst, ///< the low word has the lower address
    HighFirst
};

/// Bits of one value: 1, 8, 16 or 32; 8 for a character.
int itemBits(const Item &item);

/// Bytes that a read of an item gives: bits packed eight to a byte, else values side by side.
int itemBytes(const Item &item);

/// The address of an item's value. @param index 0 to count - 1; 0 for a string
QString valueAddress(const Item &item, int index);

/// Turns an item's values into the data of a write request: one byte per bit, else each value least
/// significant byte first, 32-bit values on words in the given order. A string is filled up with
/// zeros.
/// @return whether @p data was filled; else @p error names a value that does not fit
bool packValues(const Item &item, WordOrder order, QByteArray *data, QString *error);

/// Turns the data of a read request into values: decimal numbers, 0x and hexadecimal digits, binary
/// digits, or the characters up to the first zero.
/// Requires: @p data holds `itemBytes`.
/// @return whether @p values was filled; else @p error names what is no number of the type
bool unpackValues(const Item &item, WordOrder order, const QByteArray &data, QStringList *values,
                  QString *error);

/// An item's values as `unpackValues` gives them.
/// Requires: the values were checked, as `parseItem` does.
QStringList plainValues(const Item &item);

#endif
