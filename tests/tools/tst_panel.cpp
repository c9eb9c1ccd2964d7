// What a driver takes from the panel: ports, the place of the project, processes, time, settings.
#include "tests/message_capture.h"
#include "tools/drv_dev_setting.h"
#include "tools/host_environment.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDataStream>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTextCodec>
#include <QtTest/QTest>

#include <climits>
#include <csignal>
#include <cstring>

#include <pthread.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

typedef QByteArray B;

pthread_t sleepingThread;
volatile sig_atomic_t interruptions = 0;

void countInterruption(int)
{
    if (pthread_equal(pthread_self(), sleepingThread))
        interruptions = interruptions + 1;
}

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

template <typename Setting>
QByteArray written(const Setting &setting, QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    stream << setting;
    return bytes;
}

/// @return the stream's status
template <typename Setting>
int readInto(Setting &setting, const QByteArray &bytes,
             QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QDataStream stream(bytes);
    stream.setByteOrder(order);
    stream >> setting;
    return stream.status();
}

/// All entries, so that a comparison shows every change.
QString entriesOf(const DeviceSetting &device)
{
    QString text;
    for (int i = 0; i < device.socketData.size(); ++i)
        text += device.socketData.at(i).first + QLatin1Char('|') +
                QString::number(device.socketData.at(i).second) + QLatin1Char(' ');
    return text;
}

// Its current entry is the second.
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

class TestPanel : public QObject
{
    Q_OBJECT

private slots:
    void mapsDeviceNamesToPanelPorts()
    {
        const char *const names[] = {
            "ethernet7",     "MYETHERNET2",   "COM10", "COM007", "RS232-2", "COM2147482646",
            "COM2147483648", "COM2147482647", "10",    "COM2 ",  ""};
        const int ports[] = {2000, 1003, 1011, 1008, 1003, 2147483647, 1001, -1, -1, -1, -1};
        for (int k = 0; k < 11; ++k)
            QVERIFY2(DevStrToHmiPort(names[k]) == ports[k], names[k]);
        // Digits of another script, alone and before one that counts.
        QCOMPARE(DevStrToHmiPort(QString::fromUtf8("COM\xD9\xA3")), -1);
        QCOMPARE(DevStrToHmiPort(QString::fromUtf8("COM\xD9\xA3\x34")), 1005);
    }

    void skipsMissingDirectoriesOfTheDatabase()
    {
        // A directory, or a file where one is expected, and what is found with it there.
        const char *const directories[] = {"compile/database", "compile", "database", ""};
        const char *const files[] = {"", "compile/database", "", "compile"};
        const char *const found[] = {"compile/database/database", "compile/database",
                                     "database/database", "database"};
        QDir home(QCoreApplication::applicationDirPath());
        for (int k = 0; k < 4; ++k) {
            QVERIFY(!home.exists("compile") && !home.exists("database"));
            QVERIFY(!*directories[k] || home.mkpath(directories[k]));
            QVERIFY(!*files[k] || QFile(home.filePath(files[k])).open(QIODevice::WriteOnly));
            const QString name = GetDatabaseName();
            QVERIFY(!*files[k] || home.remove(files[k]));
            QVERIFY(!*directories[k] || home.rmpath(directories[k]));
            QCOMPARE(name, home.absolutePath() + '/' + found[k]);
        }
    }

    void knowsWhichProcessesRun()
    {
        QVERIFY(ProcessIsRunning(getpid()) && ProcessIsRunning(getpid() + 0x500000000LL));
        const pid_t child = fork();
        if (child == 0) {
            // Asked, where possible, by a user who may not signal process 1.
            const bool asRoot = geteuid() == 0 && setuid(65534) != 0;
            _exit(asRoot || ProcessIsRunning(1) ? 0 : 1);
        }
        int status = -1;
        QVERIFY(child > 0 && waitpid(child, &status, 0) == child && status == 0);
        QVERIFY(!ProcessIsRunning(child));
    }

    // Longer than a second, while a signal interrupts the sleep every millisecond.
    void sleepsItsFullTimeUnderSignals()
    {
        sleepingThread = pthread_self();
        struct sigaction action = {};
        action.sa_handler = countInterruption;
        QVERIFY(sigaction(SIGALRM, &action, 0) == 0);
        const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
        const itimerval never = {{0, 0}, {0, 0}};
        QElapsedTimer timer;
        timer.start();
        const qint64 before = CurrentMSecsSinceBoot();
        setitimer(ITIMER_REAL, &everyMillisecond, 0);
        HRSleep(1100);
        setitimer(ITIMER_REAL, &never, 0);
        const qint64 counted = CurrentMSecsSinceBoot() - before;
        const qint64 elapsed = timer.elapsed();
        QVERIFY(interruptions > 2);
        QVERIFY(counted >= 1100 && elapsed >= 1100 && counted <= elapsed + 1);
        HRSleep(0);
        QVERIFY(timer.elapsed() < elapsed + 1000);
    }

    void copyKeepsItsOwnFlag()
    {
        DriverSetting setting(1, 2, 3, 4, "dropped", 7);
        QVERIFY(setting.auxText.isEmpty() && !setting.auxFlag);
        QVERIFY(!DriverSetting(1, 2, 3, 4).auxFlag);
        setting.copy(DriverSetting(501, 5, 6, 21, "dropped", 7, "aux", true));
        QCOMPARE(written(setting).toHex(), B("000001f5000000050000000600000015"));
        QVERIFY(setting.auxText == "aux" && !setting.auxFlag);
    }

    // -1 names the current entry: no index without an entry becomes it.
    void readsAndChangesTheNamedEntryOnly()
    {
        const int indexes[] = {-1, 0, -2, 2, INT_MAX, INT_MIN};
        const char *const named[] = {"2|65534", "1|8501", "|0", "|0", "|0", "|0"};
        for (int k = 0; k < 6; ++k) {
            DeviceSetting device = deviceWithTwoEntries();
            for (int current : {2, -1})
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
        DeviceSetting device = deviceWithTwoEntries();
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
        DeviceSetting device = deviceWithTwoEntries();
        device.setSocketData(texts);
        QCOMPARE(entriesOf(device), QString("|0 ").repeated(8) + "|10 |65535 |7 |0 |0 |2 ");
    }

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

    void readsCutRecordsUpToTheirEnd()
    {
        for (int length = 0; length < 16; ++length) {
            DriverSetting setting(1, 2, 3, 4);
            QCOMPARE(readInto(setting, B::fromHex(B(DRIVER[0], 2 * length))),
                     int(QDataStream::ReadPastEnd));
            QCOMPARE(written(setting).toHex(), B(DRIVER[0], length / 4 * 8).leftJustified(32, '0'));
        }
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
};

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
