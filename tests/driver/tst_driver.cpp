// What a request sends, call by call, what it makes of the replies, and what is refused; attempts,
// pauses and the error state; the driver's description of itself, its place in the panel's runtime,
// its addresses.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "testkit/scripted_channel.h"
#include "tests/table.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QScopedPointer>

#include <cstddef>
#include <cstring>
#include <ctime>

namespace
{

const char OPEN[] = "!|>CR 00|<CC 00|";
const char CLOSE[] = "|!|>CQ|<CF";
typedef QByteArray B;
typedef QList<int> Places;

const CommunicatorCommand DM1(Word, 1, QLatin1String("DM1"));
const char READ_DM1[] = "|!|>RDS DM00001.H 1|<1234|!|>CQ|<CF";

qint64 sleptMs = 0;

// One whole exchange for a data line that is answered "OK".
QByteArray done(const QByteArray &line)
{
    return OPEN + (">" + line) + "|<OK" + CLOSE;
}

QByteArray repeated(const char *item, int count)
{
    QByteArray items;
    for (int i = 0; i < count; ++i)
        items += (i == 0 ? "" : " ") + QByteArray(item);
    return items;
}

// Opening and closing around the data line are the same for all. A request writes unless its line
// is "RDS".
const struct {
    const char *name;
    CommandKind kind;
    uint count;
    QString address;
    QByteArray script;
    QByteArray data; // in hexadecimal; or the error
} REQUESTS[] = {
    {"one word", Word, 1, "DM100", "!|>RDS DM00100.H 1|<1234", "3412"},
    {"a partial word", Byte, 3, "dm100", "!|>RDS DM00100.H 2|<1234 5678", "341278"},
    {"all hexadecimal digits", Word, 6, "EM0", "!|>RDS EM00000.H 6|<0123 4567 89AB CDEF abcd ef00",
     "23016745ab89efcdcdab00ef"},
    {"a double word", DoubleWord, 1, "FM32767", "!|>RDS FM32767.H 2|<0001 8000", "01000080"},
    {"no words", Word, 0, "DM100", "!|>RDS DM00100.H 0|<1234", ""},
    {"a block", Block, 2, "ZF1", "!|>RDS ZF00001.H 1|<ABCD", "cdab"},
    {"relay channel", Word, 1, "R12", "!|>RDS R01200.H 1|<0001", "0100"},
    {"link relay channel", Word, 1, "B1F", "!|>RDS B01F0.H 1|<0001", "0100"},
    {"internal relay", Word, 1, "MR5", "!|>RDS MR00500.H 1|<0001", "0100"},
    {"latch relay", Word, 1, "LR7", "!|>RDS LR00700.H 1|<0001", "0100"},
    {"control relay", Word, 1, "CR1", "!|>RDS CR0100.H 1|<0001", "0100"},
    {"work relay", Word, 1, "vb2a", "!|>RDS VB02A0.H 1|<0001", "0100"},
    {"link word", Word, 1, "W1FF", "!|>RDS W01FF.H 1|<0001", "0100"},
    {"temporary memory", Word, 1, "TM5", "!|>RDS TM005.H 1|<0001", "0100"},
    {"number of many digits", Word, 1, "W0x00000001F", "!|>RDS W001F.H 1|<0001", "0100"},
    {"number of more digits than a word's", Word, 1, "DM123456789", "!|>RDS DM123456789.H 1|<0001",
     "0100"},
    {"number in lower case", Word, 1, "w1ff", "!|>RDS W01FF.H 1|<0001", "0100"},
    {"eight digits", Word, 1, "DM01990001", "!|>RDS DM1990001.H 1|<0001", "0100"},
    {"leading zeros", Word, 33, "dm0000000001", "!|>RDS DM00001.H 33|<" + repeated("0001", 33),
     B("0100").repeated(33)},
    {"2000 zeros", Word, 1, "DM" + B(2000, '0') + "1", "!|>RDS DM00001.H 1|<0001", "0100"},
    {"number 0", Word, 1, "DM000", "!|>RDS DM00000.H 1|<0001", "0100"},
    {"index register", Word, 1, "Z3", "!|>RDS Z03.H 1|<0001", "0100"},
    {"index register without a number", Word, 1, "Z", "!|>RDS Z00.H 1|<0001", "0100"},
    {"control memory", Word, 1, "CM10", "!|>RDS CM0010.H 1|<0001", "0100"},
    {"work memory", Word, 1, "VM50", "!|>RDS VM00050.H 1|<0001", "0100"},
    {"fewer words than asked", Word, 3, "DM1", "!|>RDS DM00001.H 3|<1234", "341200000000"},
    {"more words than asked", Word, 1, "DM1", "!|>RDS DM00001.H 1|<1234 5678", "3412"},
    {"bytes after a NUL", Word, 2, "DM1", "!|>RDS DM00001.H 2|<<1234{CR}{LF}{NUL}{LF}ABCD{LF}",
     "34120000"},
    {"most words", Word, 307, "DM1", "!|>RDS DM00001.H 307|<" + repeated("0102", 307),
     B("0201").repeated(307)},
    {"ten digits", DoubleWord, 1, "CC1", "!|>RDS CC1 1|<0000000100", "64000000"},
    {"timer current", DoubleWord, 2, "TC5", "!|>RDS TC5 2|<0000000001 4294967295",
     "01000000ffffffff"},
    {"above 32 bits", DoubleWord, 1, "ts1", "!|>RDS ts1 1|<4294967296", "ffffffff"},
    {"part of a value", Byte, 5, "AT0", "!|>RDS AT0 2|<0000000001 0000000002", "0100000002"},
    {"fewer values", DoubleWord, 2, "CS0", "!|>RDS CS0 2|<0000000007", "0700000000000000"},
    {"timer item", DoubleWord, 1, "T12", "!|>RDS T12 1|<1,0000000005,0000000100", "05000000"},
    {"CTC current", DoubleWord, 1, "CTC3", "!|>RDS CTC3 1|<0,0000000005,0000000100", "05000000"},
    {"CTC preset", Word, 3, "pctc3",
     "!|>RDS ctc3 2|<0,0000000005,0000000100 1,0000000000,9999999999", "64000000ffff"},
    {"bits", BitBlock, 10, "R01215", "!|>RDS R01215 10|<1 0 1 0 0 0 0 1 1 1", "8503"},
    {"more bits than asked", Bit, 1, "MR0", "!|>RDS MR0 1|<0 1", "00"},
    {"bit of a counter without a number", Bit, 1, "C", "!|>RDS C 1|<1", "01"},
    {"lower-case relay", Bit, 1, "r100", "!|>RDS r100 1|<1", "01"},
    {"timer contacts", Bit, 2, "t12",
     "!|>RDS t12 2|<1,0000000000,0000000000 1,0000000000,0000000000", "03"},
    {"CTC contact", Bit, 2, "cTC1", "!|>RDS cTC1 2|<1,0000000000,0000000000", "01"},
    {"most bits", Bit, 768, "R0", "!|>RDS R0 768|<" + repeated("1", 768), B("ff").repeated(96)},
    {"one word too long", Word, 1, "DM1", "!|>RDS DM00001.H 1|<" + repeated("0102", 308),
     "invalid response:"},
    {"value without item", Word, 1, "T1", "!|>RDS T1 1|<0000000001", "invalid response"},
    {"item for a bit", Bit, 1, "TC1", "!|>RDS TC1 1|<1,0000000001,0000000001", "invalid response2"},
    {"bit for an item", Bit, 1, "T1", "!|>RDS T1 1|<1", "invalid response3"},
    {"bit of lower-case CTC", Bit, 1, "ctc1", "!|>RDS ctc1 1|<1,0000000001,0000000001",
     "invalid response2"},
    {"one word", Word, 1, "DM100", done("WRS DM00100.H 1 1234"), "3412"},
    {"an odd byte", Byte, 1, "dm100", done("WRS DM00100.H 2 0201 0003"), "010203"},
    {"double word, upper-case digits", DoubleWord, 1, "W1F", done("WRS W001F.H 2 CDEF 89AB"),
     "efcdab89"},
    {"a channel", Block, 1, "MR5", done("WRS MR00500.H 1 8001"), "0180"},
    {"no words", Word, 1, "DM1", done("WRS DM00001.H 0"), ""},
    {"any reply is taken", Word, 1, "DM1", OPEN + B(">WRS DM00001.H 1 0000|<what") + CLOSE, "0000"},
    {"most words", Word, 1, "DM1", done("WRS DM00001.H 306" + B(" 0102").repeated(306)),
     B("0201").repeated(306)},
    {"values that fill the line", DoubleWord, 1, "T1",
     done("WRS T1 140" + B(" 0000000001").repeated(140)), B("01000000").repeated(140)},
    {"bits that fill the line", Bit, 1, "R1", done("WRS R1 770" + B(" 1").repeated(770)),
     B("01").repeated(770)},
    {"timer values", Byte, 1, "T12", done("WRS T12 2 4294967295 0000000005"), "ffffffff05"},
    {"CTC preset", DoubleWord, 1, "PCTC2", done("WRS CTC2 1 0000000100"), "64000000"},
    {"CTC preset, lower case", DoubleWord, 1, "pctc2", done("WRS ctc2 1 0000000100"), "64000000"},
    {"run of relay bits", BitBlock, 1, "R00100", done("WRS R00100 3 1 0 1"), "010005"},
    {"run of VB bits", Bit, 1, "VB0", done("WRS VB0 1 1"), "01"},
    {"run of B bits, one of them 80", Bit, 1, "B1F", done("WRS B1F 1 1"), "80"},
    {"run of LR bits", Bit, 1, "LR0", done("WRS LR0 1 1"), "01"},
    {"run of CR bits", Bit, 1, "CR0", done("WRS CR0 1 0"), "00"},
    {"run of no bits", Bit, 1, "MR0", done("WRS MR0 0"), ""},
    {"set a timer", Bit, 1, "T12", done("ST T0012"), "01"},
    {"reset a timer", Bit, 1, "t12", done("RS T0012"), "00"},
    {"set a CTC", Bit, 1, "ctc3", done("ST CTC3"), "80"},
    {"reset a counter", Bit, 1, "C12345", done("RS C12345"), "00"},
    {"three counters", BitBlock, 1, "C0010",
     done("ST C0010") + "|" + done("RS C0011") + "|" + done("ST C0012"), "010001"},
    {"no bits", Bit, 1, "T12", "", ""},
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
    {"bit of a device that is none", true, Bit, 1, "FX1", 0,
     "device \"FX\" has no line that sets or resets a bit"},
    {"bit of another that is none", true, Bit, 1, "AX1", 0,
     "device \"AX\" has no line that sets or resets a bit"},
    {"lower-case relay", true, Bit, 1, "r00100", 0,
     "device \"r\" has no line that sets or resets a bit"},
    {"numbers beyond an int", true, Bit, 2, "T2147483647", 0,
     "2 bits from address \"T2147483647\" on run beyond device number 2147483647"},
    {"quad word to write", true, QuadWord, 8, "DM1", 0, ""},
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
    {"CTX3", 1, "CTX", 3},
    {"DX5", 1, "DX", 5},
    {"T:7", 1, "T:", 7},
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

class TestDriver : public QObject
{
    Q_OBJECT

private slots:
    void speaksAsTheItemsAsk_data() { addRows(REQUESTS); }

    void speaksAsTheItemsAsk()
    {
        const auto &row = currentRow(REQUESTS);
        const bool good = !row.data.startsWith("invalid");
        const bool reads = row.script.contains(">RDS");
        ScriptedChannel channel(reads ? OPEN + row.script + (good ? CLOSE : "") : row.script);
        DriverKV_L20V_HostLink driver;
        const CommunicatorCommand command(row.kind, row.count, row.address);
        const B data = reads ? driver.read(&channel, command) : B::fromHex(row.data);
        QVERIFY(reads || driver.write(&channel, command, data) == 1);
        QCOMPARE(channel.fault(), B());
        QCOMPARE(good ? data.toHex() : driver.getLastError().toLatin1(), row.data);
        QVERIFY(driver.hasError() != good && (good || data.isEmpty()));
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

    // What else may become of a reply is the explorer's.
    void refusesTheCharactersNextToDigits()
    {
        const struct {
            CommandKind kind;
            const char *address, *reply;
        } rows[] = {{Word, "DM1", "123"},
                    {Bit, "R1", ""},
                    {DoubleWord, "TC1", "000000000"},
                    {DoubleWord, "T1", "1,0000000001,000000000"}};
        for (const auto &row : rows) {
            for (char c : {'/', ':', '@', 'G', '`', 'g'}) {
                ScriptedChannel channel(B(OPEN) + "!|>RDS|<" + row.reply + c);
                DriverKV_L20V_HostLink driver;
                driver.read(&channel, CommunicatorCommand(row.kind, 1, QLatin1String(row.address)));
                QVERIFY2(driver.getLastError().startsWith("invalid response"), row.reply);
            }
        }
    }

    void takesTheCommandsOwnByteLength()
    {
        struct ThreeBytes : CommunicatorCommand {
            ThreeBytes() : CommunicatorCommand(Word, 100, QLatin1String("DM1")) {}
            int byteLength() const { return 3; }
        };
        ScriptedChannel channel(QByteArray(OPEN) + "!|>RDS DM00001.H 2|<1234 5678" + CLOSE);
        DriverKV_L20V_HostLink driver;
        QCOMPARE(driver.read(&channel, ThreeBytes()).toHex(), QByteArray("341278"));
        QCOMPARE(channel.fault(), QByteArray());
    }

    void triesAndPausesAsTheLinkSays()
    {
        for (int i = 0; i < 6; ++i) {
            const int retry = i / 2 * 2 - 2;
            const int attempts = qMax(retry, 0) + 1;
            DriverKV_L20V_HostLink driver;
            ScriptedChannel channel(B("|!|>CR 99|~").repeated(attempts).mid(1));
            channel.retry = retry;
            channel.station = 99;
            channel.delayMs = i == 5 ? 3000 : 0;
            QElapsedTimer timer;
            timer.start();
            if (i % 2 == 0)
                QVERIFY(driver.read(&channel, DM1).isEmpty());
            else
                QCOMPARE(driver.write(&channel, DM1, B(2, '\0')), 0);
            QCOMPARE(channel.fault(), B());
            QCOMPARE(channel.delaysAsked, attempts);
            QCOMPARE(channel.retriesAsked, attempts);
            QVERIFY(driver.hasError());
            QVERIFY(i < 5 || sleptMs + timer.elapsed() >= 9000);
        }
    }

    // Through a channel that says it has given more than it was asked for.
    void keepsTheTextOfTheLatestFailure()
    {
        DriverKV_L20V_HostLink driver;
        QVERIFY(!driver.hasError());
        QCOMPARE(driver.getLastError(), QString());
        ScriptedChannel channel(QByteArray("!|>CR 00|~|!|>CR 00|<E1|!|>CR 00|<CC 00") + READ_DM1 +
                                "|!|>CR 00|<CC 00" + READ_DM1);
        channel.retry = 3;
        channel.claimedMore = 2000;
        QCOMPARE(driver.read(&channel, DM1).toHex(), QByteArray("3412"));
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

QTEST_APPLESS_MAIN(TestDriver)
#include "tst_driver.moc"
