/// The values of an item as a user writes and reads them, and as data of a request.
#ifndef ITEMS_ITEM_VALUES_H
#define ITEMS_ITEM_VALUES_H

#include "items/item.h"
#include "runtime/failure.h"

#include <QtCore/QByteArray>

/// Order of the two words of a 32-bit value on a device of words.
enum class WordOrder {
    LowFirst, ///< the low word has the lower address
    HighFirst
};

/// The bytes of a string's text, as many as it needs. Requires: the item has one value.
/// @return StatusUsage when the encoding lacks a character
Failure encodeString(const Item &item, QByteArray *bytes);

/// Turns an item's values into the data of a write request: one byte per bit, else each value least
/// significant byte first, 32-bit values on words in the given order. A string is filled up with
/// zeros. A scaled value becomes the nearest number of the PLC.
/// @param data is filled on success
/// @return StatusUsage with a value that does not fit
Failure packValues(const Item &item, WordOrder order, QByteArray *data);

/// Turns the data of a read request into values: decimal numbers, scaled where a tag says so, 0x and
/// hexadecimal digits, binary digits, or the characters up to the first zero.
/// Requires: @p data holds `itemBytes`.
/// @param values is filled on success
/// @return StatusUnusable with what is not a number of the type
Failure unpackValues(const Item &item, WordOrder order, const QByteArray &data,
                     QStringList *values);

/// A value for people: a text without commands to the terminal, see `shownText`.
QString shownValue(const Item &item, const QString &value);

/// An item's values as `unpackValues` gives them.
/// Requires: the values were checked, as `parseItem` does.
QStringList plainValues(const Item &item);

/// Whether one of an item's values has moved by more than the item's deadband. Values that are no
/// amounts (bit, hex, bin and string, and nan and inf) count as moved when they differ.
/// @param before, now values of the item from two readings
bool haveMoved(const Item &item, const QStringList &before, const QStringList &now);

#endif
