#include "message_capture.h"

#include "tools/drv_dev_setting.h"

#include <QtCore/QDataStream>
#include <QtCore/QTextCodec>
#include <QtTest/QtTest>

namespace
{

typedef QByteArray B;
typedef QPair<QString, QString> Texts;

// 42 bytes of fixed fields and two entries of 8 bytes each.
const B TWO_ENTRIES = B::fromHex(
    "00000020 00000002 0043 00002580 00000008 00000001 00000002 00000007 00000009 00000001 "
    "00000002 00000002 0031 2135 00000002 0032 FFFE");
const B TWO_ENTRIES_LITTLE_ENDIAN = B::fromHex(
    "20000000 02000000 4300 80250000 08000000 01000000 02000000 07000000 09000000 01000000 "
    "02000000 02000000 3100 3521 02000000 3200 FEFF");

// A device record up to its link id, name empty.
const B UP_TO_LINK_ID =
    B::fromHex("00000020 00000000 00002580 00000008 00000000 00000002 00000000 00000009");

DeviceSetting deviceWithTwoEntries()
{
    DeviceSetting device(RS232Device, "C", 9600, 8, 1, 2, 7, "aux");
    device.linkID = 9;
    device.setSocketData(QList<Texts>() << Texts("1", "8501") << Texts("2", "65534"));
    device.setCurrentIPIndex(1);
    return device;
}

template <typename Record>
B written(const Record &record, QDataStream::ByteOrder order)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    stream << record;
    return bytes.toHex();
}

template <typename Record>
int readInto(Record &record, const QByteArray &bytes,
             QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QDataStream stream(bytes);
    stream.setByteOrder(order);
    stream >> record;
    return stream.status();
}

QString entriesOf(const DeviceSetting &device)
{
    QString text;
    for (int i = 0; i < device.socketData.size(); ++i)
        text += QString("%1|%2 ").arg(device.socketIP(i)).arg(device.port(i));
    return text;
}

} // namespace

