/// The work of the program kvbridge: one PLC for several clients, until it is asked to stop.
#ifndef APPS_KVBRIDGE_KVBRIDGE_H
#define APPS_KVBRIDGE_KVBRIDGE_H

#include "bridge/bridge_server.h"
#include "runtime/failure.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

class QTextStream;

/// What the command line asks for.
struct KvbridgeOptions {
    BridgeSettings bridge; ///< without the places and ranges that are texts here
    QString listen;        ///< [HOST:]PORT
    QStringList allow;     ///< such as 192.168.0.0/24; none for this machine alone
    QString metrics;       ///< [HOST:]PORT; empty for none
    QString trace;         ///< file, or TRACE_TO_STDERR; empty for no trace
};

/// Serves until SIGINT, SIGTERM or SIGHUP. When ready it prints "tcp ", host, colon and port on
/// @p out, and the same behind "metrics " where metrics are asked for, and tells the service
/// manager. The log, the trace, and the statistics on SIGUSR1 and at the end go to @p err.
/// Requires: a QCoreApplication, and no second thread.
/// @return StatusGood when a signal has ended it; StatusUsage for a value that makes no sense;
///         StatusOpen for a port or a file that cannot be opened or written
Status runKvbridge(const KvbridgeOptions &options, QTextStream &out, QTextStream &err);

#endif
