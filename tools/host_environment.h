/// @file
/// The panel that a program runs on: paths, port numbers, processes, the clock and sleeping.
#ifndef TOOLS_HOST_ENVIRONMENT_H
#define TOOLS_HOST_ENVIRONMENT_H

#include <QtCore/QDir>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

/// The project's compile directory: "compile" in the application's directory, or the latter itself
/// when there is none. Requires: the application object exists.
QDir GetCompilePath();

/// The absolute path of the project database: the file "database" in the directory "database" of
/// the compile directory; a directory that is missing is skipped. The file itself need not exist.
/// Requires: the application object exists.
QString GetDatabaseName();

/// The HMI port number of a device name: 2000 for a name that begins with ETHERNET (any letter
/// case), otherwise 1001 plus the decimal number at its end (COM2 gives 1003; a number beyond an
/// int counts as 0).
/// @return the port number; -1 for an empty name, a name of digits only, a name that does not end
///         in a digit, or a port number beyond an int: no port has that number
int DevStrToHmiPort(const QString &dev_str);

/// Whether a process exists, also one of another user. The process id is the low 32 bits of @p pid.
bool ProcessIsRunning(long long pid);

/// Milliseconds of the system's monotonic clock.
qint64 CurrentMSecsSinceBoot();

/// Sleeps for the whole of the given time, whatever signals arrive.
void HRSleep(unsigned long milliseconds);

#endif
