// What a write sends, call by call, and when it counts as done.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "tests/driver/scripted_channel.h"
#include "tests/table.h"

namespace
{

const char OPEN[] = "!|>CR 00|<CC 00|";
const char CLOSE[] = "|!|>CQ|<CF";
typedef QByteArray B;

// One whole exchange for a data line that is answered "OK".
QByteArray done(const QByteArray &line)
{
    return OPEN + (">" + line) + "|<OK" + CLOSE;
}

const struct {
    const char *name;
    CommandKind kind;
    QString address;
    QByteArray hex;
    QByteArray script;
} WRITES[] = {
    {"one word", Word, "DM100", "3412", done("WRS DM00100.H 1 1234")},
    {"an odd byte", Byte, "dm100", "010203", done("WRS DM00100.H 2 0201 0003")},
    {"double word, upper-case digits", DoubleWord, "W1F", "efcdab89",
     done("WRS W001F.H 2 CDEF 89AB")},
    {"a channel", Block, "MR5", "0180", done("WRS MR00500.H 1 8001")},
    {"no words", Word, "DM1", "", done("WRS DM00001.H 0")},
    {"any reply is taken", Word, "DM1", "0000", OPEN + B(">WRS DM00001.H 1 0000|<what") + CLOSE},
    {"most words", Word, "DM1", B("0201").repeated(306),
     done("WRS DM00001.H 306" + B(" 0102").repeated(306))},
    {"values that fill the line", DoubleWord, "T1", B("01000000").repeated(140),
     done("WRS T1 140" + B(" 0000000001").repeated(140))},
    {"bits that fill the line", Bit, "R1", B("01").repeated(770),
     done("WRS R1 770" + B(" 1").repeated(770))},
    {"timer values", Byte, "T12", "ffffffff05", done("WRS T12 2 4294967295 0000000005")},
    {"CTC preset", DoubleWord, "PCTC2", "64000000", done("WRS CTC2 1 0000000100")},
    {"CTC preset, lower case", DoubleWord, "pctc2", "64000000", done("WRS ctc2 1 0000000100")},
    {"run of relay bits", BitBlock, "R00100", "010005", done("WRS R00100 3 1 0 1")},
    {"run of VB bits", Bit, "VB0", "01", done("WRS VB0 1 1")},
    {"run of B bits, one of them 80", Bit, "B1F", "80", done("WRS B1F 1 1")},
    {"run of LR bits", Bit, "LR0", "01", done("WRS LR0 1 1")},
    {"run of CR bits", Bit, "CR0", "00", done("WRS CR0 1 0")},
    {"run of no bits", Bit, "MR0", "", done("WRS MR0 0")},
    {"set a timer", Bit, "T12", "01", done("ST T0012")},
    {"reset a timer", Bit, "t12", "00", done("RS T0012")},
    {"set a CTC", Bit, "ctc3", "80", done("ST CTC3")},
    {"reset a counter", Bit, "C12345", "00", done("RS C12345")},
    {"three counters", BitBlock, "C0010", "010001",
     done("ST C0010") + "|" + done("RS C0011") + "|" + done("ST C0012")},
    {"no bits", Bit, "T12", "", ""},
};

} // namespace

class TestDriverWrite : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheData_data() { addRows(WRITES); }

    void sendsTheData()
    {
        const auto &row = currentRow(WRITES);
        ScriptedChannel channel(row.script);
        DriverKV_L20V_HostLink driver;
        const CommunicatorCommand command(CommandKind(row.kind), 1, row.address);
        QCOMPARE(driver.write(&channel, command, QByteArray::fromHex(row.hex)), 1);
        QCOMPARE(channel.fault(), QByteArray());
        QVERIFY(!driver.hasError());
    }

    void repeatsTheWholeRunOfBits()
    {
        ScriptedChannel channel(done("ST T0001") + "|" + OPEN + ">RS T0002|~|" + done("ST T0001") +
                                "|" + done("RS T0002"));
        channel.retry = 1;
        DriverKV_L20V_HostLink driver;
        const CommunicatorCommand command(Bit, 2, QLatin1String("T1"));
        QCOMPARE(driver.write(&channel, command, QByteArray("\1\0", 2)), 1);
        QCOMPARE(channel.fault(), QByteArray());
        QVERIFY(!driver.hasError());
        QCOMPARE(driver.getLastError(), QString::fromLatin1("PLC no response"));
    }
};

QTEST_APPLESS_MAIN(TestDriverWrite)
#include "tst_driver_write.moc"
