// Opening, closing, attempts and the error state; the driver's description of itself; its
// addresses.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "tests/scripted_channel.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>

namespace
{

const char READ_DM1[] = "|!|>RDS DM00001.H 1|<1234|!|>CQ|<CF";

// Overrides nothing that has a base behaviour.
class BareDriver : public DriverInterface
{
public:
    int totalSize() { return 0; }
    int write(AbstractDeviceInterface *, const CommunicatorCommand &, const QByteArray &)
    {
        return 0;
    }
    QByteArray read(AbstractDeviceInterface *, const CommunicatorCommand &) { return QByteArray(); }
    int initialize(AbstractDeviceInterface *) { return 0; }
    int validation(const QString &) { return 0; }
    DeviceSetting *getDefaultSerialDeviceSetting() { return 0; }
    DriverSetting *getDefaultDriverSetting() { return 0; }
    int supportedCommunicationFlags() { return 0; }
    void setDebugMode(bool) {}
    int getBlockAccessSize() { return 0; }
    int getBitBlockAccessSize() { return 0; }
    bool hasError() { return false; }
    QString getLastError() { return QString(); }
    QObject *getThisObject() { return 0; }
};

} // namespace

class TestDriverSession : public QObject
{
    Q_OBJECT

private slots:
    void opensWithTheStation_data();
    void opensWithTheStation();
    void triesAsOftenAsTheLinkAllows_data();
    void triesAsOftenAsTheLinkAllows();
    void pausesBeforeEveryAttempt();
    void keepsTheTextOfTheLatestFailure();
    void forgetsALongReplyBeforeTheNext();
    void describesItself();
    void baseContractAnswersForDrivers();
    void parsesAddresses_data();
    void parsesAddresses();
    void ordersPrefixesWithoutCase();
};

void TestDriverSession::opensWithTheStation_data()
{
    QTest::addColumn<int>("station");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("error");
    const struct {
        const char *name;
        int station;
        QByteArray script;
        const char *error;
    } rows[] = {
        {"station 1", 1, QByteArray("!|>CR 01|<CC 01") + READ_DM1, ""},
        {"station 99", 99, QByteArray("!|>CR 99|<CC 99") + READ_DM1, ""},
        {"reply in chunks", 0, QByteArray("!|>CR 00|<<C|<<C 00|<<{CR}{LF}") + READ_DM1, ""},
        {"an eighth byte", 0, QByteArray("!|>CR 00|<<CC 00{CR}{LF}C") + READ_DM1, ""},
        {"another station", 1, "!|>CR 01|<CC 02", "invalid response"},
        {"nothing", 0, "!|>CR 00|~", "PLC no response"},
        {"error reply", 0, "!|>CR 00|<E1", "Response During an Error:E1\r\n"},
        {"a letter after E", 0, "!|>CR 00|<EX", "invalid response"},
        {"error reply and more", 0, "!|>CR 00|<<E1{CR}{LF}E1{CR}{LF}", "invalid response"},
        {"cut", 0, "!|>CR 00|<<CC 00{CR}|~", "invalid response"},
        {"a NUL inside", 0, "!|>CR 00|<<CC{NUL}00{CR}{LF}", "invalid response"},
        {"noise without end", 0, "!|>CR 00|<<????????????", "invalid response"},
    };
    for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i)
        QTest::newRow(rows[i].name)
            << rows[i].station << rows[i].script << QString(QLatin1String(rows[i].error));
}

void TestDriverSession::opensWithTheStation()
{
    QFETCH(int, station);
    QFETCH(QByteArray, script);
    QFETCH(QString, error);
    ScriptedChannel channel(script);
    channel.station = station;
    DriverKV_L20V_HostLink driver;
    const QByteArray data =
        driver.read(&channel, CommunicatorCommand(Word, 1, QLatin1String("DM1")));
    QCOMPARE(channel.fault(), QByteArray());
    QCOMPARE(data.isEmpty(), !error.isEmpty());
    QCOMPARE(driver.getLastError(), error);
    QCOMPARE(driver.hasError(), !error.isEmpty());
}

void TestDriverSession::triesAsOftenAsTheLinkAllows_data()
{
    QTest::addColumn<int>("retry");
    QTest::addColumn<int>("attempts");
    QTest::newRow("negative") << -1 << 1;
    QTest::newRow("none") << 0 << 1;
    QTest::newRow("two") << 2 << 3;
}

