// Opening, closing, attempts and the error state; the driver's description of itself; its
// addresses.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "tests/driver/scripted_channel.h"
#include "tests/table.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QScopedPointer>

#include <ctime>

namespace
{

typedef QByteArray B;

const CommunicatorCommand DM1(Word, 1, QLatin1String("DM1"));
const char READ_DM1[] = "|!|>RDS DM00001.H 1|<1234|!|>CQ|<CF";

qint64 sleptMs = 0;

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

const struct {
    const char *name;
    int result;
    QByteArray prefix;
    uint number;
} ADDRESSES[] = {
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
    {"VX5", 0, "V", 4711},
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
    {"9DM", 0, "9", 4711},
    {"G1", 0, "G", 4711},
    {"Y1", 0, "Y", 4711},
};

} // namespace

// What Qt 5 sleeps by, which takes no time here.
extern "C" Q_DECL_EXPORT int nanosleep(const timespec *time, timespec *)
{
    sleptMs += qint64(time->tv_sec) * 1000 + time->tv_nsec / 1000000;
    return 0;
}

struct NoMemory : ScriptedChannel {
    NoMemory() : ScriptedChannel("") {}
    int getStationId() { throw std::bad_alloc(); }
};

class TestDriverSession : public QObject
{
    Q_OBJECT

private slots:
    // Other replies to opening are the fault matrix's.
    void opensWithTheStation()
    {
        for (const char *station : {"01", "99"}) {
            ScriptedChannel channel(B("!|>CR ") + station + "|<CC " + station + READ_DM1);
            channel.station = B(station).toInt();
            DriverKV_L20V_HostLink driver;
            QCOMPARE(driver.read(&channel, DM1).toHex(), B("3412"));
            QCOMPARE(channel.fault(), B());
        }
    }

    void triesAsOftenAsTheLinkAllows()
    {
        for (int retry : {-1, 0, 2}) {
            const int attempts = qMax(retry, 0) + 1;
            DriverKV_L20V_HostLink driver;
            ScriptedChannel reads(B("|!|>CR 00|~").repeated(attempts).mid(1));
            reads.retry = retry;
            QVERIFY(driver.read(&reads, DM1).isEmpty());
            QCOMPARE(reads.fault(), B());
            QCOMPARE(reads.delaysAsked, attempts);
            QCOMPARE(reads.retriesAsked, attempts);
            ScriptedChannel writes(B("|!|>CR 00|~").repeated(attempts).mid(1));
            writes.retry = retry;
            QCOMPARE(driver.write(&writes, DM1, B(2, '\0')), 0);
            QCOMPARE(writes.fault(), B());
            QCOMPARE(writes.retriesAsked, attempts);
            QVERIFY(driver.hasError());
        }
    }

    void pausesBeforeEveryAttempt()
    {
        ScriptedChannel channel("!|>CR 00|~|!|>CR 00|~");
        channel.retry = 1;
        channel.delayMs = 3000;
        DriverKV_L20V_HostLink driver;
        QElapsedTimer timer;
        timer.start();
        driver.read(&channel, DM1);
        QVERIFY2(sleptMs + timer.elapsed() >= 6000, qPrintable(QString::number(sleptMs)));
    }

    void keepsTheTextOfTheLatestFailure()
    {
        DriverKV_L20V_HostLink driver;
        QVERIFY(!driver.hasError());
        QCOMPARE(driver.getLastError(), QString());
        ScriptedChannel channel(QByteArray("!|>CR 00|~|!|>CR 00|<E1|!|>CR 00|<CC 00") + READ_DM1);
        channel.retry = 3;
        QCOMPARE(driver.read(&channel, DM1).toHex(), QByteArray("3412"));
        QCOMPARE(channel.fault(), QByteArray());
        QVERIFY(!driver.hasError());
        QCOMPARE(driver.getLastError(), QString::fromLatin1("Response During an Error:E1\r\n"));
    }

    void reportsThatMemoryIsShort()
    {
        NoMemory channel;
        DriverKV_L20V_HostLink driver;
        QCOMPARE(driver.read(&channel, DM1), B());
        QCOMPARE(driver.write(&channel, DM1, B(2, '\0')), 0);
        QVERIFY(driver.hasError());
        QCOMPARE(driver.getLastError(), QString::fromLatin1("out of memory"));
    }

    void believesNoMoreThanItAskedFor()
    {
        ScriptedChannel channel(B("!|>CR 00|<CC 00") + READ_DM1 + "|!|>CR 00|<CC 00" + READ_DM1);
        channel.claimedMore = 2000;
        DriverKV_L20V_HostLink driver;
        QCOMPARE(driver.read(&channel, DM1).toHex(), B("3412"));
        QCOMPARE(driver.read(&channel, DM1).toHex(), B("3412"));
        QCOMPARE(channel.fault(), B());
    }

    void describesItself()
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
        QCOMPARE(QList<int>() << pacing->timeout << pacing->retry << pacing->stationid
                              << pacing->delay,
                 QList<int>() << 500 << 3 << 0 << 0);
        QScopedPointer<DeviceSetting> port(driver->getDefaultSerialDeviceSetting());
        QCOMPARE(port->string, QString::fromLatin1("COM2"));
        QCOMPARE(QList<int>() << int(port->type) << port->baudrate << port->databits
                              << port->stopbits << port->parity << port->linkID,
                 QList<int>() << 32 << 9600 << 8 << 0 << 2 << -1);
    }

    void baseContractAnswersForDrivers()
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

    void parsesAddresses_data() { addRows(ADDRESSES); }

    void parsesAddresses()
    {
        const auto &row = currentRow(ADDRESSES);
        QByteArray prefix;
        uint number = 4711;
        QCOMPARE(KV_L20V_ParseAddress(row.name, prefix, number), row.result);
        QCOMPARE(prefix, row.prefix);
        QCOMPARE(number, row.number);
    }

    void ordersPrefixesWithoutCase()
    {
        const DriverKV_L20V_HostLink::ci_less before = {};
        QVERIFY(!before("dm", "DM") && !before("DM", "dm"));
        QVERIFY(before("Z", "zf") && !before("zf", "Z"));
        QVERIFY(before("D", "DM") && before("b", "CM") && !before("w", "VM"));
    }
};

QTEST_APPLESS_MAIN(TestDriverSession)
#include "tst_driver_session.moc"
