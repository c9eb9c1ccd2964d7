#include "runtime/sqlite_file.h"

#include <QtCore/QFile>
#include <QtSql/QSqlError>

QSqlDatabase addSqlite(const QString &connection, const QString &file)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(QLatin1String("QSQLITE"), connection);
    // As a URI, in which a file name may have any bytes.
    database.setDatabaseName(QLatin1String("file:") +
                             QLatin1String(QFile::encodeName(file).toPercentEncoding("/")));
    database.setConnectOptions(QLatin1String("QSQLITE_OPEN_URI"));
    return database;
}

Failure sqliteFailure(const QSqlDatabase &database)
{
    return Failure(StatusOpen, database.lastError().databaseText());
}

Failure execute(const QSqlDatabase &database, const char *statement)
{
    QSqlQuery query(database);
    return execute(&query, statement);
}

Failure execute(QSqlQuery *query, const char *statement, const QVariantList &values)
{
    query->setForwardOnly(true);
    bool isGood = query->prepare(QLatin1String(statement));
    for (const QVariant &value : values)
        query->addBindValue(value);
    isGood = isGood && query->exec();
    return isGood ? Failure() : Failure(StatusOpen, query->lastError().databaseText());
}

Failure ask(const QSqlDatabase &database, const char *statement, QVariant *value)
{
    QSqlQuery query(database);
    Failure failure = execute(&query, statement);
    if (!failure && !query.next())
        failure = Failure(StatusOpen, query.lastError().databaseText());
    if (!failure)
        *value = query.value(0);
    return failure;
}
