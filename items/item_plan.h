/// Which requests read a list of items.
#ifndef ITEMS_ITEM_PLAN_H
#define ITEMS_ITEM_PLAN_H

#include "drivers/communicator_command.h"
#include "items/item.h"

#include <QtCore/QVector>

/// How neighbouring items share requests.
struct MergeOptions {
    bool merge = true;
    int maxGap = 16; ///< most words between two items that are read for nothing
};

/// The part of an item that a request reads.
struct ItemPart {
    int item;   ///< index in the list of items
    int from;   ///< first byte in the request's data
    int to;     ///< first byte in the item's data
    int length; ///< bytes
};

/// One read request.
struct ItemRequest {
    CommunicatorCommand command;
    QVector<ItemPart> parts;
};

/// The request for all of an item at once, to read or to write it: bits, bytes, words or double
/// words, as its type has them.
CommunicatorCommand itemCommand(const Item &item);

/// Plans the requests. Words of one device that overlap, touch or lie no further apart than allowed
/// come in one request, as many as a reply holds; an item that is larger than a reply comes in
/// several. All else is read item by item, an item of another driver always as a whole.
/// @return the requests, in the order of their first items
QVector<ItemRequest> planRequests(const QVector<Item> &items, const MergeOptions &options);

/// The requests that read an item by itself.
QVector<ItemRequest> planItem(const Item &item);

/// The requests for the items that share one request, each part by itself.
/// @param items the list that the request was planned for
QVector<ItemRequest> splitRequest(const QVector<Item> &items, const ItemRequest &request);

/// About how many of the items, from the first on, can be read in a part of the time that all take.
/// @param share of that time, 0 to 1
int itemsWithin(const QVector<Item> &items, const MergeOptions &options, double share);

#endif
