/// The project database as the runtime registers it with Qt's SQL module.
#ifndef RUNTIME_PROJECT_DATABASE_H
#define RUNTIME_PROJECT_DATABASE_H

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
/// @param file  path of the database; empty for the file beside the program, `GetDatabaseName()`
/// @param error gets the reason of a failure: no such file, not a database, no SQLite driver
/// @return whether the database is open
bool registerProjectDatabase(const QString &file, QString *error);

/// Looks up the link of a panel port, such as COM2 or ETHERNET, and its default station.
/// Signals end the process meanwhile, as above. Requires: a registered project database.
/// @param ip    IP address text of the PLC where it has one; empty to take the link's first default
/// node
/// @param port  port number that goes with @p ip
/// @param error gets the reason of a failure: no port name, or a port that the project does not
/// have
/// @return whether @p link was filled
bool findProjectLink(const QString &portName, const QString &ip, unsigned short port,
                     ProjectLink *link, QString *error);

/// Writes an example project database: COM2 leads to station 1, ETHERNET to a node at
/// 127.0.0.1:8501.
/// @param file  path of a file that does not exist yet
/// @param error gets the reason of a failure
/// @return whether the file was written; nothing is left behind otherwise
bool writeExampleProject(const QString &file, QString *error);

#endif
