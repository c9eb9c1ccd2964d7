#include "runtime/project_database.h"

#include "runtime/sqlite_file.h"
#include "tools/tools.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QVariant>

const char PROJECT_CONNECTION[] = "project";

namespace
{

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

Failure fillExample(const QString &file)
{
    QSqlDatabase database = addSqlite(QLatin1String(EXAMPLE_CONNECTION), file);
    if (!database.open())
        return sqliteFailure(database);
    for (const char *statement : EXAMPLE_STATEMENTS) {
        if (Failure failure = execute(database, statement))
            return failure;
    }
    return Failure();
}

} // namespace

Failure registerProjectDatabase(const QString &file)
{
    const QString path = file.isEmpty() ? GetDatabaseName() : file;
    if (!QFileInfo(path).isFile())
        return Failure(StatusOpen, QString::fromLatin1("no project database %1").arg(path));
    if (QSqlDatabase::contains(QLatin1String(PROJECT_CONNECTION)))
        QSqlDatabase::removeDatabase(QLatin1String(PROJECT_CONNECTION));
    QSqlDatabase database = addSqlite(QLatin1String(PROJECT_CONNECTION), path);
    database.setConnectOptions(QLatin1String("QSQLITE_OPEN_URI;QSQLITE_OPEN_READONLY"));
    // SQLite looks into the file at the first statement only. All columns that a lookup names.
    Failure failure =
        database.open() ? execute(database, PROBING_STATEMENT) : sqliteFailure(database);
    if (failure.isGood())
        return failure;
    return Failure(
        StatusOpen,
        QString::fromLatin1("cannot use project database %1: %2").arg(path, failure.text()));
}

Failure findProjectLink(const QString &portName, const QString &ip, unsigned short port,
                        ProjectLink *link)
{
    const QString connection = QLatin1String(PROJECT_CONNECTION);
    const int hmiPort = DevStrToHmiPort(portName);
    if (hmiPort < 0)
        return Failure(StatusOpen, QString::fromLatin1("panel port \"%1\": expected a name "
                                                       "such as COM2 or ETHERNET")
                                       .arg(portName));
    // Only links of the Ethernet port have addresses.
    const bool byAddress = !ip.isEmpty() && hmiPort == DevStrToHmiPort(QLatin1String("ETHERNET"));
    int linkId = 0;
    unsigned char station = 0;
    QList<LinkIdStationId> nodes;
    bool found = false;
    if (!byAddress) {
        found = GetLinkIdAndDefaultStationId(connection, hmiPort, linkId, station);
    } else if (GetLinkIdAndDefaultStationId(connection, hmiPort, ip, port, nodes)) {
        found = true;
        linkId = nodes.first().linkId;
        station = nodes.first().stationId;
    }
    if (!found) {
        const QString address =
            byAddress ? QString::fromLatin1(", %1:%2").arg(ip, QString::number(port)) : QString();
        return Failure(StatusOpen, QString::fromLatin1("the project has no default station at %1 "
                                                       "(HMI port %2%3)")
                                       .arg(portName, QString::number(hmiPort), address));
    }
    link->hmiPort = hmiPort;
    link->linkId = linkId;
    link->station = station;
    return Failure();
}

Failure writeExampleProject(const QString &file)
{
    // Reserves the name, and finds out here what SQLite would only say in general.
    QFile reserved(file);
    if (reserved.exists())
        return Failure(StatusOpen, QString::fromLatin1("%1 exists already").arg(file));
    if (!reserved.open(QIODevice::WriteOnly))
        return Failure(
            StatusOpen,
            QString::fromLatin1("cannot write %1: %2").arg(file, reserved.errorString()));
    reserved.close();
    Failure failure = fillExample(file);
    QSqlDatabase::removeDatabase(QLatin1String(EXAMPLE_CONNECTION));
    if (failure)
        reserved.remove();
    return failure;
}
