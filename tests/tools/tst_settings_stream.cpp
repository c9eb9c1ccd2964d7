#include "tests/message_capture.h"

#include "tests/tools/settings_io.h"

#include <QtCore/QTextCodec>
#include <QtTest/QtTest>

#include <cstring>

namespace
{

typedef QByteArray B;
typedef QPair<QString, QString> Texts;

const QDataStream::ByteOrder ORDERS[] = {QDataStream::BigEndian, QDataStream::LittleEndian};

const char *const DRIVER[] = {"000001f400000003fffffffe01020304",
                              "f401000003000000feffffff04030201"};

// 42 bytes of fixed fields and two entries of 8 bytes each.
const char *const TWO_ENTRIES[] = {
    "0000002000000002004300002580000000080000000100000002000000070000000900000001"
    "000000020000000200312135000000020032fffe",
    "2000000002000000430080250000080000000100000002000000070000000900000001000000"
    "020000000200000031003521020000003200feff"};

DeviceSetting deviceWithTwoEntries()
{
    DeviceSetting device(RS232Device, "C", 9600, 8, 1, 2, 7, "aux");
    device.linkID = 9;
    device.setSocketData(QList<Texts>() << Texts("1", "8501") << Texts("2", "65534"));
    device.setCurrentIPIndex(1);
    return device;
}

// A pipe or a decompressor: it gives its bytes, then nothing, and what it says of them is a guess.
class Pipe : public QIODevice
{
public:
    Pipe(const B &bytes, qint64 guess) : m_bytes(bytes), m_guess(guess)
    {
        open(ReadOnly | Unbuffered);
    }
    bool isSequential() const { return true; }
    qint64 bytesAvailable() const { return m_guess; }

protected:
    qint64 readData(char *data, qint64 most)
    {
        const B given = m_bytes.left(static_cast<int>(most));
        m_bytes.remove(0, given.size());
        std::memcpy(data, given.constData(), static_cast<size_t>(given.size()));
        return given.size();
    }
    qint64 writeData(const char *, qint64) { return -1; }

private:
    B m_bytes;
    const qint64 m_guess;
};

} // namespace

class TestSettingsStream : public QObject
{
    Q_OBJECT

private slots:
    void writesAndReadsInTheStreamsByteOrder()
    {
        for (int k = 0; k < 2; ++k) {
            DriverSetting driver(500, 3, -2, 16909060);
            QCOMPARE(written(driver, ORDERS[k]).toHex(), B(DRIVER[k]));
            driver = DriverSetting(1, 2, 3, 4, "", 0, "kept", true);
            QCOMPARE(readInto(driver, B::fromHex(DRIVER[k]), ORDERS[k]), 0);
            QCOMPARE(written(driver).toHex(), B(DRIVER[0]));
            DeviceSetting device = deviceWithTwoEntries();
            QCOMPARE(written(device, ORDERS[k]).toHex(), B(TWO_ENTRIES[k]));
            device = DeviceSetting(static_cast<device_type>(64), "other", 1, 2, 3, 4, 5, "kept");
            QCOMPARE(readInto(device, B::fromHex(TWO_ENTRIES[k]), ORDERS[k]), 0);
            QCOMPARE(written(device).toHex(), B(TWO_ENTRIES[0]));
            QVERIFY(driver.auxText == "kept" && driver.auxFlag && device.auxText == "kept");
        }
        QVERIFY(written(DeviceSetting(RS232Device, "", 9600, 8, 0, 2))
                    .toHex()
                    .endsWith("0000000200000000ffffffff0000000000000000"));
    }

    void readsACutDriverUpToItsEnd()
    {
        for (int length = 0; length < 16; ++length) {
            DriverSetting setting(1, 2, 3, 4);
            QCOMPARE(readInto(setting, B::fromHex(B(DRIVER[0], 2 * length))),
                     int(QDataStream::ReadPastEnd));
            QCOMPARE(written(setting).toHex(), B(DRIVER[0], length / 4 * 8).leftJustified(32, '0'));
        }
    }

