/// Reads a list of items again and again, also through an outage.
#ifndef ITEMS_OUTAGE_READER_H
#define ITEMS_OUTAGE_READER_H

#include "items/item_reader.h"
#include "runtime/back_off.h"

#include <QtCore/QElapsedTimer>

#include <atomic>

/// @return the failure of the first item that got no reply; null when all got one
const Failure *outageIn(const QVector<ItemResult> &results);

/// Opens the link anew after an outage, first soon, then less and less often.
class OutageReader
{
public:
    /// Requires: @p client outlives the reader; it has loaded its driver.
    OutageReader(Client &client, const QVector<Item> &items, const ReadOptions &options,
                 WordOrder order);

    /// Opens the link. A failure is also the outage that the readings begin with.
    /// Requires: called before `read`.
    Failure open();

    /// Reads all items. @return one result for each item; while the link is not open, the reason
    QVector<ItemResult> read();

    /// How many readings found no open link, so that nothing was sent; any thread may ask.
    qint64 unsent() const { return m_unsent; }

private:
    void noteOutage(const Failure &failure);

    Client &m_client;
    const int m_itemCount;
    ItemReader m_reader;
    QElapsedTimer m_clock;
    Failure m_down;      // why the link is not open; good while it is
    qint64 m_reopenAtMs; // not before
    BackOff m_backOff;
    std::atomic<qint64> m_unsent;
};

#endif
