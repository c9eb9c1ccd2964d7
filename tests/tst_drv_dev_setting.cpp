#include "tools/drv_dev_setting.h"

#include <QtTest/QtTest>

#include <climits>

namespace
{

typedef QPair<QString, QString> Texts;

DeviceSetting withEntries(const QList<Texts> &entries)
{
    DeviceSetting device(RS232Device, "COM2", 9600, 8, 0, 2);
    device.setSocketData(entries);
    return device;
}

DeviceSetting withTwoEntries()
{
    return withEntries(QList<Texts>() << Texts("127.0.0.1", "8501") << Texts("::1", "65535"));
}

// All entries as one text, so that a comparison shows every change.
QString entriesOf(const DeviceSetting &device)
{
    QString text;
    for (int i = 0; i < device.socketData.size(); ++i)
        text += device.socketData.at(i).first + '|' +
                QString::number(device.socketData.at(i).second) + ' ';
    return text;
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

    void changesAddNoEntries()
    {
        DeviceSetting device = withEntries(QList<Texts>());
        QCOMPARE(device.linkID, -1);
        device.setPort(8501, -1);
        device.setSocketIP("new", -1);
        device.setPort(8501, 0);
        QCOMPARE(entriesOf(device), QString());
        QCOMPARE(static_cast<int>(device.port(-1)), 0);
        QCOMPARE(device.socketIP(-1), QString());
    }

    void minusOneNamesTheCurrentEntry()
    {
        DeviceSetting device = withTwoEntries();
        device.setCurrentIPIndex(1);
        QCOMPARE(static_cast<int>(device.port(-1)), 65535);
        QCOMPARE(device.socketIP(-1), QString("::1"));
        device.setPort(4242, -1);
        device.setSocketIP("new", 0);
        QCOMPARE(entriesOf(device), QString("new|8501 ::1|4242 "));
        device.setPort(4343, 0);
        device.setSocketIP("newer", -1);
        QCOMPARE(entriesOf(device), QString("new|4343 newer|4242 "));
    }

    void otherIndexesNameNoEntry()
    {
        const int indexes[] = {-2, 2, INT_MAX, INT_MIN};
        for (int k = 0; k < 4; ++k) {
            DeviceSetting device = withTwoEntries();
            device.setPort(4242, indexes[k]);
            device.setSocketIP("new", indexes[k]);
            QCOMPARE(entriesOf(device), QString("127.0.0.1|8501 ::1|65535 "));
            QCOMPARE(static_cast<int>(device.port(indexes[k])), 0);
            QCOMPARE(device.socketIP(indexes[k]), QString());
        }
    }

    void refusesACurrentIndexWithoutEntry()
    {
        DeviceSetting device = withTwoEntries();
        const int wanted[] = {2, 1, -1, 0};
        const int current[] = {0, 1, 1, 0};
        for (int k = 0; k < 4; ++k) {
            device.setCurrentIPIndex(wanted[k]);
            QCOMPARE(device.currentIPIndex, current[k]);
        }
    }

    void replacingEntriesKeepsTheCurrentIndex()
    {
        DeviceSetting device = withTwoEntries();
        device.setCurrentIPIndex(1);
        device.setSocketData(QList<Texts>() << Texts("::1", "9"));
        QCOMPARE(entriesOf(device), QString("::1|9 "));
        QCOMPARE(device.currentIPIndex, 1);
        QCOMPARE(static_cast<int>(device.port(-1)), 0);
        QCOMPARE(device.socketIP(-1), QString());
    }

    void readsPortTextsAsDecimalNumbers()
    {
        const char *const texts[] = {"65535", "65536", "4294967297", "-1",
                                     "",      "80a",   "0x50",       "010"};
        const int ports[] = {65535, 0, 0, 0, 0, 0, 0, 10};
        for (int k = 0; k < 8; ++k) {
            const DeviceSetting device = withEntries(QList<Texts>() << Texts("name", texts[k]));
            QVERIFY2(device.port(0) == ports[k], texts[k]);
            QCOMPARE(device.socketIP(0), QString("name"));
        }
    }
};

QTEST_APPLESS_MAIN(TestDrvDevSetting)
#include "tst_drv_dev_setting.moc"
