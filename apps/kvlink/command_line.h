/// The command line of kvlink: the options that all commands share, and the command to carry out.
#ifndef APPS_KVLINK_COMMAND_LINE_H
#define APPS_KVLINK_COMMAND_LINE_H

#include "runtime/link.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace CLI
{
class App;
}

class QTextStream;

/// A command with its own options; gives the exit status. Values go to the first stream, everything
/// else to the second. Requires: a QCoreApplication.
typedef std::function<int(const LinkOptions &, QTextStream &, QTextStream &)> Command;

/// The command that a function carries out with options of its own.
template <typename Options>
Command withOptions(const std::shared_ptr<Options> &options,
                    int (*run)(const Options &, const LinkOptions &, QTextStream &, QTextStream &))
{
    return [options, run](const LinkOptions &link, QTextStream &out, QTextStream &err) {
        return run(*options, link, out, err);
    };
}

/// What is to be done.
struct CommandLine {
    LinkOptions link;
    LinkOptions given; ///< without the settings of a named link

    std::string linkName;  ///< of the link's settings in a file of links; empty for none
    std::string linksFile; ///< that file

    /// Where each setting of the link comes from, by the name of its option; absent for a default.
    std::map<std::string, std::string> origins;

    Command run; ///< the one that was named

    /// Whether the command needs one of port, TCP address and simulated PLC.
    bool needsLink = true;

    /// Whether the items of the command may name their links, so that none has to be given.
    bool itemsNameLinks = false;
};

/// Adds the options of a link.
void addLinkOptions(CLI::App &app, LinkOptions *link);

/// Reads the command line. Help, the version and usage errors are printed to the streams.
/// @return true when @p line is to be carried out; else false, with the program's exit status in
///         @p status
bool parseCommandLine(int argc, char **argv, CommandLine *line, QTextStream &out, QTextStream &err,
                      int *status);

#endif
