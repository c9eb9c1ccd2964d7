/// The project database as the runtime registers it with Qt's SQL module.
#ifndef RUNTIME_PROJECT_DATABASE_H
#define RUNTIME_PROJECT_DATABASE_H

#include "runtime/failure.h"

#include <QtCore/QString>

/// Name of the connection that `registerProjectDatabase` adds.
extern const char PROJECT_CONNECTION[];

/// What the project says of a panel port.
struct ProjectLink {
    int hmiPort;
    int linkId;
    int station; ///< default station of the link, 0 to 255
};

/// Registers a project database, an SQLite file that is opened for reading only, under
/// PROJECT_CONNECTION. An earlier registration is replaced. A database may never answer (a view
/// without end), so a program catches signals only after its lookups.
/// Requires: a QCoreApplication.
/// @param file path of the database; empty for the file beside the program, `GetDatabaseName()`
/// @return good when the database is open; else StatusOpen: no such file, not a database, no SQLite
///         driver
Failure registerProjectDatabase(const QString &file);

/// Looks up the link of a panel port, such as COM2 or ETHERNET, and its default station.
/// Signals end the process meanwhile, as above. Requires: a registered project database.
/// @param ip   IP address text of the PLC; empty to take the link's first default node
/// @param port port number that goes with @p ip
/// @param link is filled on success
/// @return StatusOpen when the port's name is unknown, or the project does not have it
Failure findProjectLink(const QString &portName, const QString &ip, unsigned short port,
                        ProjectLink *link);

/// Writes an example project database: COM2 leads to station 1, ETHERNET to a node at
/// 127.0.0.1:8501.
/// @param file path of a file that does not exist yet
/// @return StatusOpen when the file cannot be written; nothing is left behind then
Failure writeExampleProject(const QString &file);

#endif
