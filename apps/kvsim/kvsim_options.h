/// What kvsim's command line asks for, and the program's exit statuses.
#ifndef APPS_KVSIM_KVSIM_OPTIONS_H
#define APPS_KVSIM_KVSIM_OPTIONS_H

#include "simulator/plc_service.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/// Exit statuses of the program.
enum KvsimExit {
    KVSIM_OK = 0,         ///< stopped by SIGINT, SIGTERM or SIGHUP
    KVSIM_USAGE = 2,      ///< an option, its value or a line of a file makes no sense
    KVSIM_CANNOT_OPEN = 3 ///< the port, the link or a file cannot be opened or written
};

/// What the command line asked for.
struct KvsimOptions {
    KvsimOptions() : station(0), seed(1) {}

    int station;             ///< 0 to 99
    QString tcp;             ///< [HOST:]PORT; empty for a pseudo-terminal
    QString link;            ///< path of a symbolic link to the pseudo-terminal; empty for none
    QString loadFile;        ///< memory image to begin with; empty for none
    QString saveFile;        ///< where the memory goes at the end; empty for nowhere
    QStringList assignments; ///< such as DM100=4660
    QStringList live;        ///< such as DM100=counter:1,1000
    QStringList readOnly;    ///< such as DM100-DM199
    WireTiming timing;
    QStringList faults; ///< such as late:0.01,800
    QString faultFile;  ///< empty for none
    int seed;
    QString trace; ///< file, "-" for stderr; empty for no trace
};

#endif
