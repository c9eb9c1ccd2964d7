// The driver's description of itself, its place in the panel's runtime, its addresses.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "tests/table.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QScopedPointer>

#include <cstddef>
#include <cstring>

namespace
{

typedef QList<int> Places;

const CommunicatorCommand DM1(Word, 1, QLatin1String("DM1"));

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

class TestDriverContract : public QObject
{
    Q_OBJECT

private slots:
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

QTEST_APPLESS_MAIN(TestDriverContract)
#include "tst_driver_contract.moc"
