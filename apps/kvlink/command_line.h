/// The command line of kvlink: the options that all commands share, and the command to carry out.
#ifndef APPS_KVLINK_COMMAND_LINE_H
#define APPS_KVLINK_COMMAND_LINE_H

#include "runtime/link.h"

#include <QtCore/QString>

#include <functional>
#include <string>

class QTextStream;

/// What is to be done.
struct CommandLine {
    LinkOptions link;

    /// The command that was named; gives the exit status. Values go to the first stream, everything
    /// else to the second. Requires: a QCoreApplication.
    std::function<int(const LinkOptions &, QTextStream &, QTextStream &)> run;

    /// Whether the command needs one of port, TCP address and simulated PLC.
    bool needsLink = true;
};

/// An argument as Qt's text.
inline QString argumentText(const std::string &argument)
{
    return QString::fromLocal8Bit(argument.data(), static_cast<int>(argument.size()));
}

/// What stores an argument in @p text, for options with a function.
inline std::function<void(const std::string &)> into(QString *text)
{
    return [text](const std::string &argument) { *text = argumentText(argument); };
}

/// Reads the command line. Help, the version and usage errors are printed here.
/// @return true when @p line is to be carried out; else false, with the program's exit status in
///         @p status
bool parseCommandLine(int argc, char **argv, CommandLine *line, int *status);

#endif
