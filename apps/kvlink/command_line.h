/// The command line of kvlink: the options that all commands share, and the command to carry out.
#ifndef APPS_KVLINK_COMMAND_LINE_H
#define APPS_KVLINK_COMMAND_LINE_H

#include <QtCore/QString>

#include <functional>
#include <string>

class QTextStream;

/// Which PLC to talk to, and how. A pacing value of -1 stands for the driver's default.
struct LinkOptions {
    std::string port;        ///< serial port, empty for none
    std::string tcp;         ///< TCP address, empty for none
    bool simulated = false;  ///< talk to an own simulated PLC
    int station = -1;        ///< 0 to 99
    int retry = -1;          ///< further attempts
    int delayMs = -1;        ///< pause before an attempt, in milliseconds
    int timeoutMs = -1;      ///< wait for a reply, in milliseconds
    std::string trace;       ///< file for each line that passes, "-" for stderr, empty for none
    std::string projectPort; ///< panel port whose station the project database names, or empty
    std::string projectFile; ///< project database, empty for the one beside the program
    std::string driverPath;  ///< plug-in file, empty for the usual one
};

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

/// Reads the command line. Help, the version and usage errors are printed here.
/// @return true when @p line is to be carried out; else false, with the program's exit status in
///         @p status
bool parseCommandLine(int argc, char **argv, CommandLine *line, int *status);

#endif
