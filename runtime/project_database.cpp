#include "runtime/project_database.h"

#include "tools/tools.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QVariant>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlError>
#include <QtSql/QSqlQuery>

const char PROJECT_CONNECTION[] = "project";

namespace
{

const int ETHERNET_HMI_PORT = 2000;

const char EXAMPLE_CONNECTION[] = "example-project";

const char PROBING_STATEMENT[] = "SELECT LINK.LINKID, LINK.HMIPORT, NODE.LINKID, NODE.STATIONID, "
                                 "NODE.IP, NODE.PORT, NODE.ISDEFAULT FROM LINK, NODE LIMIT 0";

const char *const EXAMPLE_STATEMENTS[] = {
    "CREATE TABLE LINK (LINKID INTEGER PRIMARY KEY, HMIPORT INTEGER)",
    "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, IP TEXT, PORT INTEGER, "
    "ISDEFAULT INTEGER)",
    "INSERT INTO LINK VALUES (1, 1003), (2, 2000)",
    "INSERT INTO NODE VALUES (1, 1, '', 0, 1), (1, 2, '', 0, 0), "
    "(2, 0, '127.0.0.1', 8501, 1), (2, 3, '127.0.0.1', 8502, 1)",
};

QSqlDatabase addSqlite(const char *connection, const QString &file)
{
    QSqlDatabase database =
        QSqlDatabase::addDatabase(QLatin1String("QSQLITE"), QLatin1String(connection));
    database.setDatabaseName(file);
    return database;
}

bool execute(const QSqlDatabase &database, const char *statement, QString *error)
{
    QSqlQuery query(database);
    if (query.exec(QLatin1String(statement)))
        return true;
    *error = query.lastError().databaseText();
    return false;
}

bool fillExample(const QString &file, QString *error)
{
    QSqlDatabase database = addSqlite(EXAMPLE_CONNECTION, file);
    if (!database.open()) {
        *error = database.lastError().databaseText();
        return false;
    }
    for (const char *statement : EXAMPLE_STATEMENTS) {
        if (!execute(database, statement, error))
            return false;
    }
    return true;
}

} // namespace

bool registerProjectDatabase(const QString &file, QString *error)
{
    const QString path = file.isEmpty() ? GetDatabaseName() : file;
    if (!QFileInfo(path).isFile()) {
        *error = QString::fromLatin1("no project database %1").arg(path);
        return false;
    }
    if (QSqlDatabase::contains(QLatin1String(PROJECT_CONNECTION)))
        QSqlDatabase::removeDatabase(QLatin1String(PROJECT_CONNECTION));
    QSqlDatabase database = addSqlite(PROJECT_CONNECTION, path);
    database.setConnectOptions(QLatin1String("QSQLITE_OPEN_READONLY"));
    // SQLite looks into the file at the first statement only. All columns that a lookup names.
    if (database.open() && execute(database, PROBING_STATEMENT, error))
        return true;
    if (!database.isOpen())
        *error = database.lastError().databaseText();
    *error = QString::fromLatin1("cannot use project database %1: %2").arg(path, *error);
    return false;
}

bool findProjectLink(const QString &portName, const QString &ip, unsigned short port,
                     ProjectLink *link, QString *error)
{
    const QString connection = QLatin1String(PROJECT_CONNECTION);
    const int hmiPort = DevStrToHmiPort(portName);
    if (hmiPort < 0) {
        *error = QString::fromLatin1("\"%1\" is no port of a panel, such as COM2 or ETHERNET")
                     .arg(portName);
        return false;
    }
    int linkId = 0;
    unsigned char station = 0;
    QList<LinkIdStationId> nodes;
    bool found = false;
    if (ip.isEmpty() || hmiPort != ETHERNET_HMI_PORT) {
        found = GetLinkIdAndDefaultStationId(connection, hmiPort, linkId, station);
    } else if (GetLinkIdAndDefaultStationId(connection, hmiPort, ip, port, nodes)) {
        found = true;
        linkId = nodes.first().linkId;
        station = nodes.first().stationId;
    }
    if (!found) {
        const bool byAddress = !ip.isEmpty() && hmiPort == ETHERNET_HMI_PORT;
        *error = QString::fromLatin1("the project has no default station at %1 (HMI port %2%3)")
                     .arg(portName)
                     .arg(hmiPort)
                     .arg(byAddress ? QString::fromLatin1(", %1:%2").arg(ip).arg(port) : QString());
        return false;
    }
    link->hmiPort = hmiPort;
    link->linkId = linkId;
    link->station = station;
    return true;
}

bool writeExampleProject(const QString &file, QString *error)
{
    // Reserves the name, and finds out here what SQLite would only say in general.
    QFile reserved(file);
    if (reserved.exists()) {
        *error = QString::fromLatin1("%1 exists already").arg(file);
        return false;
    }
    if (!reserved.open(QIODevice::WriteOnly)) {
        *error = QString::fromLatin1("cannot write %1: %2").arg(file, reserved.errorString());
        return false;
    }
    reserved.close();
    const bool written = fillExample(file, error);
    QSqlDatabase::removeDatabase(QLatin1String(EXAMPLE_CONNECTION));
    if (!written)
        reserved.remove();
    return written;
}
