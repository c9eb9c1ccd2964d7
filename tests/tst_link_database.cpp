#include "message_capture.h"

#include "tools/link_database.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTemporaryFile>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>
#include <QtTest/QtTest>

namespace
{

// LINKID, HMIPORT
const char *const LINKS[] = {"7, 1003", "8, 2000", "9, 1005", "'link', 1006", "11, 1007"};

// LINKID, STATIONID, IP, PORT, ISDEFAULT
const char *const NODES[] = {"7, 99, NULL, NULL, 0",       "7, 5, '', 0, 1",
                             "7, 6, NULL, NULL, 1",        "8, 1, '127.0.0.1', 8501, 1",
                             "8, 2, '127.0.0.1', 8502, 1", "8, 3, '127.0.0.2', 8501, 1",
                             "8, 4, '127.0.0.1', 8501, 0", "8, 261, '127.0.0.1', 8501, 1",
                             "9, NULL, NULL, NULL, 1",     "'link', 'station', NULL, NULL, 1",
                             "11, 1, NULL, NULL, 0"};

bool fill(QSqlDatabase database)
{
    QSqlQuery query(database);
    bool done = query.exec("CREATE TABLE LINK (LINKID, HMIPORT)") &&
                query.exec("CREATE TABLE NODE (LINKID, STATIONID, IP, PORT, ISDEFAULT)");
    for (int k = 0; k < 5; ++k)
        done = query.exec(QString("INSERT INTO LINK VALUES (%1)").arg(LINKS[k])) && done;
    for (int k = 0; k < 11; ++k)
        done = query.exec(QString("INSERT INTO NODE VALUES (%1)").arg(NODES[k])) && done;
    return done;
}

QSqlDatabase connection(const char *name, const QString &file)
{
    QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", name);
    database.setDatabaseName(file);
    return database;
}

// "link/station" of every entry, behind the outcome.
QString outcome(bool found, const QList<LinkIdStationId> &entries)
{
    QString text(found ? "true" : "false");
    foreach (const LinkIdStationId &entry, entries)
        text += QString(" %1/%2").arg(entry.linkId).arg(entry.stationId);
    return text;
}

QString firstOfPort(const QString &name, int hmiPort)
{
    LinkIdStationId entry = {-77, 77};
    const bool found = GetLinkIdAndDefaultStationId(name, hmiPort, entry.linkId, entry.stationId);
    return outcome(found, QList<LinkIdStationId>() << entry);
}

QString allOfLink(const QString &name, int linkId)
{
    QList<LinkIdStationId> entries;
    const bool found = GetLinkIdAndDefaultStationId(name, linkId, entries);
    return outcome(found, entries);
}

QString allOfAddress(const QString &name, int hmiPort, const QString &ip, unsigned short port)
{
    QList<LinkIdStationId> entries;
    const bool found = GetLinkIdAndDefaultStationId(name, hmiPort, ip, port, entries);
    return outcome(found, entries);
}

} // namespace

