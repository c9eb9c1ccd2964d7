// What a read sends, call by call, and what it makes of the replies.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "tests/driver/scripted_channel.h"
#include "tests/table.h"

namespace
{

const char OPEN[] = "!|>CR 00|<CC 00|";
const char CLOSE[] = "|!|>CQ|<CF";
typedef QByteArray B;

QByteArray repeated(const char *item, int count)
{
    QByteArray items;
    for (int i = 0; i < count; ++i)
        items += (i == 0 ? "" : " ") + QByteArray(item);
    return items;
}

// Rows give the data line and its reply, and the data or the error; opening and closing around them
// are the same for all.
const struct {
    const char *name;
    CommandKind kind;
    uint count;
    QString address;
    QByteArray middle;
    QByteArray outcome;
} REPLIES[] = {
    {"one word", Word, 1, "DM100", "!|>RDS DM00100.H 1|<1234", "3412"},
    {"a partial word", Byte, 3, "dm100", "!|>RDS DM00100.H 2|<1234 5678", "341278"},
    {"lower-case digits", Word, 1, "EM0", "!|>RDS EM00000.H 1|<00ff", "ff00"},
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
    {"index register", Word, 1, "Z3", "!|>RDS Z03.H 1|<0001", "0100"},
    {"control memory", Word, 1, "CM10", "!|>RDS CM0010.H 1|<0001", "0100"},
    {"work memory", Word, 1, "VM50", "!|>RDS VM00050.H 1|<0001", "0100"},
    {"wider than the field", Word, 1, "DM123456", "!|>RDS DM123456.H 1|<0001", "0100"},
    {"fewer words than asked", Word, 3, "DM1", "!|>RDS DM00001.H 3|<1234", "341200000000"},
    {"more words than asked", Word, 1, "DM1", "!|>RDS DM00001.H 1|<1234 5678", "3412"},
    {"bytes after a NUL", Word, 2, "DM1", "!|>RDS DM00001.H 2|<<1234{CR}{LF}{NUL}{LF}ABCD{LF}",
     "34120000"},
    {"in three chunks", Word, 1, "DM1", "!|>RDS DM00001.H 1|<<12|<<34{CR}|<<{LF}", "3412"},
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
    {"fewer bits than asked", Bit, 10, "MR0", "!|>RDS MR0 10|<1 0 1", "0500"},
    {"more bits than asked", Bit, 1, "MR0", "!|>RDS MR0 1|<0 1", "00"},
    {"lower-case relay", Bit, 1, "r100", "!|>RDS r100 1|<1", "01"},
    {"timer contacts", Bit, 2, "t12",
     "!|>RDS t12 2|<1,0000000000,0000000000 1,0000000000,0000000000", "03"},
    {"counter contact", Bit, 1, "C7", "!|>RDS C7 1|<1,0000000000,0000000000", "01"},
    {"CTC contact", Bit, 2, "cTC1", "!|>RDS cTC1 2|<1,0000000000,0000000000", "01"},
    {"most bits", Bit, 768, "R0", "!|>RDS R0 768|<" + repeated("1", 768), B("ff").repeated(96)},
    {"two blanks", Word, 1, "DM1", "!|>RDS DM00001.H 1|<1234  5678", "invalid response:"},
    {"an E alone", Word, 1, "DM1", "!|>RDS DM00001.H 1|<E", "invalid response:"},
    {"one word too long", Word, 1, "DM1", "!|>RDS DM00001.H 1|<" + repeated("0102", 308),
     "invalid response:"},
    {"value without item", Word, 1, "T1", "!|>RDS T1 1|<0000000001", "invalid response"},
    {"a bit of 2", Bit, 1, "R1", "!|>RDS R1 1|<2", "invalid response2"},
    {"item for a bit", Bit, 1, "TC1", "!|>RDS TC1 1|<1,0000000001,0000000001", "invalid response2"},
    {"bit for an item", Bit, 1, "T1", "!|>RDS T1 1|<1", "invalid response3"},
    {"bit of lower-case CTC", Bit, 1, "ctc1", "!|>RDS ctc1 1|<1,0000000001,0000000001",
     "invalid response2"},
};

const struct {
    const char *name;
    uint kind;
    uint count;
    QString address;
    int station;
    QString error;
} REFUSED_REQUESTS[] = {
    {"station 100", Word, 1, "DM1", 100, "station number 100 is not in 0 to 99"},
    {"negative station", Bit, 1, "R1", -1, "station number -1 is not in 0 to 99"},
    {"no number", Word, 1, "B1G", 0, "address \"B1G\" holds no device number"},
    {"no byte for a character", Word, 1, QString::fromUtf8("B\xe6\x97\xa5"), 0,
     "address \"B\\x65e5\" holds no device number"},
    {"number above 32 bits", Word, 1, "W100000000", 0,
     "address \"W100000000\" holds no device number"},
    {"device not in the table", Word, 0, "ZA1", 0, "address \"ZA1\" names no known device"},
    {"line too long", Bit, 1000, "CTC123456", 0,
     "read of 1000 items from address \"CTC123456\" does not fit a line of 19 characters"},
    {"line too long by one, place marks", DoubleWord, 10, "TC%2%3%1789", 0,
     "read of 10 items from address \"TC%2%3%1789\" does not fit a line of 19 characters"},
    {"second line in the address", Bit, 1, "R1 1\r\nWRS R1 1 1\r\n", 0,
     "address \"R1 1\\x0d\\x0aWRS R1 1 1\\x0d\\x0a\" holds the character 0x20 at position 2"},
    {"8-bit character", DoubleWord, 1, QString::fromUtf8("T\xc3\xa9"), 0,
     "address \"T\\xe9\" holds the character 0xe9 at position 1"},
    {"character beyond 8 bits", Bit, 1, QString::fromUtf8("T\xe6\x97\xa5"), 0,
     "address \"T\\x65e5\" holds the character 0x65e5 at position 1"},
    {"empty address", Bit, 1, "", 0, "address is empty"},
    {"more bytes than an int", Byte, 0xFFFFFFFFu, "DM1", 0,
     "data length -1 is not in 0 to 1048576 bytes"},
    {"more than a reply could be", DoubleWord, 300000, "T1", 0,
     "data length 1200000 is not in 0 to 1048576 bytes"},
    {"most bits of all", Bit, 0xFFFFFFFFu, "R1", 0,
     "data length 536870912 is not in 0 to 1048576 bytes"},
    {"quad word", QuadWord, 1, "DM1", 0, ""},
    {"unknown kind", 7, 1, "DM1", 0, ""},
    {"unknown large kind", 0xFFFFFFFFu, 1, "DM1", 0, ""},
};

} // namespace

