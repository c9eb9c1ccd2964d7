/// The steady schedule of repeated samples.
#ifndef RUNTIME_SCHEDULE_H
#define RUNTIME_SCHEDULE_H

#include <QtCore/QtGlobal>

/// The tick to wait for after one has been served. Ticks are due at multiples of the interval, so
/// that delays do not add up; those that are overdue already are left out.
/// @param tick      the tick that was served
/// @param elapsedMs time since tick 0
/// @param missed    raised by the number of ticks left out
inline qint64 tickAfter(qint64 tick, qint64 elapsedMs, int intervalMs, qint64 *missed)
{
    const qint64 notOverdue = (elapsedMs + intervalMs - 1) / intervalMs;
    const qint64 next = qMax(tick + 1, notOverdue);
    *missed += next - (tick + 1);
    return next;
}

#endif