class TestLinkDatabase : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QSqlDatabase links = connection("links", ":memory:");
        QVERIFY(links.open() && fill(links));
        QVERIFY(connection("no tables", ":memory:").open());
        connection("no file", QCoreApplication::applicationDirPath() + "/missing/database");
    }

    void takesTheFirstRowOfAPort()
    {
        QCOMPARE(firstOfPort("links", 1003), QString("true 7/5"));
        QCOMPARE(firstOfPort("links", 1005), QString("true 9/0"));
        QCOMPARE(firstOfPort("links", 1006), QString("true 0/0"));
        const int withoutDefaultStation[] = {1007, 1004, -1};
        for (int k = 0; k < 3; ++k)
            QCOMPARE(firstOfPort("links", withoutDefaultStation[k]), QString("false -77/77"));
    }

    void takesTheDefaultStationsOfALink()
    {
        QCOMPARE(allOfLink("links", 7), QString("true 7/5 7/6"));
        QCOMPARE(allOfLink("links", 8), QString("true 8/1 8/2 8/3 8/5"));
        QCOMPARE(allOfLink("links", 9), QString("true 9/0"));
        QCOMPARE(allOfLink("links", 11), QString("false"));
    }

    void takesTheStationsOfAnAddress()
    {
        QCOMPARE(allOfAddress("links", 2000, "127.0.0.1", 8501), QString("true 8/1 8/5"));
        QCOMPARE(allOfAddress("links", 2000, "127.0.0.1", 8502), QString("true 8/2"));
        QCOMPARE(allOfAddress("links", 2000, "127.0.0.2", 8501), QString("true 8/3"));
        QCOMPARE(allOfAddress("links", 2000, "127.0.0.1", 65535), QString("false"));
        QCOMPARE(allOfAddress("links", 1003, "127.0.0.1", 8501), QString("false"));
        QCOMPARE(allOfAddress("links", 1003, "", 0), QString("true 7/5"));
    }

    // A link without Ethernet entries gives a null text for its current address.
    void takesANullAddressAsAnEmptyOne()
    {
        QCOMPARE(allOfAddress("links", 1003, QString(), 0), QString("true 7/5"));
    }

    void appendsToWhatTheListHolds()
    {
        const LinkIdStationId entry = {1, 2};
        QList<LinkIdStationId> entries;
        entries << entry;
        QVERIFY(GetLinkIdAndDefaultStationId("links", 11, entries));
        QVERIFY(GetLinkIdAndDefaultStationId("links", 1003, "127.0.0.1", 1, entries));
        QVERIFY(GetLinkIdAndDefaultStationId("no such connection", 7, entries));
        QCOMPARE(outcome(true, entries), QString("true 1/2"));
        QVERIFY(GetLinkIdAndDefaultStationId("links", 7, entries));
        QVERIFY(GetLinkIdAndDefaultStationId("links", 2000, "127.0.0.2", 8501, entries));
        QCOMPARE(outcome(true, entries), QString("true 1/2 7/5 7/6 8/3"));
    }

    void keepsAddressTextsOutOfTheStatement()
    {
        const char *const texts[] = {"127.0.0.1'",
                                     "127.0.0.1' OR '1'='1",
                                     "127.0.0.1' --",
                                     "\"",
                                     "'; DROP TABLE NODE; --",
                                     "%1 %2 %3",
                                     "?",
                                     ":a",
                                     "\\"};
        MessageCapture capture;
        for (int k = 0; k < 9; ++k)
            QCOMPARE(allOfAddress("links", 2000, texts[k], 8501), QString("false"));
        QCOMPARE(allOfLink("links", 7), QString("true 7/5 7/6"));
        QCOMPARE(capture.texts, QList<QString>());
    }

    void reportsEveryFailureAsFalseSilently()
    {
        const char *const names[] = {"no such connection", "", "no tables", "no file"};
        MessageCapture capture;
        for (int k = 0; k < 4; ++k) {
            QCOMPARE(firstOfPort(names[k], 1003), QString("false -77/77"));
            QCOMPARE(allOfLink(names[k], 7), QString("false"));
            QCOMPARE(allOfAddress(names[k], 2000, "127.0.0.1", 8501), QString("false"));
        }
        QCOMPARE(capture.texts, QList<QString>());
    }

    void opensAConnectionThatIsClosed()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        QSqlDatabase closed = connection("closed", file.fileName());
        QVERIFY(closed.open() && fill(closed));
        closed.close();
        QCOMPARE(firstOfPort("closed", 1003), QString("true 7/5"));
        QVERIFY(closed.isOpen());
        closed.close();
        QCOMPARE(allOfLink("closed", 7), QString("true 7/5 7/6"));
        closed.close();
        QCOMPARE(allOfAddress("closed", 2000, "127.0.0.2", 8501), QString("true 8/3"));
        closed.close();
    }
};

QTEST_MAIN(TestLinkDatabase)
#include "tst_link_database.moc"
