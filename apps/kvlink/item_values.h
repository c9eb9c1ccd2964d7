/// Items of a request as kvlink's user writes and reads them.
#ifndef APPS_KVLINK_ITEM_VALUES_H
#define APPS_KVLINK_ITEM_VALUES_H

#include "drivers/communicator_command.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <string>
#include <vector>

class QTextStream;

/// Most items in one request.
enum { MAX_ITEM_COUNT = 1024 };

/// A kind of items that kvlink knows by name.
struct ItemKind {
    const char *name;
    CommandKind kind;
    int bits; ///< width of an item: 1, 8, 16 or 32
};

/// The names: bit, byte, word, dword, block, bitblock.
std::vector<std::string> itemKindNames();

/// The kind with @p name. Requires: one of `itemKindNames`.
const ItemKind &itemKind(const std::string &name);

/// Turns values into the data of a write request: one byte per bit, else each value least
/// significant byte first. A value is decimal, or hexadecimal with 0x, with an optional minus sign,
/// from -2^(bits-1) to 2^bits - 1; a bit is 0 or 1.
/// @param error gets the reason when a value is not a number or out of range
/// @return whether @p data was filled
bool packValues(const ItemKind &kind, const std::vector<std::string> &texts, QByteArray *data,
                QString *error);

/// Prints the data of a read request, one unsigned decimal value per line.
/// Requires: @p data holds @p count items.
void printValues(const ItemKind &kind, const QByteArray &data, int count, QTextStream &out);

#endif
