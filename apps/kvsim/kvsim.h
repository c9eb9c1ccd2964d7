/// The work of the program kvsim: a simulated PLC that serves until the program is asked to stop.
#ifndef APPS_KVSIM_KVSIM_H
#define APPS_KVSIM_KVSIM_H

#include "apps/kvsim/kvsim_options.h"
#include "runtime/failure.h"

class QTextStream;

/// Serves until SIGINT, SIGTERM or SIGHUP. When ready it prints one line on @p out, flushed: "pty "
/// and the device, or "tcp ", host, colon and port. Errors, the trace and the closing summary go to
/// @p err.
/// Requires: a QCoreApplication, and no second thread.
/// @return StatusGood when a signal has ended it; StatusUsage for an option, its value or a line of
///         a file that makes no sense; StatusOpen for a port, a link or a file that cannot be
///         opened or written
Status runKvsim(const KvsimOptions &options, QTextStream &out, QTextStream &err);

#endif
