/// The command line of kvlink.
#ifndef APPS_KVLINK_OPTIONS_H
#define APPS_KVLINK_OPTIONS_H

#include <QtCore/QString>

#include <string>
#include <vector>

/// What the command line asks for. A pacing value of -1 stands for the driver's default.
struct Options {
    enum Command { Info, Read, Write, ProjectInit };

    Command command = Info;
    std::string address;
    std::string kind = "word"; ///< name of an item kind
    std::vector<std::string> values;
    int count = 1;

    std::string port;       ///< serial port, empty for none
    std::string tcp;        ///< TCP address, empty for none
    bool simulated = false; ///< talk to an own simulated PLC
    int station = -1;       ///< 0 to 99
    int retry = -1;         ///< further attempts
    int delayMs = -1;       ///< pause before an attempt, in milliseconds
    int timeoutMs = -1;     ///< wait for a reply, in milliseconds
    bool trace = false;     ///< print each line that is sent or received
    std::string
        projectPort; ///< panel port whose station the project database names, empty for none
    std::string projectFile; ///< project database, empty for the one beside the program
    std::string driverPath;  ///< plug-in file, empty for the usual one
};

/// An argument as Qt's text.
inline QString argumentText(const std::string &argument)
{
    return QString::fromLocal8Bit(argument.data(), static_cast<int>(argument.size()));
}

/// Reads the command line. Help, the version and usage errors are printed here.
/// @return true when @p options are to be carried out; else false, with the program's exit status
///        in  @p status
bool parseOptions(int argc, char **argv, Options *options, int *status);

#endif
