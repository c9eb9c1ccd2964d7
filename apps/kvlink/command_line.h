/// The command line of kvlink: the options that all commands share, and the command to carry out.
#ifndef APPS_KVLINK_COMMAND_LINE_H
#define APPS_KVLINK_COMMAND_LINE_H

#include "runtime/link.h"

#include <functional>
#include <map>
#include <string>

class QTextStream;

/// What is to be done.
struct CommandLine {
    LinkOptions link;

    std::string linkName;  ///< of the link's settings in a file of links; empty for none
    std::string linksFile; ///< that file

    /// Where each setting of the link comes from, by the name of its option; absent for a default.
    std::map<std::string, std::string> origins;

    /// The command that was named; gives the exit status. Values go to the first stream, everything
    /// else to the second. Requires: a QCoreApplication.
    std::function<int(const LinkOptions &, QTextStream &, QTextStream &)> run;

    /// Whether the command needs one of port, TCP address and simulated PLC.
    bool needsLink = true;
};

/// Reads the command line. Help, the version and usage errors are printed to the streams.
/// @return true when @p line is to be carried out; else false, with the program's exit status in
///         @p status
bool parseCommandLine(int argc, char **argv, CommandLine *line, QTextStream &out, QTextStream &err,
                      int *status);

#endif
