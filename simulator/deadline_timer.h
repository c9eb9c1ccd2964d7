/// A timer for points in time, more precise than a millisecond.
#ifndef SIMULATOR_DEADLINE_TIMER_H
#define SIMULATOR_DEADLINE_TIMER_H

#include <QtCore/QObject>

/// Emits due() from the event loop at a time of the monotonic clock.
class DeadlineTimer : public QObject
{
    Q_OBJECT
public:
    DeadlineTimer();
    ~DeadlineTimer() override;

    /// False when the system has no timer left; the timer then never fires.
    bool isValid() const { return m_fd >= 0; }

    /// Fires once at @p ns of the monotonic clock, in nanoseconds; at once when that is past.
    /// Replaces an earlier start.
    void startAt(qint64 ns);

    /// Forgets the time that was set.
    void stop();

    /// The monotonic clock, in nanoseconds.
    static qint64 nowNs();

signals:
    /// The time has come.
    void due();

private:
    Q_DISABLE_COPY(DeadlineTimer)

    void set(qint64 ns);

    const int m_fd;
    qint64 m_setNs; // 0 while it is stopped
};

#endif
