#include "apps/kvlink/memory_output.h"

#include "apps/kvlink/progress.h"

namespace
{

void printAll(QTextStream &err, const QVector<UnlikeRun> &runs)
{
    for (const UnlikeRun &unlike : runs)
        complain(err, runText(unlike.run) + QLatin1String(": ") + unlike.failure.text(),
                 unlike.failure.status());
}

} // namespace

MemoryTransfer::Progress blocksOn(Progress *progress, qint64 before, qint64 total)
{
    return [=](const MemoryRun &block, qint64 done) {
        progress->show(cellName(block, 0), before + done, total);
    };
}

Status reportTransfer(QTextStream &err, const MemoryTransfer &transfer, const Failure &ended)
{
    printAll(err, transfer.refused());
    printAll(err, transfer.different());
    if (ended)
        return complain(err, ended);
    if (!transfer.refused().isEmpty())
        return transfer.carried() > 0 ? StatusSome : StatusPlcError;
    return transfer.different().isEmpty() ? StatusGood : StatusDiffers;
}
