// What a user names: expressions, values as data, the plan of requests.
#include "items/expression.h"
#include "items/item_plan.h"
#include "items/item_values.h"
#include "items/memory_runs.h"
#include "tests/table.h"

namespace
{

Item itemOf(const QString &expression)
{
    Item item;
    if (Failure failure = parseItem(expression, ItemDefaults(), &item))
        QTest::qFail(qPrintable(failure.text()), __FILE__, __LINE__);
    return item;
}

// A row's name is an expression. What is expected: address, type, count and values.
const struct {
    const char *name;
    QString parsed;
} EXPRESSIONS[] = {
    {"dm100", "DM100 u16 1"},
    {"DM100:f32", "DM100 f32 1"},
    {"R1215:bit", "R1215 bit 1"},
    {"R12", "R12 u16 1"},
    {"pctc2:U32[2]", "PCTC2 u32 2"},
    {"AT0:s32", "AT0 s32 1"},
    {"VBFF:hex[1024]", "VBFF hex 1024"},
    {"W1f=1,0x2,3", "W1F u16 3 1 0x2 3"},
    {"DM1:string[5]", "DM1 string 5"},
    {"DM1:string=a,b=c", "DM1 string 5 a,b=c"},
    {"DM1:string[4]=", "DM1 string 4 "},
    {"ZA1", "ZA1 u32 1"},
};

// Of BBBBB020, the device is not BBBBB.
const struct {
    const char *name; // a part of the error text
    const char *expressions;
} REFUSED_EXPRESSIONS[] = {
    {"is not ADDRESS", "|DM|100|DM1F|B1G|DM1:|DM1[]|DM1[2|DM1[-1]|DM1[2]:u16|DM100000000|BBBBB020"},
    {"\"DM1\\n\" is not ADDRESS", "DM1\n"},
    {"type \"u17\": expected bit, ", "DM1:u17"},
    {"not from 1 to 1024", "DM1[0]|DM1[1025]|DM1:string="},
    {"needs its length", "DM1:string"},
    {"up to 2 characters", "DM1:string[2]=abc"},
    {"no bits", "DM1:bit|TM1:bit=1"},
    {"32-bit", "T1:u16|CTC0:string[4]"},
    {"\"\" of DM1", "DM1="},
    {"takes 3 values, not 2", "DM1[3]=1,2"},
    {"\"12x\" of DM1: expected a number from 0 to 65535", "DM1=1,12x"},
    {" ", "R0:bit=2|R0:bit=-1|DM1:u8=256|DM1=65536|DM1=-1|DM1:s16=32768|DM1:s16=-32769|"
          "DM1:u32=4294967296|DM1:s32=2147483648|DM1:s32=-2147483649|DM1:u32=99999999999999999999|"
          "DM1=0x|DM1=+1|DM1=1.0|DM1=--1|DM1= 1|DM1:f32=1e39|DM1:f32=1,5x|DM1:f32=0x10|DM1:f32=e5|"
          "DM1:hex=10000|DM1:hex=xyz|DM1:bin=10000000000000000|DM1:bin=12|DM1:bcd=10000|"
          "DM1:bcd=1A|T1:bcd=100000000"},
};

// A row's name is an expression; its values become the bytes (in hexadecimal), which become the
// texts.
const struct {
    const char *name;
    QByteArray bytes;
    QString texts;
} VALUES[] = {
    {"R0:bit=1,0,0x1", "010001", "1 0 1"},
    {"DM1:u8=255,0,7", "ff0007", "255 0 7"},
    {"DM1=4660,0xFFFF,010", "3412ffff0a00", "4660 65535 10"},
    {"DM1:s16=-32768,32767,-1", "0080ff7fffff", "-32768 32767 -1"},
    {"DM1:u32=4294967295,0x12345678", "ffffffff78563412", "4294967295 305419896"},
    {"DM1:s32=-2147483648,2147483647", "00000080ffffff7f", "-2147483648 2147483647"},
    {"T1:s32=-1", "ffffffff", "-1"},
    {"DM1:f32=1.5,-0.1,1e6,3.4028235e38", "0000c03fcdccccbd00247449ffff7f7f",
     "1.5 -0.1 1000000 3.4028235e+38"},
    {"DM1:f32=inf,-inf,nan,16777216,.3,0", "0000807f000080ff0000c07f0000804b9a99993e00000000",
     "inf -inf nan 16777216 0.3 0"},
    {"DM1:hex=12aB,0xF", "ab120f00", "0x12AB 0x000F"},
    {"T1:hex=89abcdef", "efcdab89", "0x89ABCDEF"},
    {"DM1:bin=101,0b1111111111111111", "0500ffff", "0000000000000101 1111111111111111"},
    {"DM1:bcd=1234,9", "34120900", "1234 9"},
    {"T1:bcd=99999999", "99999999", "99999999"},
    {"DM1:string[5]=ab,c", "61622c6300", "ab,c"},
};

// A row's name has the expressions, and the widest gap behind "gap" or "apart". What is expected:
// each request as its address, count and the items it serves.
const struct {
    const char *name;
    QString requests;
} PLANS[] = {
    {"DM2 DM1 gap 0", "DM1*2(1,0)"},
    {"DM1 DM2 apart", "DM1*1(0) DM2*1(1)"},
    {"DM1 DM1:f32 dm2 gap 0", "DM1*2(0,1,2)"},
    {"DM1 DM4 gap 2", "DM1*4(0,1)"},
    {"DM1 DM4 gap 1", "DM1*1(0) DM4*1(1)"},
    {"DM0[10] DM2 DM10 gap 0", "DM0*11(0,1,2)"},
    {"DM1 EM2 DM2 gap 9", "DM1*2(0,2) EM2*1(1)"},
    {"DM0 DM306 gap 999", "DM0*307(0,1)"},
    {"DM0 DM307 gap 999", "DM0*1(0) DM307*1(1)"},
    {"DM0[307] DM307 gap 0", "DM0*307(0) DM307*1(1)"},
    {"DM0[308] apart", "DM0*307(0) DM307*1(0)"},
    {"DM0[308] DM308 gap 0", "DM0*307(0) DM307*2(0,1)"},
    {"W9 WA W10 gap 5", "W9*8(0,1,2)"},
    {"W9 W10 gap 5", "W9*1(0) W10*1(1)"},
    {"BF:u32 B11 gap 0", "BF*3(0,1)"},
    {"R9:f32 R11 gap 0", "R9*3(0,1)"},
    {"Z1 ZF2 gap 9", "Z1*1(0) ZF2*1(1)"},
    {"DM1:u8[3] DM3:string[3] gap 0", "DM1*4(0,1)"},
    {"R0:bit R1:bit R0 gap 9", "R0*1(0) R1*1(1) R0*1(2)"},
    {"R015:bit[769] gap 9", "R015*768(0) R4815*1(0)"},
    {"B1F:bit[769] gap 9", "B1F*768(0) B31F*1(0)"},
    {"T1[65] T2 TC0[140] gap 9", "T1*64(0) T65*1(0) T2*1(1) TC0*139(2) TC139*1(2)"},
    {"T0:bit[65] gap 9", "T0*64(0) T64*1(0)"},
};

// A row's name has ranges, and behind "-" those that are done. What is expected: the requests for
// what is left, or what is wrong.
const struct {
    const char *name;
    QString blocks;
} RANGES[] = {
    {"DM0-9999 - DM307-9999", "DM0-DM305 DM306"},
    {"dm1-DM400 EM2-400", "DM1-DM305 DM306-DM400 EM2-EM307 EM308-EM400"},
    {"DM0-9 W0-F - DM8 DM2-3 W0 WF", "DM0-DM1 DM4-DM7 DM9 W1-WE"},
    {"DM5-9 - DM0-5 DM9-20", "DM6-DM8"},
    {"DM5-9 - DM0-4 DM10-20 EM5-9", "DM5-DM9"},
    {"R1210-1405", "R1210-R1215 R1300.H R1400-R1405"},
    {"MR0-15 B8-27", "MR0.H B8-BF B10.H B20-B27"},
    {"R1201-1302", "R1201-R1302"},
    {"T5-70", "T5-T68 T69-T70"},
    {"TC0-139", "TC0-TC138 TC139"},
    {"DM0-5 EM5 DM5-9", "DM0-DM5 and DM5-DM9 overlap"},
    {"R0-16", "\"R0-16\": expected"},
    {"DM9-8", "\"DM9-8\": expected"},
    {"PCTC0", "\"PCTC0\": expected"},
};

} // namespace

