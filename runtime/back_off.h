/// The waits between tries to open a lost port.
#ifndef RUNTIME_BACK_OFF_H
#define RUNTIME_BACK_OFF_H

#include <QtCore/QtGlobal>

/// First short waits, then longer ones: an adapter that is plugged in again is found soon, and one
/// that stays away costs little.
class BackOff
{
public:
    BackOff() : m_nextMs(FIRST_MS) {}

    /// The wait before the next try, in milliseconds; twice as long each time, up to 5 s.
    qint64 take()
    {
        const qint64 ms = m_nextMs;
        m_nextMs = qMin<qint64>(2 * ms, LAST_MS);
        return ms;
    }

    /// The port works: begins anew with the first wait.
    void reset() { m_nextMs = FIRST_MS; }

private:
    enum { FIRST_MS = 100, LAST_MS = 5000 };

    qint64 m_nextMs;
};

#endif