    void readsACutDeviceUpToItsEnd()
    {
        // What lengths up to the given one give. With 50 bytes the end comes right behind an entry,
        // and nothing more is asked for.
        const int lastLength[] = {41, 47, 49, 50, 55, 57, 58};
        const char *const entries[] = {"",           "|0 ",         "1|0 ",           "1|8501 ",
                                       "1|8501 |0 ", "1|8501 2|0 ", "1|8501 2|65534 "};
        for (int length = 0, step = 0; length <= 58; ++length) {
            step += length > lastLength[step] ? 1 : 0;
            DeviceSetting device(RS232Device, "COM2", 9600, 8, 0, 2);
            const int status = readInto(device, B::fromHex(B(TWO_ENTRIES[0], 2 * length)));
            QCOMPARE(status == QDataStream::ReadPastEnd, length != 50 && length != 58);
            QCOMPARE(entriesOf(device), QString(entries[step]));
            QCOMPARE(device.string, QString(length >= 10 ? "C" : ""));
            QCOMPARE(device.linkID, length >= 34 ? 9 : 0);
            QCOMPARE(device.currentIPIndex, length > 50 ? 1 : 0);
        }
    }

    // A count or a length that the bytes behind it do not bear out costs neither time nor memory.
    void readsTheListAndItsIndex()
    {
        const struct {
            const char *name, *fromIndexOn, *outcome;
        } rows[] = {
            {"one beyond", "00000002 00000001 FFFFFFFF 0001", "|1 at 1, status 0"},
            {"index -1", "FFFFFFFF 00000001 FFFFFFFF 0001", "|1 at 1, status 0"},
            {"bytes behind", "00000000 00000001 FFFFFFFF 0003 31", "|3 at 0, status 0"},
            {"great count", "00000000 FFFFFFFF 00000002 0031 2135", "1|8501 at 0, status 0"},
            {"great count, no entry", "00000000 FFFFFFFF", "|0 at 0, status 1"},
            {"text of 2 GiB", "00000000 00000002 7FFFFFFE 0031 2135", "|0 at 0, status 1"},
            {"text of an odd length", "00000000 FFFFFFFF 00000001 0031", "|49 at 0, status 2"},
        };
        for (const auto &row : rows) {
            DeviceSetting device = deviceWithTwoEntries();
            const int status =
                readInto(device, B::fromHex(B(TWO_ENTRIES[0], 68) + row.fromIndexOn));
            const QString rest = QString("at %1, status %2").arg(device.currentIPIndex).arg(status);
            QVERIFY2(entriesOf(device) + rest == row.outcome, row.name);
        }
    }

    // The third record's count is hostile.
    void readsRecordsFromAPipe()
    {
        const B record = B::fromHex(TWO_ENTRIES[0]);
        for (qint64 guess : {0, 4096}) {
            Pipe pipe(record + record + B(record).replace(38, 4, "\xFF\xFF\xFF\xFF"), guess);
            QDataStream stream(&pipe);
            for (int k = 0; k < 3; ++k) {
                DeviceSetting device = deviceWithTwoEntries();
                stream >> device;
                const bool failed = k == 2 && guess > 0;
                QCOMPARE(entriesOf(device), QString("1|8501 2|65534 ") + (failed ? "|0 " : ""));
                QCOMPARE(stream.status() == QDataStream::ReadPastEnd, failed);
            }
        }
    }

    void dumpsOneDebugMessage()
    {
        // Qt 4.8 hands messages over in the locale's encoding, which need not know every character.
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
        const QString name = QString::fromUtf8(" a\"b\\c\td\n\xC3\xA4\xCE\xA9\xE2\x82\xAC ");
        MessageCapture capture;
        DriverSetting driver(500, 3, 0, -1, "", 0, "hidden", true);
        void (DriverSetting::*const dumpDriver)() = &DriverSetting::dump;
        (driver.*dumpDriver)();
        DeviceSetting device(static_cast<device_type>(0x80000070u), name, 9600, 8, 0, 2, 7, "aux");
        void (DeviceSetting::*const dumpDevice)() = &DeviceSetting::dump;
        (device.*dumpDevice)();
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
};

QTEST_APPLESS_MAIN(TestSettingsStream)
#include "tst_settings_stream.moc"
