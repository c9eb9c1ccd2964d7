/// What kvsim's command line asks for.
#ifndef APPS_KVSIM_KVSIM_OPTIONS_H
#define APPS_KVSIM_KVSIM_OPTIONS_H

#include "simulator/plc_service.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/// What the command line asked for.
struct KvsimOptions {
    int station = 0;         ///< 0 to 99
    QString tcp;             ///< [HOST:]PORT; empty for a pseudo-terminal
    QString link;            ///< path of a symbolic link to the pseudo-terminal; empty for none
    QString loadFile;        ///< memory image to begin with; empty for none
    QString saveFile;        ///< where the memory goes at the end; empty for nowhere
    QStringList assignments; ///< such as DM100=4660
    QStringList live;        ///< such as DM100=counter:1,1000
    QStringList readOnly;    ///< such as DM100-DM199
    WireTiming timing;
    QString serial;     ///< such as 9600,8e1; empty for any settings of the terminal
    QStringList faults; ///< such as late:0.01,800
    QString faultFile;  ///< empty for none
    int seed = 1;       ///< of faults and jitter
    QString trace;      ///< file, or TRACE_TO_STDERR; empty for no trace
};

#endif
