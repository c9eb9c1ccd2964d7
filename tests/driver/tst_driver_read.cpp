// What a read sends, call by call, and what it makes of the replies.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"
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

    // A good reply, changed here and there: its pattern, its decoder and the driver agree.
    void tellsAReplysFormByPatternAndDecoder()
    {
        const struct {
            const char *pattern;
            int (*decode)(const char *rsp, int length, int count, char *out);
            CommandKind kind;
            const char *address;
            B reply;
        } forms[] = {
            {"[01](?: [01])*\\x0D\\x0A", KV_L20V_BitsOf, Bit, "R0", "1 0\r\n"},
            {"[\\da-fA-F]{4}(?: [\\da-fA-F]{4})*\\r\\n", KV_L20V_HexWordsOf, Word, "DM0",
             "00fF 12A4\r\n"},
            {"\\d{10}(?: \\d{10})*\\x0D\\x0A", KV_L20V_NumbersOf, DoubleWord, "TC0",
             "0000000001 0000000002\r\n"},
            {"[01],\\d{10},\\d{10}(?: [01],\\d{10},\\d{10})*\\x0D\\x0A", KV_L20V_CurrentsOf,
             DoubleWord, "T0", "1,0000000005,0000000009 0,0000000001,0000000002\r\n"},
        };
        const B bytes("012afgFG:/,. \r\n\0", 16);
        quint32 random = 1;
        for (int i = 0; i < 8000; ++i) {
            const auto &form = forms[i % 4];
            B reply = form.reply;
            for (int edits = i / 4 % 4; edits > 0; --edits) {
                random = random * 1664525 + 1013904223;
                const int at = static_cast<int>((random >> 8) % static_cast<uint>(reply.size()));
                reply.replace(at, random >> 30 & 1, bytes.mid(random >> 20 & 15, random >> 31));
            }
            char out[8] = {};
            const bool decoded = form.decode(reply.constData(), reply.size(), 2, out) >= 0;
            const QString text = QString::fromLatin1(reply.constData()); // up to a zero byte
            QVERIFY2(QRegExp(form.pattern).exactMatch(text) == decoded, reply.toHex());
            ScriptedChannel channel(B(OPEN) + "!|>RDS|<<" + reply.replace('\0', "{NUL}") + CLOSE);
            DriverKV_L20V_HostLink driver;
            driver.read(&channel, CommunicatorCommand(form.kind, 1, QLatin1String(form.address)));
            QVERIFY2(driver.hasError() != decoded, reply);
        }
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
            {"DM1", 2, "RDS DM00001.H 2"},
            {"dm1", 1, "RDS DM00001.H 1"},
            {"DM10001", 1, "RDS DM10001.H 1"},
            {"DM20001", 1, "RDS DM20001.H 1"},
            {"DM0000000001", 1, "RDS DM00001.H 1"},
            {"DM" + QByteArray(2000, '0') + "1", 1, "RDS DM00001.H 1"},
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
