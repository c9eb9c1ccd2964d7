/// Writes a list of items, or only says what that would send.
#ifndef ITEMS_ITEM_WRITER_H
#define ITEMS_ITEM_WRITER_H

#include "items/item_reader.h"

#include <QtCore/QByteArray>
#include <QtCore/QVector>

class DriverInterface;

/// Writes the items that have values and reads the others, in the order of the list. A failure does
/// not keep the items behind it from their turn. Requires: the link of @p client is open.
/// @param verify whether each written item is read back at once and compared
/// @return one result for each item; StatusDiffers when other values were read back
QVector<ItemResult> writeItems(Client &client, const QVector<Item> &items, WordOrder order,
                               bool verify);

/// Has the driver do the same on a wire that leads to no PLC.
/// @param station 0 to 99
/// @param lines   gets all bytes that the driver sends when the PLC accepts everything
/// @return one result for each item; it failed when the driver refuses its request
QVector<ItemResult> rehearseItems(DriverInterface *driver, int station, const QVector<Item> &items,
                                  WordOrder order, bool verify, QByteArray *lines);

#endif
