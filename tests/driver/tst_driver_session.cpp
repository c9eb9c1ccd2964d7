// Opening, closing, attempts, refused requests and the error state; the driver's description of
// itself; its addresses.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "tests/driver/scripted_channel.h"
#include "tests/table.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QScopedPointer>

#include <cstddef>
#include <ctime>

namespace
{

typedef QByteArray B;
typedef QList<int> Places;

const CommunicatorCommand DM1(Word, 1, QLatin1String("DM1"));
const char READ_DM1[] = "|!|>RDS DM00001.H 1|<1234|!|>CQ|<CF";

qint64 sleptMs = 0;

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
    {"b1f", 1, "B", 0x1F},
    {"B1G", 0, "B", 0},
    {"B", 0, "B", 0},
    {"WFFFFFFFF", 1, "W", 0xFFFFFFFFu},
    {"VB2A", 1, "VB", 0x2A},
    {"VBXY", 0, "VB", 0},
    {"VX5", 0, "V", 4711},
    {"CTC3", 1, "CTC", 3},
    {"ctc3", 1, "CTc", 3},
    {"CT", 1, "CT", 0},
    {"tm3", 1, "TM", 3},
    {"pCtC4", 1, "PCtC", 4},
    {"9DM", 0, "9", 4711},
};

const struct {
    const char *name;
    bool write;
    uint kind;
    uint amount; // items of a read, bytes of a write
    QString address;
    int station;
    QString error;
} REFUSED_REQUESTS[] = {
    {"station 100", false, Word, 1, "DM1", 100, "station number 100 is not in 0 to 99"},
    {"negative station", false, Bit, 1, "R1", -1, "station number -1 is not in 0 to 99"},
    {"no number", false, Word, 1, "B1G", 0, "address \"B1G\" holds no device number"},
    {"no byte for a character", false, Word, 1, QString::fromUtf8("B\xe6\x97\xa5"), 0,
     "address \"B\\x65e5\" holds no device number"},
    {"number above 32 bits", false, Word, 1, "W100000000", 0,
     "address \"W100000000\" holds no device number"},
    {"device not in the table", false, Word, 0, "ZA1", 0, "address \"ZA1\" names no known device"},
    {"line too long by one, place marks", false, DoubleWord, 10, "TC%2%3%1789", 0,
     "read of 10 items from address \"TC%2%3%1789\" does not fit a line of 19 characters"},
    {"second line in the address", false, Bit, 1, "R1 1\r\nWRS R1 1 1\r\n", 0,
     "address \"R1 1\\x0d\\x0aWRS R1 1 1\\x0d\\x0a\" holds the character 0x20 at position 2"},
    {"character beyond 8 bits", false, Bit, 1, QString::fromUtf8("T\xe6\x97\xa5"), 0,
     "address \"T\\x65e5\" holds the character 0x65e5 at position 1"},
    {"empty address", false, Bit, 1, "", 0, "address is empty"},
    {"more bytes than an int", false, Byte, 0xFFFFFFFFu, "DM1", 0,
     "data length -1 is not in 0 to 1048576 bytes"},
    {"more than a reply could be", false, DoubleWord, 300000, "T1", 0,
     "data length 1200000 is not in 0 to 1048576 bytes"},
    {"most bits of all", false, Bit, 0xFFFFFFFFu, "R1", 0,
     "data length 536870912 is not in 0 to 1048576 bytes"},
    {"quad word", false, QuadWord, 1, "DM1", 0, ""},
    {"unknown large kind", false, 0xFFFFFFFFu, 1, "DM1", 0, ""},
    {"CTC words", true, Word, 2, "CTC2", 0, "can't write word to CTC2"},
    {"CTC words, lower case", true, Block, 2, "ctc2", 0, "can't write word to ctc2"},
    {"no number to write to", true, Word, 2, "VBXY", 0, "address \"VBXY\" holds no device number"},
    {"words beyond the line", true, Word, 613, "DM1", 0,
     "write of 613 bytes to address \"DM1\" does not fit a line of 1552 characters"},
    {"values beyond the line", true, DoubleWord, 564, "T1", 0,
     "write of 564 bytes to address \"T1\" does not fit a line of 1552 characters"},
    {"bits beyond the line", true, Bit, 771, "R1", 0,
     "write of 771 bytes to address \"R1\" does not fit a line of 1552 characters"},
    {"megabytes", true, Word, 2000000, "DM1", 0,
     "data length 2000000 is not in 0 to 1048576 bytes"},
    {"blank in the address", true, Bit, 1, "R1 2", 0,
     "address \"R1 2\" holds the character 0x20 at position 2"},
    {"line end in the address", true, Word, 4, "T1\r\n", 0,
     "address \"T1\\x0d\\x0a\" holds the character 0x0d at position 2"},
    {"no address of a contact", true, Bit, 1, "", 0, "address is empty"},
    {"no set line", true, Bit, 1, "DM100", 0,
     "device \"DM\" has no line that sets or resets a bit"},
    {"lower-case relay", true, Bit, 1, "r00100", 0,
     "device \"r\" has no line that sets or resets a bit"},
    {"numbers beyond an int", true, Bit, 2, "T2147483647", 0,
     "2 bits from address \"T2147483647\" on run beyond device number 2147483647"},
    {"quad word to write", true, QuadWord, 8, "DM1", 0, ""},
};

