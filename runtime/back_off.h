/// The waits between tries of what fails, such as the opening of a lost port.
#ifndef RUNTIME_BACK_OFF_H
#define RUNTIME_BACK_OFF_H

#include <QtCore/QtGlobal>

/// First short waits, then longer ones: an adapter that is plugged in again is found soon, and one
/// that stays away costs little.
class BackOff
{
public:
    /// @param firstMs, lastMs the shortest and the longest wait, in milliseconds
    explicit BackOff(qint64 firstMs = 100, qint64 lastMs = 5000)
        : m_firstMs(firstMs), m_lastMs(lastMs), m_nextMs(firstMs)
    {}

    /// The wait before the next try, in milliseconds; twice as long each time, up to the longest.
    qint64 take()
    {
        const qint64 ms = m_nextMs;
        m_nextMs = qMin(2 * ms, m_lastMs);
        return ms;
    }

    /// It works: begins anew with the first wait.
    void reset() { m_nextMs = m_firstMs; }

private:
    qint64 m_firstMs;
    qint64 m_lastMs;
    qint64 m_nextMs;
};

#endif
