/// The values of a tag, with its scale, offset and decimals.
#ifndef ITEMS_ITEM_SCALING_H
#define ITEMS_ITEM_SCALING_H

#include "items/item.h"

/// Reads a finite number in decimal, with a point or an exponent.
/// @param number is filled on success
/// @return whether @p text is one
bool parseDecimal(const QString &text, double *number);

/// The value that a number of the PLC stands for.
/// @param number decimal, inf, -inf or nan
/// @return a decimal number; without the tag's decimals as exact as the number is
QString scaledText(const Item &item, const QString &number);

/// The number of the PLC that is nearest to a value.
/// @param value  as `parseDecimal` takes it
/// @param number is filled on success; may be out of the type's range
/// @return whether @p value is a number
bool unscaledText(const Item &item, const QString &value, QString *number);

/// What a value may be, with its unit. @param least, most of the PLC's numbers
QString scaledRange(const Item &item, qint64 least, qint64 most);

#endif
