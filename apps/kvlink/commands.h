/// What kvlink does once its command line is read.
#ifndef APPS_KVLINK_COMMANDS_H
#define APPS_KVLINK_COMMANDS_H

class QTextStream;
struct Options;

/// kvlink's exit statuses.
enum ExitStatus {
    StatusGood = 0,
    StatusPlcError = 1, ///< the PLC answered with an error
    StatusUsage = 2,    ///< the command line is wrong
    StatusOpen = 3,     ///< a port, the plug-in, a project or the output cannot be used
    StatusNoReply = 4,  ///< the PLC did not answer
    StatusUnusable = 5  ///< the reply was unusable, or the request was refused
};

/// Carries out a command line.
/// Requires: a QCoreApplication.
/// @param out gets the values, or the lines of `info`
/// @param err gets warnings, the trace and a failure's message
/// @return an ExitStatus
int runCommand(const Options &options, QTextStream &out, QTextStream &err);

#endif
