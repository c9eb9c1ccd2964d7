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

/// An interval, in milliseconds, that leaves a tenth of a sample's time free: one or two digits, then
/// zeros. @param sampleMs what a sample takes, at least 0
inline qint64 roomyIntervalMs(qint64 sampleMs)
{
    qint64 unit = 1;
    const qint64 ms = sampleMs + (sampleMs + 9) / 10;
    while (ms / unit >= 100)
        unit *= 10;
    return (ms + unit - 1) / unit * unit;
}

#endif
