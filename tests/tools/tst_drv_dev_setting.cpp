#include "tests/tools/settings_io.h"

#include <QtTest/QtTest>

#include <climits>

namespace
{

typedef QPair<QString, QString> Texts;

DeviceSetting withTwoEntries()
{
    DeviceSetting device(RS232Device, "COM2", 9600, 8, 0, 2);
    device.setSocketData(QList<Texts>() << Texts("127.0.0.1", "8501") << Texts("::1", "65535"));
    return device;
}

} // namespace

class TestDrvDevSetting : public QObject
{
    Q_OBJECT

private slots:
    void copyKeepsItsOwnFlag()
    {
        DriverSetting setting(1, 2, 3, 4, "dropped", 7);
        QVERIFY(setting.auxText.isEmpty() && !setting.auxFlag);
        setting.copy(DriverSetting(501, 5, 6, 21, "dropped", 7, "aux", true));
        QVERIFY(setting.timeout == 501 && setting.retry == 5);
        QVERIFY(setting.stationid == 6 && setting.delay == 21);
        QVERIFY(setting.auxText == "aux" && !setting.auxFlag);
    }

    // -1 names the current entry, which is the second: no other index is accepted behind it.
    void readsAndChangesTheNamedEntryOnly()
    {
        const int indexes[] = {-1, 0, -2, 2, INT_MAX, INT_MIN};
        const char *const named[] = {"::1|65535", "127.0.0.1|8501", "|0", "|0", "|0", "|0"};
        for (int k = 0; k < 6; ++k) {
            DeviceSetting device = withTwoEntries();
            for (int current : {1, 2, -1})
                device.setCurrentIPIndex(current);
            const QString before = entriesOf(device);
            const QString address = device.socketIP(indexes[k]);
            QCOMPARE(address + '|' + QString::number(device.port(indexes[k])), QString(named[k]));
            device.setSocketIP("new", indexes[k]);
            device.setPort(4242, indexes[k]);
            QCOMPARE(entriesOf(device), QString(before).replace(named[k], "new|4242"));
        }
    }

    void replacingEntriesKeepsTheCurrentIndex()
    {
        DeviceSetting device = withTwoEntries();
        device.setCurrentIPIndex(1);
        device.setSocketData(QList<Texts>() << Texts("::1", "9"));
        device.setPort(8501, -1);
        device.setSocketIP("new", -1);
        QCOMPARE(entriesOf(device), QString("::1|9 "));
        QVERIFY(device.currentIPIndex == 1 && device.port(-1) == 0);
    }

    void readsPortTextsAsDecimalNumbers()
    {
        QList<Texts> texts;
        for (const char *text : {"65536", "4294967297", "-1", "", "80a", "0x50", "1 0", "+ 1",
                                 "010", "65535", " +7\t", "18446744073709551617"})
            texts << Texts("", text);
        texts << Texts("", QString("1") + QChar(0)) << Texts("", QString("2") + QChar(0x3000));
        DeviceSetting device = withTwoEntries();
        device.setSocketData(texts);
        QCOMPARE(entriesOf(device), QString("|0 ").repeated(8) + "|10 |65535 |7 |0 |0 |2 ");
    }
};

QTEST_APPLESS_MAIN(TestDrvDevSetting)
#include "tst_drv_dev_setting.moc"
