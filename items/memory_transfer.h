/// Reads and writes runs of device memory, block by block.
#ifndef ITEMS_MEMORY_TRANSFER_H
#define ITEMS_MEMORY_TRANSFER_H

#include "items/item.h"
#include "items/memory_runs.h"
#include "runtime/client.h"

#include <QtCore/QVector>

#include <functional>

/// Reads a block into its values. Requires: one request can carry it, as for all blocks.
Failure readBlock(Client &client, MemoryRun *block);

/// Writes a block's values. Contacts are left out, and the current value of a CTC as well.
/// @param verify whether the values are read back and compared; StatusDiffers when they differ
Failure writeBlock(Client &client, const MemoryRun &block, bool verify);

/// The items that `writeBlock` writes, such as TC0 and TS0 for T0.
QVector<Item> itemsToWrite(const MemoryRun &block);

/// What `writeBlock` leaves out of a run, such as "contacts of T0-T9"; empty for nothing.
QString leftOut(const MemoryRun &run);

/// Addresses that the PLC refused, or that held other values than were written.
struct UnlikeRun {
    MemoryRun run;
    Failure failure; ///< of the first of them
};

/// Carries runs in blocks as large as one request allows. Of a block that the PLC refuses it finds
/// out which addresses are refused, and carries the others. After many refused addresses in a row,
/// a refused block whose last address is refused as well counts as refused: the device has ended.
class MemoryTransfer
{
public:
    /// Reads a block into its values, or writes them.
    typedef std::function<Failure(MemoryRun *block)> Request;

    /// Gets each block that was carried. @return a failure ends the transfer
    typedef std::function<Failure(const MemoryRun &block)> Taker;

    /// Is called before each block, with how many addresses are done.
    typedef std::function<void(const MemoryRun &block, qint64 done)> Progress;

    MemoryTransfer(const Request &request, const Taker &taker, const Progress &progress);

    /// Carries the runs, in order. Refused addresses and other values do not end it.
    /// @return the failure that ended it, and where
    Failure carry(const QVector<MemoryRun> &runs);

    /// Addresses that were carried.
    qint64 carried() const { return m_carried; }

    const QVector<UnlikeRun> &refused() const { return m_refused; }
    const QVector<UnlikeRun> &different() const { return m_different; }

private:
    Failure carryBlock(const MemoryRun &block);
    bool isPastTheEnd(const MemoryRun &block);

    const Request m_request;
    const Taker m_taker;
    const Progress m_progress;
    qint64 m_carried;
    int m_refusedInRow;
    QVector<UnlikeRun> m_refused;
    QVector<UnlikeRun> m_different;
};

#endif