class TestItems : public QObject
{
    Q_OBJECT

private slots:
    void parsesExpressions_data() { addRows(EXPRESSIONS); }

    void parsesExpressions()
    {
        const auto &row = currentRow(EXPRESSIONS);
        const Item item = itemOf(row.name);
        const QStringList parts = QStringList() << item.address << itemTypeName(item.type)
                                                << QString::number(item.count) << item.values;
        QCOMPARE(parts.join(QLatin1Char(' ')), row.parsed);
    }

    void refusesExpressions_data() { addRows(REFUSED_EXPRESSIONS); }

    void refusesExpressions()
    {
        const auto &row = currentRow(REFUSED_EXPRESSIONS);
        for (const QString &expression : QString(row.expressions).split('|')) {
            Item item;
            const QString error = parseItem(expression, ItemDefaults(), &item).text();
            QVERIFY2(!error.isEmpty() && error.contains(row.name),
                     qPrintable(expression + ": " + error));
            QVERIFY(item.address.isEmpty());
        }
    }

    void packsAndFormatsValues_data() { addRows(VALUES); }

    void packsAndFormatsValues()
    {
        const auto &row = currentRow(VALUES);
        const Item item = itemOf(row.name);
        QByteArray data;
        QVERIFY(!packValues(item, WordOrder::LowFirst, &data));
        QCOMPARE(data.toHex(), row.bytes);
        QCOMPARE(plainValues(item).join(QLatin1Char(' ')), row.texts);
        QVERIFY(!packValues(item, WordOrder::HighFirst, &data));
        const bool swaps = itemBits(item) == 32 && item.device.form != DeviceForm::Values;
        QCOMPARE(data.toHex().left(8),
                 swaps ? row.bytes.mid(4, 4) + row.bytes.left(4) : row.bytes.left(8));
        QStringList values;
        if (item.type != ItemType::Bit)
            QVERIFY(!unpackValues(item, WordOrder::HighFirst, data, &values));
        QCOMPARE(values.join(QLatin1Char(' ')), item.type == ItemType::Bit ? QString() : row.texts);
    }

