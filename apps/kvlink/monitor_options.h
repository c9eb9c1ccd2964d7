/// What the command line says of monitor.
#ifndef APPS_KVLINK_MONITOR_OPTIONS_H
#define APPS_KVLINK_MONITOR_OPTIONS_H

#include "apps/kvlink/item_options.h"
#include "runtime/log_file.h"
#include "runtime/spool_delivery.h"

#include <QtCore/QString>

#include <string>

namespace CLI
{
class App;
}

/// What to read, when, and where the samples go.
struct MonitorOptions {
    ItemOptions items;
    int intervalMs = 1000;
    int count = 0;         ///< samples, 0 for no end
    qint64 durationMs = 0; ///< 0 for no end
    bool changesOnly = false;
    double deadband = 0; ///< of items without one of their own
    std::string output;  ///< file for the rows; empty for the standard output
    LogRotation rotation;
    SpoolSettings spool;
    QString report; ///< file for the page; empty for none
};

/// Adds the options to the command; those of read among them.
void addMonitorOptions(CLI::App *monitor, MonitorOptions *options);

#endif
