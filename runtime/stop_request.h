/// SIGINT, SIGTERM and SIGHUP as a request to end a running command in an orderly way, SIGUSR1 as a
/// request to say how it gets on.
#ifndef RUNTIME_STOP_REQUEST_H
#define RUNTIME_STOP_REQUEST_H

#include "runtime/failure.h"

#include <QtCore/QtGlobal>

#include <functional>

/// From here on the first stop signal only notes the request; a second one, of any kind, ends the
/// process at once. A SIGHUP that is ignored, as below nohup, stays so. SIGUSR1 ends nothing. Further
/// calls do nothing; any thread may call. The functions below may be called by several threads.
/// @return StatusOpen when the system refuses; the signals then end the process as ever
Failure watchStopSignals();

/// Asks for a stop as a first signal does. Requires: `watchStopSignals` succeeded.
void requestStop();

/// Whether a stop signal has come since `watchStopSignals`, or a stop was asked for.
bool stopRequested();

/// Milliseconds since that signal. Requires: `stopRequested`.
qint64 msSinceStop();

/// Whether SIGUSR1 has come since `watchStopSignals` or the last call, however often: the user asks
/// for an interim line. Of several threads one gets it.
bool takeReportRequest();

/// A descriptor that can be read from then on when a stop was asked for; nothing is to be read.
/// Requires: `watchStopSignals` succeeded, as for the next one.
int stopDescriptor();

/// A descriptor that can be read until `takeReportRequest` takes a request.
int reportDescriptor();

/// Waits for a stop signal.
/// @param ms     at most so long, in milliseconds; 0 or less does not wait
/// @param report prints the interim line: is called for a report request, also for one that came
///               before; requests stay untaken when it is empty
/// @return `stopRequested`
bool waitForStop(qint64 ms, const std::function<void()> &report = std::function<void()>());

/// Waits until a file or a pipe can be read, at its end too, or a stop signal comes.
/// @return whether it can be read; false for a stop
bool waitForInput(int descriptor);

#endif
