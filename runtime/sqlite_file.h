/// SQLite files through Qt's SQL module.
#ifndef RUNTIME_SQLITE_FILE_H
#define RUNTIME_SQLITE_FILE_H

#include "runtime/failure.h"

#include <QtCore/QVariant>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

/// Adds a connection to an SQLite file, which is not opened yet. Requires: no connection has that
/// name. Only the thread that adds it may use it.
/// @param file any name that the system takes
QSqlDatabase addSqlite(const QString &connection, const QString &file);

/// Why the latest call of a connection failed. @return StatusOpen with SQLite's text
Failure sqliteFailure(const QSqlDatabase &database);

/// Carries out a statement without a result. @return StatusOpen with SQLite's text
Failure execute(const QSqlDatabase &database, const char *statement);

/// Carries out a statement, whose rows can then be read forwards.
/// @param values to bind, in the statement's order
/// @return StatusOpen with SQLite's text
Failure execute(QSqlQuery *query, const char *statement,
                const QVariantList &values = QVariantList());

/// The first value of a statement's result. @param value is filled on success
/// @return StatusOpen with SQLite's text, also when there is no row
Failure ask(const QSqlDatabase &database, const char *statement, QVariant *value);

#endif
