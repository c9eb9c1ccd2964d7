#include "items/memory_diff.h"

#include <algorithm>
#include <vector>

namespace
{

// One address of a run, of a channel one relay.
struct Cell {
    const MemoryRun *run;
    int index;
    int bit; // -1 where it is all of the address

    quint32 number() const
    {
        const quint32 number = run->device.number + static_cast<quint32>(index);
        return bit < 0 ? number : number * CHANNEL_BITS + static_cast<quint32>(bit);
    }

    QString name() const
    {
        MemoryRun own = *run;
        own.device.number = number();
        own.kind = bit < 0 ? run->kind : CellKind::Bits;
        return cellName(own, 0);
    }

    QVector<quint32> values() const
    {
        const int each = valuesPerCell(run->kind);
        return bit < 0 ? run->values.mid(index * each, each)
                       : QVector<quint32>(1, run->values.at(index) >> bit & 1);
    }
};
typedef std::vector<Cell> Cells;

bool isBefore(const Cell &a, const Cell &b)
{
    const int order = a.run->device.prefix.compare(b.run->device.prefix);
    return order != 0 ? order < 0 : a.number() < b.number();
}

Cells cellsOf(const QVector<MemoryRun> &runs)
{
    Cells cells;
    for (const MemoryRun &run : runs) {
        for (int i = 0; i < run.count; ++i) {
            if (run.kind != CellKind::Channels)
                cells.push_back({&run, i, -1});
            for (int bit = 0; run.kind == CellKind::Channels && bit < CHANNEL_BITS; ++bit)
                cells.push_back({&run, i, bit});
        }
    }
    std::stable_sort(cells.begin(), cells.end(), isBefore);
    // From the end, as the last one counts.
    const auto first = std::unique(cells.rbegin(), cells.rend(), [](const Cell &a, const Cell &b) {
        return !isBefore(a, b) && !isBefore(b, a);
    });
    cells.erase(cells.begin(), first.base());
    return cells;
}

bool areZero(const QVector<quint32> &values)
{
    return std::all_of(values.begin(), values.end(), [](quint32 value) { return value == 0; });
}

} // namespace

QVector<MemoryDifference> memoryDifferences(const QVector<MemoryRun> &left,
                                            const QVector<MemoryRun> &right, bool lackingIsZero)
{
    const Cells leftCells = cellsOf(left);
    const Cells rightCells = cellsOf(right);
    QVector<MemoryDifference> differences;
    auto a = leftCells.begin();
    auto b = rightCells.begin();
    while (a != leftCells.end() || b != rightCells.end()) {
        const bool hasLeft = b == rightCells.end() || (a != leftCells.end() && !isBefore(*b, *a));
        const bool hasRight = a == leftCells.end() || (b != rightCells.end() && !isBefore(*a, *b));
        MemoryDifference difference = {(hasLeft ? a : b)->name(),
                                       hasLeft ? a->values() : QVector<quint32>(),
                                       hasRight ? b->values() : QVector<quint32>()};
        const bool lacks = hasLeft != hasRight;
        if (lacks ? !(lackingIsZero && areZero(difference.left) && areZero(difference.right))
                  : difference.left != difference.right)
            differences += difference;
        a += hasLeft ? 1 : 0;
        b += hasRight ? 1 : 0;
    }
    return differences;
}
