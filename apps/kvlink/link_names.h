/// Links by name: INI files with a section for each link.
#ifndef APPS_KVLINK_LINK_NAMES_H
#define APPS_KVLINK_LINK_NAMES_H

#include "runtime/failure.h"
#include "runtime/link.h"

#include <QtCore/QString>

#include <string>

namespace CLI
{
class App;
}

struct CommandLine;

/// A link that an item names.
struct NamedLink {
    LinkOptions options;
    QString tagFile; ///< empty for none
};

/// Adds --link and --links. Requires: the options of the link have been added.
void addLinkNames(CLI::App &app, CommandLine *line);

/// Takes the settings of the link that --link or else KVLINK_LINK names, as far as the command line
/// does not give them, and notes where each comes from. KVLINK_LINK does not count where the command
/// line says how to reach the PLC. Requires: the command line has been read.
/// Throws CLI::ConfigError: no such link, an unknown key or a bad value; CLI::FileError: a file that
/// cannot be read.
void takeNamedLink(CLI::App &app, CommandLine *line);

/// Whether the command line itself gives an option, such as "port". Requires: `takeNamedLink` was
/// called.
bool isTyped(const CommandLine &line, const std::string &option);

/// Finds a link of the files of links, with the settings of the command line but for its port.
/// @return StatusUsage with what is wrong with the file, or that there is no such link; StatusOpen
///         when the file cannot be read
Failure findNamedLink(const CommandLine &line, const QString &name, NamedLink *link);

#endif