void TestDriverSession::triesAsOftenAsTheLinkAllows()
{
    QFETCH(int, retry);
    QFETCH(int, attempts);
    QByteArray script = "!|>CR 00|~";
    for (int i = 1; i < attempts; ++i)
        script += "|!|>CR 00|~";
    DriverKV_L20V_HostLink driver;
    const CommunicatorCommand command(Word, 1, QLatin1String("DM1"));
    ScriptedChannel reads(script);
    reads.retry = retry;
    QVERIFY(driver.read(&reads, command).isEmpty());
    QCOMPARE(reads.fault(), QByteArray());
    QCOMPARE(reads.delaysAsked, attempts);
    ScriptedChannel writes(script);
    writes.retry = retry;
    QCOMPARE(driver.write(&writes, command, QByteArray(2, '\0')), 0);
    QCOMPARE(writes.fault(), QByteArray());
    QVERIFY(driver.hasError());
}

void TestDriverSession::pausesBeforeEveryAttempt()
{
    ScriptedChannel channel("!|>CR 00|~|!|>CR 00|~");
    channel.retry = 1;
    channel.delayMs = 20;
    DriverKV_L20V_HostLink driver;
    QElapsedTimer timer;
    timer.start();
    driver.read(&channel, CommunicatorCommand(Word, 1, QLatin1String("DM1")));
    QVERIFY2(timer.elapsed() >= 40, qPrintable(QString::number(timer.elapsed())));
}

void TestDriverSession::keepsTheTextOfTheLatestFailure()
{
    DriverKV_L20V_HostLink driver;
    QVERIFY(!driver.hasError());
    QCOMPARE(driver.getLastError(), QString());
    ScriptedChannel channel(QByteArray("!|>CR 00|~|!|>CR 00|<E1|!|>CR 00|<CC 00") + READ_DM1);
    channel.retry = 3;
    const CommunicatorCommand command(Word, 1, QLatin1String("DM1"));
    QCOMPARE(driver.read(&channel, command).toHex(), QByteArray("3412"));
    QCOMPARE(channel.fault(), QByteArray());
    QVERIFY(!driver.hasError());
    QCOMPARE(driver.getLastError(), QString::fromLatin1("Response During an Error:E1\r\n"));
}

// What one reply leaves behind in the buffer must not lengthen a shorter one.
void TestDriverSession::forgetsALongReplyBeforeTheNext()
{
    DriverKV_L20V_HostLink driver;
    const CommunicatorCommand command(Word, 1, QLatin1String("DM1"));
    ScriptedChannel endless("!|>CR 00|<CC 00|!|>RDS DM00001.H 1|<<" + QByteArray(2000, '1'));
    QVERIFY(driver.read(&endless, command).isEmpty());
    QCOMPARE(driver.getLastError(), QString::fromLatin1("invalid response:"));
    ScriptedChannel cut("!|>CR 00|<CC 00|!|>RDS DM00001.H 1|<<123|~");
    QVERIFY(driver.read(&cut, command).isEmpty());
    ScriptedChannel good(QByteArray("!|>CR 00|<CC 00") + READ_DM1);
    QCOMPARE(driver.read(&good, command).toHex(), QByteArray("3412"));
    const CommunicatorCommand bit(Bit, 1, QLatin1String("R1"));
    ScriptedChannel done("!|>CR 00|<CC 00|>WRS R1 1 1|<OK|!|>CQ|<CF");
    QCOMPARE(driver.write(&done, bit, QByteArray(1, '\1')), 1);
    ScriptedChannel cutOk("!|>CR 00|<CC 00|>WRS R1 1 1|<<OK|~");
    driver.write(&cutOk, bit, QByteArray(1, '\1'));
    QCOMPARE(driver.getLastError(), QString::fromLatin1("invalid response"));
}

