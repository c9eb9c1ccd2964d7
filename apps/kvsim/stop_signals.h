/// SIGINT, SIGTERM and SIGHUP as an event.
#ifndef APPS_KVSIM_STOP_SIGNALS_H
#define APPS_KVSIM_STOP_SIGNALS_H

#include "runtime/failure.h"

#include <QtCore/QObject>

/// From a successful watch() on, the signals no longer end the process but emit stopped() from the
/// event loop. A SIGHUP that the process ignores already stays ignored.
class StopSignals : public QObject
{
    Q_OBJECT
public:
    StopSignals();
    ~StopSignals() override;

    /// Requires: called once, before the process has a second thread.
    /// @return StatusOpen when the system refuses
    Failure watch();

signals:
    /// One of the signals has come; emitted once.
    void stopped();

private:
    int m_fd;
};

#endif