class TestDriverRead : public QObject
{
    Q_OBJECT

private slots:
    void takesRepliesOfTheItemsForm_data() { addRows(REPLIES); }

    void takesRepliesOfTheItemsForm()
    {
        const auto &row = currentRow(REPLIES);
        const bool good = !row.outcome.startsWith("invalid");
        ScriptedChannel channel(OPEN + row.middle + (good ? CLOSE : ""));
        DriverKV_L20V_HostLink driver;
        const CommunicatorCommand command(row.kind, row.count, row.address);
        const QByteArray data = driver.read(&channel, command);
        QCOMPARE(channel.fault(), QByteArray());
        QCOMPARE(good ? data.toHex() : driver.getLastError().toLatin1(), row.outcome);
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
        const CommunicatorCommand command(CommandKind(row.kind), row.count, row.address);
        QVERIFY(driver.read(&channel, command).isEmpty());
        QCOMPARE(channel.fault(), QByteArray());
        QCOMPARE(driver.getLastError(), row.error);
        QCOMPARE(driver.hasError(), !row.error.isEmpty());
        QCOMPARE(channel.delaysAsked, row.error.isEmpty() ? 1 : 3);
    }

    void takesTheCommandsOwnByteLength()
    {
        class ThreeBytes : public CommunicatorCommand
        {
        public:
            ThreeBytes() : CommunicatorCommand(Word, 100, QLatin1String("DM1")) {}
            int byteLength() const { return 3; }
        };
        ScriptedChannel channel(QByteArray(OPEN) + "!|>RDS DM00001.H 2|<1234 5678" + CLOSE);
        DriverKV_L20V_HostLink driver;
        QCOMPARE(driver.read(&channel, ThreeBytes()).toHex(), QByteArray("341278"));
        QCOMPARE(channel.fault(), QByteArray());
    }

    // Lines of earlier reads are kept; each of these must get its own, whatever was read before.
    void asksAnewForEveryAddressAndCount()
    {
        const struct {
            QByteArray address;
            uint words;
            const char *line;
        } rows[] = {
            {"DM1", 1, "RDS DM00001.H 1"},
            {"DM1", 33, "RDS DM00001.H 33"},
            {"EM1", 1, "RDS EM00001.H 1"},
            {"DM1", 2, "RDS DM00001.H 2"},
            {"dm1", 1, "RDS DM00001.H 1"},
            {"DM10001", 1, "RDS DM10001.H 1"},
            {"DM20001", 1, "RDS DM20001.H 1"},
            {"DM0000000001", 1, "RDS DM00001.H 1"},
            {"DM00000000001", 1, "RDS DM00001.H 1"},
            {"DM4294967295", 1, "RDS DM4294967295.H 1"},
            {"R1", 1, "RDS R00100.H 1"},
            {"W1", 1, "RDS W0001.H 1"},
            {"DM" + QByteArray(2000, '0') + "1", 1, "RDS DM00001.H 1"},
            {"DM1010", 1, "RDS DM01010.H 1"},
            {"DM10", 1, "RDS DM00010.H 1"},
            {"DM010001", 1, "RDS DM10001.H 1"},
            {"DM01000001", 1, "RDS DM1000001.H 1"},
            {"DM01990001", 1, "RDS DM1990001.H 1"},
        };
        DriverKV_L20V_HostLink driver;
        for (int round = 0; round < 3; ++round) {
            for (const auto &row : rows) {
                ScriptedChannel channel(QByteArray(OPEN) + "!|>" + row.line + "|<1234" + CLOSE);
                driver.read(&channel,
                            CommunicatorCommand(Word, row.words, QString::fromLatin1(row.address)));
                QCOMPARE(channel.fault(), QByteArray());
            }
            ScriptedChannel silent("");
            driver.read(&silent, CommunicatorCommand(Word, 1, QLatin1String("ZA1")));
            QVERIFY(driver.hasError());
        }
        // More than are kept, alike but for the beginning, the end or the number of words.
        for (int i = 0; i < 200; ++i) {
            const QByteArray address = (i % 2 == 0 ? "DM" : "EM") + B::number(10 + i / 2) + "0001";
            const B end = "DM10" + B::number(1000 + i) + ".H 1";
            for (const B &field : {address + ".H 1", end, "DM00100.H " + B::number(1 + i)}) {
                ScriptedChannel channel(B(OPEN) + "!|>RDS " + field + "|<1234" + CLOSE);
                const QString asked = QString::fromLatin1(field.left(field.indexOf('.')));
                const uint words = field.mid(field.indexOf(' ')).trimmed().toUInt();
                driver.read(&channel, CommunicatorCommand(Word, words, asked));
                QCOMPARE(channel.fault(), QByteArray());
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestDriverRead)
#include "tst_driver_read.moc"
