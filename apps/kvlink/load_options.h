/// The options that the commands share which put a load on the line.
#ifndef APPS_KVLINK_LOAD_OPTIONS_H
#define APPS_KVLINK_LOAD_OPTIONS_H

#include "runtime/failure.h"

#include <QtCore/QString>

namespace CLI
{
class App;
}

/// Which words are read again and again, and over what.
struct LoadOptions {
    QString address; ///< of the first word
    int words;       ///< of a request, 1 to KV_L20V_MAX_WORDS
    int baudRate;    ///< of the wire; 0 for that of the port, if it has one
};

/// Adds the address and -n to a command, with the defaults that the options hold.
/// @param address, words what they are, for the help
void addLoadOptions(CLI::App *command, LoadOptions *options, const char *address,
                    const char *words);

/// Adds --baud.
void addBaudOption(CLI::App *command, LoadOptions *options);

/// Whether a command can read words from this address. @return good, or StatusUsage
Failure checkWordAddress(const QString &address);

#endif