class TestSettingsStream : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Qt 4.8 hands messages over in the locale's encoding, which need not know every character.
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    }

    void writesInTheStreamsByteOrder()
    {
        const DriverSetting driver(500, 3, -2, 16909060, "", 0, "aux", true);
        QCOMPARE(written(driver, QDataStream::BigEndian), B("000001f400000003fffffffe01020304"));
        QCOMPARE(written(driver, QDataStream::LittleEndian), B("f401000003000000feffffff04030201"));
        const DeviceSetting device = deviceWithTwoEntries();
        QCOMPARE(written(device, QDataStream::BigEndian), TWO_ENTRIES.toHex());
        QCOMPARE(written(device, QDataStream::LittleEndian), TWO_ENTRIES_LITTLE_ENDIAN.toHex());
        QCOMPARE(written(DeviceSetting(RS232Device, "COM2", 9600, 8, 0, 2), QDataStream::BigEndian),
                 B("00000020000000080043004f004d0032000025800000000800000000000000020000000"
                   "0ffffffff0000000000000000"));
    }

    void readsTheFourNumbersOfADriver()
    {
        DriverSetting setting(1, 2, 3, 4, "", 0, "kept", true);
        const QByteArray bytes = B::fromHex("000001F4 00000003 FFFFFFFE 01020304");
        QCOMPARE(readInto(setting, bytes), 0);
        QVERIFY(setting.timeout == 500 && setting.retry == 3);
        QVERIFY(setting.stationid == -2 && setting.delay == 16909060);
        for (int length = 0; length < 16; ++length) {
            QCOMPARE(readInto(setting, bytes.left(length)), int(QDataStream::ReadPastEnd));
            QVERIFY(setting.timeout == (length < 4 ? 0 : 500) && setting.delay == 0);
            QVERIFY(setting.stationid == (length < 12 ? 0 : -2));
        }
        QVERIFY(setting.auxText == "kept" && setting.auxFlag);
    }

    void readsEveryFieldOfADevice()
    {
        for (int k = 0; k < 2; ++k) {
            DeviceSetting device(static_cast<device_type>(64), "other", 1, 2, 3, 4, 5, "kept");
            QCOMPARE(k == 0
                         ? readInto(device, TWO_ENTRIES)
                         : readInto(device, TWO_ENTRIES_LITTLE_ENDIAN, QDataStream::LittleEndian),
                     0);
            QVERIFY(device.type == RS232Device && device.string == "C");
            QVERIFY(device.baudrate == 9600 && device.databits == 8);
            QVERIFY(device.stopbits == 1 && device.parity == 2 && device.linkID == 9);
            QVERIFY(device.auxValue == 7 && device.auxText == "kept");
            QVERIFY(device.currentIPIndex == 1);
            QCOMPARE(entriesOf(device), QString("1|8501 2|65534 "));
        }
    }

    void readsACutStreamUpToItsEnd()
    {
        // What lengths up to the given one give. With 50 bytes the end comes right behind an entry,
        // and nothing more is asked for.
        const int lastLength[] = {41, 47, 49, 50, 55, 57, 58};
        const char *const entries[] = {"",           "|0 ",         "1|0 ",           "1|8501 ",
                                       "1|8501 |0 ", "1|8501 2|0 ", "1|8501 2|65534 "};
        for (int length = 0, step = 0; length <= 58; ++length) {
            step += length > lastLength[step] ? 1 : 0;
            DeviceSetting device(RS232Device, "COM2", 9600, 8, 0, 2);
            const int status = readInto(device, TWO_ENTRIES.left(length));
            QCOMPARE(status == QDataStream::ReadPastEnd, length != 50 && length != 58);
            QCOMPARE(entriesOf(device), QString(entries[step]));
            QCOMPARE(device.string, QString(length >= 10 ? "C" : ""));
            QCOMPARE(device.linkID, length >= 34 ? 9 : 0);
            QCOMPARE(device.currentIPIndex, length > 50 ? 1 : 0);
        }
    }

    // A count or a length that the bytes behind it do not bear out costs neither time nor memory.
    void readsTheListAndItsIndex_data()
    {
        QTest::addColumn<QByteArray>("fromIndexOn");
        QTest::addColumn<QString>("entries");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("status");
        const QByteArray two("00000002 FFFFFFFF 0001 00000000 0002");
        const int pastEnd = QDataStream::ReadPastEnd;
        QTest::newRow("index 0") << "00000000" + two << "|1 |2 " << 0 << 0;
        QTest::newRow("index one beyond") << "00000002" + two << "|1 |2 " << 1 << 0;
        QTest::newRow("index -1") << "FFFFFFFF" + two << "|1 |2 " << 1 << 0;
        QTest::newRow("greatest index") << "7FFFFFFF" + two << "|1 |2 " << 1 << 0;
        QTest::newRow("shorter list") << B("00000001 00000001 FFFFFFFF 0003") << "|3 " << 1 << 0;
        QTest::newRow("no entries") << B("00000000 00000000") << "" << 1 << 0;
        QTest::newRow("bytes behind")
            << B("00000000 00000001 FFFFFFFF 0003 0031") << "|3 " << 0 << 0;
        QTest::newRow("count 7FFFFFFF") << B("00000000 7FFFFFFF") << "|0 " << 0 << pastEnd;
        QTest::newRow("count FFFFFFFF") << B("00000000 FFFFFFFF") << "|0 " << 0 << pastEnd;
        QTest::newRow("count FFFFFFFF, one entry")
            << B("00000000 FFFFFFFF 00000002 0031 2135") << "1|8501 " << 0 << 0;
        QTest::newRow("text of 2 GiB")
            << B("00000000 00000002 7FFFFFFE 0031 2135") << "|0 " << 0 << pastEnd;
        QTest::newRow("text of 4 GiB")
            << B("00000000 00000002 FFFFFFFE 0031 2135") << "|0 " << 0 << pastEnd;
        QTest::newRow("text of an odd length")
            << B("00000000 FFFFFFFF 00000001 0031 00000002 0032 0033") << "|49 2|51 " << 0
            << int(QDataStream::ReadCorruptData);
    }

    void readsTheListAndItsIndex()
    {
        QFETCH(QByteArray, fromIndexOn);
        DeviceSetting device = deviceWithTwoEntries();
        QTEST(readInto(device, UP_TO_LINK_ID + B::fromHex(fromIndexOn)), "status");
        QTEST(entriesOf(device), "entries");
        QTEST(device.currentIPIndex, "index");
    }

    void dumpsOneDebugMessage()
    {
        const QString name = QString::fromUtf8(" a\"b\\c\td\n\xC3\xA4 ");
        MessageCapture capture;
        DriverSetting(500, 3, 0, -1, "", 0, "hidden", true).dump();
        DeviceSetting device(static_cast<device_type>(0x80000070u), name, 9600, 8, 0, 2, 7, "aux");
        device.dump();
        device.setSocketData(QList<Texts>() << Texts("::1", "1") << Texts(name, "65535"));
        device.setCurrentIPIndex(1);
        device.linkID = 9;
        device.dump();
        QCOMPARE(capture.types, QList<QtMsgType>() << QtDebugMsg << QtDebugMsg << QtDebugMsg);
        QCOMPARE(capture.texts[0], QString("timeout: 500 retry: 3 stationid: 0 delay: -1 "));
        const QString start = "type: 2147483760 string: \"" + name +
                              "\" baudrate: 9600 databits: 8 stopbits: 0 parity: 2 linkID: ";
        QCOMPARE(capture.texts[1], start + "-1 current ip: \"\" current port: 0 ");
        QCOMPARE(capture.texts[2], start + "9 current ip: \"" + name + "\" current port: 65535 ");
    }

    void dumpsCharactersBeyondLatin1()
    {
        const QString name = QString::fromUtf8("\xCE\xA9\xE2\x82\xAC");
        MessageCapture capture;
        DeviceSetting(RS232Device, name, 1, 2, 3, 4).dump();
        QVERIFY(capture.texts.value(0).startsWith("type: 32 string: \"" + name + "\" baudrate: "));
    }
};

QTEST_APPLESS_MAIN(TestSettingsStream)
#include "tst_settings_stream.moc"