    void plansRequests_data() { addRows(PLANS); }

    void plansRequests()
    {
        const auto &row = currentRow(PLANS);
        QStringList name = QString(row.name).split(' ');
        MergeOptions options;
        options.merge = name.last() != "apart";
        options.maxGap = name.takeLast().toInt();
        if (options.merge)
            name.removeLast();
        QVector<Item> items;
        for (const QString &expression : name)
            items += itemOf(expression);
        QStringList planned;
        for (const ItemRequest &request : planRequests(items, options)) {
            QStringList served;
            for (const ItemPart &part : request.parts)
                served += QString::number(part.item);
            planned += QString("%1*%2(%3)")
                           .arg(request.command.address)
                           .arg(request.command.count)
                           .arg(served.join(','));
        }
        QCOMPARE(planned.join(QLatin1Char(' ')), row.requests);
    }

    void dividesRanges_data() { addRows(RANGES); }

    void dividesRanges()
    {
        const auto &row = currentRow(RANGES);
        const QStringList sides = QString(row.name).split(" - ");
        QVector<MemoryRun> runs;
        QVector<MemoryRun> done;
        QStringList blocks(parseRanges(sides.first().split(' '), &runs).text());
        if (sides.size() > 1)
            QVERIFY(!parseRanges(sides.last().split(' '), &done));
        for (const MemoryRun &run : without(runs, done)) {
            for (const MemoryRun &block : blocksOf(run))
                blocks += runText(block);
        }
        const QString text = blocks.join(' ').trimmed();
        QVERIFY2(runs.isEmpty() ? text.startsWith(row.blocks) : text == row.blocks,
                 qPrintable(text));
    }
};

QTEST_APPLESS_MAIN(TestItems)
#include "tst_items.moc"
