#include "tools/link_database.h"

#include <QtCore/QScopedPointer>
#include <QtCore/QVariant>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

namespace
{

// An executed statement, or none where the connection or the statement fails. Texts are bound, so
// that whatever an address holds stays a value.
class Lookup
{
public:
    Lookup(const QString &connectionName, const QString &statement,
           const QVariant &boundText = QVariant())
        : m_database(opened(connectionName)), m_executed(false)
    {
        if (!m_database.isOpen())
            return;
        // Not earlier: a query without a connection takes the default one and logs when that is
        // another thread's.
        m_query.reset(new QSqlQuery(m_database));
        m_query->setForwardOnly(true);
        if (!m_query->prepare(statement))
            return;
        if (boundText.isValid())
            m_query->addBindValue(boundText);
        m_executed = m_query->exec();
    }

    bool next() { return m_executed && m_query->next(); }
    int number(int column) const { return m_query->value(column).toInt(); }

    unsigned char station(int column) const
    {
        return static_cast<unsigned char>(m_query->value(column).toUInt() & 0xFF);
    }

private:
    // Opened here rather than by QSqlDatabase::database, which logs a failure.
    static QSqlDatabase opened(const QString &connectionName)
    {
        QSqlDatabase database = QSqlDatabase::database(connectionName, false);
        if (database.isValid() && !database.isOpen())
            static_cast<void>(database.open()); // a query of a closed one fails
        return database;
    }

    QSqlDatabase m_database;
    QScopedPointer<QSqlQuery> m_query;
    bool m_executed;
};

} // namespace

bool GetLinkIdAndDefaultStationId(const QString &connectionName, int hmiPort, int &linkId,
                                  unsigned char &stationId)
{
    Lookup rows(connectionName,
                QString::fromLatin1("SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE "
                                    "WHERE LINK.HMIPORT = %1 AND NODE.LINKID = LINK.LINKID "
                                    "AND NODE.ISDEFAULT = 1;")
                    .arg(hmiPort));
    if (!rows.next())
        return false;
    linkId = rows.number(0);
    stationId = rows.station(1);
    return true;
}

bool GetLinkIdAndDefaultStationId(const QString &connectionName, int linkId,
                                  QList<LinkIdStationId> &result)
{
    Lookup rows(connectionName,
                QString::fromLatin1("SELECT NODE.STATIONID FROM NODE WHERE NODE.LINKID = %1 "
                                    "AND NODE.ISDEFAULT = 1")
                    .arg(linkId));
    while (rows.next()) {
        const LinkIdStationId entry = {linkId, rows.station(0)};
        result.append(entry);
    }
    return !result.isEmpty();
}

bool GetLinkIdAndDefaultStationId(const QString &connectionName, int hmiPort, const QString &ip,
                                  unsigned short port, QList<LinkIdStationId> &result)
{
    Lookup rows(connectionName,
                QString::fromLatin1("SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE "
                                    "WHERE LINK.HMIPORT = %1 AND NODE.LINKID = LINK.LINKID "
                                    "AND NODE.IP = ? AND NODE.PORT = %2 AND NODE.ISDEFAULT = 1;")
                    .arg(hmiPort)
                    .arg(port),
                ip.isNull() ? QString::fromLatin1("") : ip); // a null text would be bound as NULL
    while (rows.next()) {
        const LinkIdStationId entry = {rows.number(0), rows.station(1)};
        result.append(entry);
    }
    return !result.isEmpty();
}
