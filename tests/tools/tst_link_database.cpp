#include "tests/message_capture.h"

#include "tools/link_database.h"

#include <QtCore/QTemporaryFile>
#include <QtCore/QThread>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>
#include <QtTest/QTest>

namespace
{

const char *const TABLES =
    "CREATE TABLE LINK (LINKID, HMIPORT);"
    "INSERT INTO LINK SELECT 7, 1003 UNION ALL SELECT 8, 2000 UNION ALL SELECT 9, 1005"
    " UNION ALL SELECT 'link', 1006 UNION ALL SELECT 11, 1007;"
    "CREATE TABLE NODE (LINKID, STATIONID, IP, PORT, ISDEFAULT);"
    "INSERT INTO NODE SELECT 7, 99, NULL, NULL, 0 UNION ALL SELECT 7, 5, '', 0, 1"
    " UNION ALL SELECT 7, 6, NULL, NULL, 1 UNION ALL SELECT 8, 1, '127.0.0.1', 8501, 1"
    " UNION ALL SELECT 8, 2, '127.0.0.1', 8502, 1 UNION ALL SELECT 8, 3, '127.0.0.2', 8501, 1"
    " UNION ALL SELECT 8, 4, '127.0.0.1', 8501, 0 UNION ALL SELECT 8, 511, '127.0.0.1', 8501, 1"
    " UNION ALL SELECT 9, NULL, NULL, NULL, 1 UNION ALL SELECT 11, 1, NULL, NULL, 0"
    " UNION ALL SELECT 'link', 'station', NULL, NULL, 1";

// "link/station" of every entry, behind the outcome.
QString outcome(bool found, const QList<LinkIdStationId> &entries)
{
    QString text(found ? "true" : "false");
    for (const LinkIdStationId &entry : entries)
        text += QString(" %1/%2").arg(entry.linkId).arg(entry.stationId);
    return text;
}

QString firstOfPort(const char *name, int hmiPort)
{
    LinkIdStationId entry = {-77, 77};
    const bool found = GetLinkIdAndDefaultStationId(name, hmiPort, entry.linkId, entry.stationId);
    return outcome(found, QList<LinkIdStationId>() << entry);
}

// Of a link; with an address, of a port.
QString allOf(const char *name, int key, const QString &ip = "no address", unsigned short port = 0)
{
    QList<LinkIdStationId> entries;
    const bool found = ip == "no address"
                           ? GetLinkIdAndDefaultStationId(name, key, entries)
                           : GetLinkIdAndDefaultStationId(name, key, ip, port, entries);
    return outcome(found, entries);
}

} // namespace

class TestLinkDatabase : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!QSqlDatabase::isDriverAvailable("QSQLITE"))
            QSKIP("this Qt has no SQLite driver", SkipAll);
        QVERIFY(m_file.open());
        const QString files[] = {m_file.fileName() + "/missing", ":memory:", m_file.fileName()};
        const char *const names[] = {"no file", "no tables", "links"};
        for (int k = 0; k < 3; ++k) {
            QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", names[k]);
            database.setDatabaseName(files[k]);
            QCOMPARE(database.open(), k > 0);
        }
        QSqlQuery query(QSqlDatabase::database("links"));
        for (const QString &statement : QString(TABLES).split(';'))
            QVERIFY(query.exec(statement));
    }

    // The first look-up of every test opens the connection.
    void init() { QSqlDatabase::database("links", false).close(); }

    // Of a port the first row, of a link the default stations.
    void takesTheFirstRowOrTheDefaults()
    {
        QCOMPARE(firstOfPort("links", 1003), QString("true 7/5"));
        QCOMPARE(firstOfPort("links", 1005), QString("true 9/0"));
        QCOMPARE(firstOfPort("links", 1006), QString("true 0/0"));
        QCOMPARE(firstOfPort("links", 1007), QString("false -77/77"));
        QVERIFY(QSqlDatabase::database("links", false).isOpen());
        init();
        QCOMPARE(allOf("links", 7), QString("true 7/5 7/6"));
        QCOMPARE(allOf("links", 8), QString("true 8/1 8/2 8/3 8/255"));
        QCOMPARE(allOf("links", 11), QString("false"));
    }

    // Address texts stay values. A link without Ethernet entries gives a null text.
    void takesTheStationsOfAnAddress()
    {
        for (const char *text : {"127.0.0.1'", "' OR '1'='1", "'; DROP TABLE NODE; --", "%1", "?"})
            QCOMPARE(allOf("links", 2000, text, 8501), QString("false"));
        QCOMPARE(allOf("links", 2000, "127.0.0.1", 8501), QString("true 8/1 8/255"));
        QCOMPARE(allOf("links", 2000, "127.0.0.1", 65535), QString("false"));
        QCOMPARE(allOf("links", 1003, "127.0.0.1", 8501), QString("false"));
        QCOMPARE(allOf("links", 1003, "", 0), QString("true 7/5"));
        QCOMPARE(allOf("links", 1003, QString(), 0), QString("true 7/5"));
    }

    void appendsToWhatTheListHolds()
    {
        const LinkIdStationId entry = {1, 2};
        QList<LinkIdStationId> entries;
        entries << entry;
        QVERIFY(GetLinkIdAndDefaultStationId("links", 11, entries));
        QVERIFY(GetLinkIdAndDefaultStationId("links", 1003, "127.0.0.1", 1, entries));
        QVERIFY(GetLinkIdAndDefaultStationId("links", 7, entries));
        QVERIFY(GetLinkIdAndDefaultStationId("links", 2000, "127.0.0.2", 8501, entries));
        QCOMPARE(outcome(true, entries), QString("true 1/2 7/5 7/6 8/3"));
    }

    void reportsEveryFailureAsFalseSilently()
    {
        struct OtherThread : QThread {
            void run() { QSqlDatabase::addDatabase("QSQLITE"); }
        } other;
        other.start();
        QVERIFY(other.wait());
        MessageCapture capture;
        for (const char *name : {"no such connection", "", "no tables", "no file"}) {
            QCOMPARE(firstOfPort(name, 1003), QString("false -77/77"));
            QCOMPARE(allOf(name, 7), QString("false"));
            QCOMPARE(allOf(name, 2000, "127.0.0.1", 8501), QString("false"));
        }
        QCOMPARE(capture.texts, QList<QString>());
    }

private:
    QTemporaryFile m_file;
};

QTEST_MAIN(TestLinkDatabase)
#include "tst_link_database.moc"