// The place of an operation in the table of virtual operations.
template <class Operation>
int slotOf(Operation operation)
{
    size_t place = 0;
    std::memcpy(&place, &operation, sizeof place);
    return static_cast<int>(place / sizeof(void *));
}

int offsetInDM1(const void *member)
{
    return static_cast<int>(static_cast<const char *>(member) -
                            reinterpret_cast<const char *>(&DM1));
}

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

    void refusesRequestsBeforeSending_data() { addRows(REFUSED_REQUESTS); }

    void refusesRequestsBeforeSending()
    {
        const auto &row = currentRow(REFUSED_REQUESTS);
        ScriptedChannel channel("");
        channel.station = row.station;
        channel.retry = 2;
        DriverKV_L20V_HostLink driver;
        const CommunicatorCommand command(CommandKind(row.kind), row.amount, row.address);
        if (row.write)
            QCOMPARE(driver.write(&channel, command, B(int(row.amount), '\1')), 0);
        else
            QVERIFY(driver.read(&channel, command).isEmpty());
        QCOMPARE(channel.fault(), B());
        QCOMPARE(driver.getLastError(), row.error);
        QCOMPARE(driver.hasError(), !row.error.isEmpty());
        QCOMPARE(channel.delaysAsked, row.error.isEmpty() ? 1 : 3);
    }

    void triesAsOftenAsTheLinkAllows()
    {
        for (int i = 0; i < 6; ++i) {
            const int retry = i / 2 * 2 - 2;
            const int attempts = qMax(retry, 0) + 1;
            DriverKV_L20V_HostLink driver;
            ScriptedChannel channel(B("|!|>CR 00|~").repeated(attempts).mid(1));
            channel.retry = retry;
            if (i % 2 == 0)
                QVERIFY(driver.read(&channel, DM1).isEmpty());
            else
                QCOMPARE(driver.write(&channel, DM1, B(2, '\0')), 0);
            QCOMPARE(channel.fault(), B());
            QCOMPARE(channel.delaysAsked, attempts);
            QCOMPARE(channel.retriesAsked, attempts);
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
        DriverKV_L20V_HostLink object;
        DriverInterface *driver = &object;
        QCOMPARE(driver->DriverInterface::name() + driver->DriverInterface::vender() +
                     driver->DriverInterface::getVersionNumber(),
                 QString::fromLatin1("Not AssignedNot AssignedNot Assigned"));
        QCOMPARE(driver->DriverInterface::getStringBasedDefaultDriverSetting(),
                 QString::fromLatin1("RS232,9600,EVEN,7,1"));
        QVERIFY(!driver->isSupportSessionCommand());
        QVERIFY(driver->deviceSettingChanged(0) && driver->isConnected(0));
    }

    // The panel's runtime is built apart: the order of the slots and the members' places are fixed.
    void keepsTheBinaryContract()
    {
        typedef DriverInterface D;
        Places operations;
        operations << slotOf(&D::totalSize) << slotOf(&D::write) << slotOf(&D::read)
                   << slotOf(&D::initialize) << slotOf(&D::validation) << slotOf(&D::name)
                   << slotOf(&D::vender) << slotOf(&D::getVersionNumber)
                   << slotOf(&D::getDefaultSerialDeviceSetting)
                   << slotOf(&D::getDefaultDriverSetting)
                   << slotOf(&D::getStringBasedDefaultDriverSetting)
                   << slotOf(&D::supportedCommunicationFlags) << slotOf(&D::setDebugMode)
                   << slotOf(&D::getBlockAccessSize) << slotOf(&D::getBitBlockAccessSize)
                   << slotOf(&D::hasError) << slotOf(&D::getLastError) << slotOf(&D::getThisObject)
                   << slotOf(&D::isSupportSessionCommand) << slotOf(&D::setSessionCommand)
                   << slotOf(&D::clearSessionCommand) << slotOf(&D::deviceSettingChanged)
                   << slotOf(&D::isConnected);
        for (int i = 0; i < operations.size(); ++i)
            QCOMPARE(operations.at(i), 2 + i); // the destructor has two slots
        QCOMPARE(slotOf(&CommunicatorCommand::byteLength), 0);
        const bool wide = sizeof(void *) == 8;
        QCOMPARE(Places() << offsetInDM1(&DM1.kind) << offsetInDM1(&DM1.count)
                          << offsetInDM1(&DM1.address),
                 wide ? Places() << 12 << 16 << 24 : Places() << 8 << 12 << 16);
        QCOMPARE(Places() << int(offsetof(DriverSetting, delay))
                          << int(offsetof(DriverSetting, auxText)) << int(sizeof(DriverSetting)),
                 wide ? Places() << 12 << 16 << 32 : Places() << 12 << 16 << 24);
        QCOMPARE(Places() << int(offsetof(DeviceSetting, string))
                          << int(offsetof(DeviceSetting, auxText))
                          << int(offsetof(DeviceSetting, socketData)) << int(sizeof(DeviceSetting)),
                 wide ? Places() << 8 << 40 << 56 << 64 : Places() << 4 << 28 << 40 << 44);
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
