/// SIGINT, SIGTERM and SIGHUP as a request to end a running command in an orderly way.
#ifndef RUNTIME_STOP_REQUEST_H
#define RUNTIME_STOP_REQUEST_H

#include <QtCore/QtGlobal>

/// From here on the first signal only notes the request; a second one, of any kind, ends the
/// process at once. A SIGHUP that is ignored, as below nohup, stays so.
/// @return false when the system refuses; the signals then end the process as ever
bool watchStopSignals();

/// Whether a signal has come since `watchStopSignals`.
bool stopRequested();

/// Milliseconds since that signal. Requires: `stopRequested`.
qint64 msSinceStop();

/// Waits for a signal.
/// @param ms at most so long, in milliseconds; 0 or less does not wait
/// @return `stopRequested`
bool waitForStop(qint64 ms);

#endif
