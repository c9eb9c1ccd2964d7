/// The work of the program kvsim: a simulated PLC that serves until the program is asked to stop.
#ifndef APPS_KVSIM_KVSIM_H
#define APPS_KVSIM_KVSIM_H

#include <QtCore/QString>
#include <QtCore/QStringList>

class QTextStream;

/// Exit statuses of the program.
enum KvsimExit {
    KVSIM_OK = 0,         ///< stopped by SIGINT or SIGTERM
    KVSIM_USAGE = 2,      ///< an option or its value makes no sense
    KVSIM_CANNOT_OPEN = 3 ///< the port or the link cannot be opened
};

/// What the command line asked for.
struct KvsimOptions {
    KvsimOptions() : station(0) {}

    int station;         ///< 0 to 99
    QString tcp;         ///< [HOST:]PORT; empty for a pseudo-terminal
    QString link;        ///< path of a symbolic link to the pseudo-terminal; empty for none
    QStringList presets; ///< such as DM100=4660
};

/// Serves until SIGINT or SIGTERM. When ready it prints one line on @p out, flushed: "pty " and the
/// device, or "tcp ", host, colon and port. Errors and the closing summary go to @p err.
/// Requires: a QCoreApplication, and no second thread.
/// @return a value of KvsimExit
int runKvsim(const KvsimOptions &options, QTextStream &out, QTextStream &err);

#endif
