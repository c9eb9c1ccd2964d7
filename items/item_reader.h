/// Reads a list of items, any number of times.
#ifndef ITEMS_ITEM_READER_H
#define ITEMS_ITEM_READER_H

#include "items/item_plan.h"
#include "items/item_values.h"
#include "runtime/client.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// What became of an item.
struct ItemResult {
    Failure failure; ///< good when the item was read or written
    QStringList values;
};

/// How items are read.
struct ReadOptions {
    MergeOptions merge;
    bool twice = false;  ///< each request again and again until two readings in a row agree
    bool askAll = false; ///< ask for the rest after an item got no reply
};

/// Reads items in as few requests as allowed. A block for several items that the PLC refuses with
/// its error reply is given up: its items are read one by one, then and from then on. Where an item
/// gets no reply, the items after it fail alike, unasked: each would take as many time-outs again.
class ItemReader
{
public:
    /// Requires: @p client outlives the reader; its link is open whenever `read` is called.
    ItemReader(Client &client, const QVector<Item> &items, const ReadOptions &options,
               WordOrder order);

    /// Reads all items. @return one result for each item
    QVector<ItemResult> read();

private:
    // Values that stand still are not unpacked again.
    struct Unpacked {
        QByteArray data;   // valid when none of the item's requests has failed
        bool isNew;        // not unpacked yet
        ItemResult result; // of the data before
    };

    Failure readRequest(const CommunicatorCommand &command, QByteArray *data);
    void readOrSplit(const ItemRequest &request);

    Client &m_client;
    const QVector<Item> m_items;
    const WordOrder m_order;
    const bool m_isTwice;
    const bool m_asksAll;
    Failure m_silence; // what the latest `read` got no reply to; good when there is none
    QVector<ItemRequest> m_requests; // without the blocks that were refused
    QVector<Unpacked> m_unpacked;    // of each item
    QVector<ItemResult> m_results;
};

#endif
