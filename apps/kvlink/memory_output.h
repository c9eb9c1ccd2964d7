/// What the commands that carry device memory print.
#ifndef APPS_KVLINK_MEMORY_OUTPUT_H
#define APPS_KVLINK_MEMORY_OUTPUT_H

#include "items/memory_transfer.h"

class Progress;
class QTextStream;

/// What shows the blocks of a transfer as progress. @param before addresses that were done before
/// it @param total all addresses
MemoryTransfer::Progress blocksOn(Progress *progress, qint64 before, qint64 total);

/// Prints which addresses the PLC refused, which held other values, and what ended a transfer.
/// @return the exit status: what ended it, else that of refused addresses (6 when others were
///         carried), else that of other values
Status reportTransfer(QTextStream &err, const MemoryTransfer &transfer, const Failure &ended);

#endif
