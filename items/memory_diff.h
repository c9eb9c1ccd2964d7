/// Compares device memory.
#ifndef ITEMS_MEMORY_DIFF_H
#define ITEMS_MEMORY_DIFF_H

#include "items/memory_runs.h"

/// An address that holds different values. A side that lacks the address has none.
struct MemoryDifference {
    QString address;
    QVector<quint32> left;
    QVector<quint32> right;
};

/// Compares two lists of runs with values, relay by relay. Of an address that stands twice on one
/// side the later values count.
/// @param lackingIsZero whether an address that one side lacks counts as 0 there, as in an image
/// @return the differences in the order of devices and numbers
QVector<MemoryDifference> memoryDifferences(const QVector<MemoryRun> &left,
                                            const QVector<MemoryRun> &right, bool lackingIsZero);

#endif