void TestDriverSession::describesItself()
{
    DriverKV_L20V_HostLink object;
    DriverInterface *driver = qobject_cast<DriverInterface *>(static_cast<QObject *>(&object));
    QVERIFY(driver == &object);
    QVERIFY(object.qt_metacast("DriverInterface") == driver);
    QVERIFY(driver->getThisObject() == &object);
    driver->setDebugMode(true);
    QCOMPARE(driver->name(), QString::fromLatin1("KEYENCE KV-L20V Host Link"));
    QCOMPARE(driver->vender(), QString::fromLatin1("KEYENCE"));
    QCOMPARE(driver->getVersionNumber(), QString::fromLatin1("1.0.0"));
    QCOMPARE(driver->getStringBasedDefaultDriverSetting(),
             QString::fromLatin1("RS232,9600,EVEN,8,1"));
    QCOMPARE(driver->supportedCommunicationFlags(), 112);
    QCOMPARE(driver->totalSize(), 1024);
    QCOMPARE(driver->getBlockAccessSize(), 1024);
    QCOMPARE(driver->getBitBlockAccessSize(), 1024);
    QCOMPARE(driver->initialize(0), 1);
    QCOMPARE(driver->validation(QLatin1String("anything")), 0);
    QScopedPointer<DriverSetting> pacing(driver->getDefaultDriverSetting());
    QCOMPARE(QList<int>() << pacing->timeout << pacing->retry << pacing->stationid << pacing->delay,
             QList<int>() << 500 << 3 << 0 << 0);
    QScopedPointer<DeviceSetting> port(driver->getDefaultSerialDeviceSetting());
    QCOMPARE(port->string, QString::fromLatin1("COM2"));
    QCOMPARE(QList<int>() << int(port->type) << port->baudrate << port->databits << port->stopbits
                          << port->parity << port->linkID,
             QList<int>() << 32 << 9600 << 8 << 0 << 2 << -1);
}

void TestDriverSession::baseContractAnswersForDrivers()
{
    BareDriver driver;
    QCOMPARE(driver.name() + driver.vender() + driver.getVersionNumber(),
             QString::fromLatin1("Not AssignedNot AssignedNot Assigned"));
    QCOMPARE(driver.getStringBasedDefaultDriverSetting(),
             QString::fromLatin1("RS232,9600,EVEN,7,1"));
    QVERIFY(!driver.isSupportSessionCommand());
    QVERIFY(driver.deviceSettingChanged(0));
    QVERIFY(driver.isConnected(0));
}

void TestDriverSession::parsesAddresses_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<uint>("number");
    const uint untouched = 4711;
    const struct {
        const char *address;
        int result;
        const char *prefix;
        uint number;
    } rows[] = {
        {"dm100", 1, "DM", 100},
        {"DMX", 1, "DM", 0},
        {"DM1 ", 1, "DM", 0},
        {"DM 1", 1, "DM", 1},
        {"DM4294967295", 1, "DM", 4294967295u},
        {"DM4294967296", 1, "DM", 0},
        {"DM-1", 1, "DM", 0},
        {"R12", 1, "R", 12},
        {"b1f", 1, "B", 0x1F},
        {"B1G", 0, "B", 0},
        {"B", 0, "B", 0},
        {"WFFFFFFFF", 1, "W", 0xFFFFFFFFu},
        {"VB2A", 1, "VB", 0x2A},
        {"VBXY", 0, "VB", 0},
        {"vm7", 1, "VM", 7},
        {"VX5", 0, "V", untouched},
        {"CTC3", 1, "CTC", 3},
        {"ctc3", 1, "CTc", 3},
        {"CT", 1, "CT", 0},
        {"C5", 1, "C", 5},
        {"CM10", 1, "CM", 10},
        {"T12", 1, "T", 12},
        {"tm3", 1, "TM", 3},
        {"ZF1", 1, "ZF", 1},
        {"Z3", 1, "Z", 3},
        {"AT2", 1, "AT", 2},
        {"pCtC4", 1, "PCtC", 4},
        {"9DM", 0, "9", untouched},
        {"G1", 0, "G", untouched},
        {"Y1", 0, "Y", untouched},
    };
    for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i)
        QTest::newRow(rows[i].address) << QByteArray(rows[i].address) << rows[i].result
                                       << QByteArray(rows[i].prefix) << rows[i].number;
}

void TestDriverSession::parsesAddresses()
{
    QFETCH(QByteArray, address);
    QByteArray prefix;
    uint number = 4711;
    QTEST(KV_L20V_ParseAddress(address, prefix, number), "result");
    QTEST(prefix, "prefix");
    QTEST(number, "number");
}

void TestDriverSession::ordersPrefixesWithoutCase()
{
    const DriverKV_L20V_HostLink::ci_less before = {};
    QVERIFY(!before("dm", "DM") && !before("DM", "dm"));
    QVERIFY(before("Z", "zf") && !before("zf", "Z"));
    QVERIFY(before("D", "DM") && before("b", "CM") && !before("w", "VM"));
}

QTEST_APPLESS_MAIN(TestDriverSession)
#include "tst_driver_session.moc"
