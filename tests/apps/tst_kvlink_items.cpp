// kvlink's items: expressions, values as data, the plan of requests, and read and write as a user
// runs them.
#include "items/expression.h"
#include "items/item_plan.h"
#include "items/item_values.h"
#include "tests/apps/program_runner.h"
#include "tests/table.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>

namespace
{

Item itemOf(const QString &expression)
{
    Item item;
    QString error;
    if (!parseItem(expression, ItemDefaults(), &item, &error))
        QTest::qFail(qPrintable(error), __FILE__, __LINE__);
    return item;
}

// A row's name is an expression. What is expected: address, type, count and values.
const struct {
    const char *name;
    QString parsed;
} EXPRESSIONS[] = {
    {"DM100", "DM100 u16 1"},
    {"dm100:f32", "DM100 f32 1"},
    {"DM200[8]", "DM200 u16 8"},
    {"R1215:bit", "R1215 bit 1"},
    {"R12", "R12 u16 1"},
    {"T3", "T3 u32 1"},
    {"pctc2:U32[2]", "PCTC2 u32 2"},
    {"AT0:s32", "AT0 s32 1"},
    {"VBFF:hex[1024]", "VBFF hex 1024"},
    {"W1f=1,0x2,3", "W1F u16 3 1 0x2 3"},
    {"DM1:string[5]", "DM1 string 5"},
    {"DM1:string=a,b=c", "DM1 string 5 a,b=c"},
    {"DM1:string[4]=", "DM1 string 4 "},
    {"ZA1", "ZA1 u32 1"},
};

// A row's name is an expression.
const struct {
    const char *name;
    QString reason;
} REFUSED_EXPRESSIONS[] = {
    {"", "is not ADDRESS"},
    {"DM", "is not ADDRESS"},
    {"100", "is not ADDRESS"},
    {"DM1F", "is not ADDRESS"},
    {"B1G", "is not ADDRESS"},
    {"DM1:", "is not ADDRESS"},
    {"DM1[]", "is not ADDRESS"},
    {"DM1[2", "is not ADDRESS"},
    {"DM1[-1]", "is not ADDRESS"},
    {"DM1[2]:u16", "is not ADDRESS"},
    {"DM100000000", "is not ADDRESS"},
    {"BBBBB020", "is not ADDRESS"}, // not the device BBBBB
    {"DM1\n", "\"DM1\\n\" is not ADDRESS"},
    {"DM1:u17", "\"u17\" is no type"},
    {"DM1[0]", "not from 1 to 1024"},
    {"DM1[1025]", "not from 1 to 1024"},
    {"DM1:string", "needs its length"},
    {"DM1:string=", "not from 1 to 1024"},
    {"DM1:string[2]=abc", "up to 2 characters"},
    {"DM1:bit", "no bits"},
    {"TM1:bit=1", "no bits"},
    {"T1:u16", "32-bit"},
    {"CTC0:string[4]", "32-bit"},
    {"DM1=", "\"\" of DM1"},
    {"DM1[3]=1,2", "takes 3 values, not 2"},
    {"DM1=1,12x", "\"12x\" of DM1 is no number from 0 to 65535"},
};

const char *const REFUSED_VALUES[] = {"R0:bit=2",
                                      "R0:bit=-1",
                                      "DM1:u8=256",
                                      "DM1=65536",
                                      "DM1=-1",
                                      "DM1:s16=32768",
                                      "DM1:s16=-32769",
                                      "DM1:u32=4294967296",
                                      "DM1:s32=2147483648",
                                      "DM1:s32=-2147483649",
                                      "DM1:u32=99999999999999999999",
                                      "DM1=0x",
                                      "DM1=+1",
                                      "DM1=1.0",
                                      "DM1=--1",
                                      "DM1= 1",
                                      "DM1:f32=1e39",
                                      "DM1:f32=1,5x",
                                      "DM1:f32=0x10",
                                      "DM1:f32=e5",
                                      "DM1:hex=10000",
                                      "DM1:hex=xyz",
                                      "DM1:bin=10000000000000000",
                                      "DM1:bin=12",
                                      "DM1:bcd=10000",
                                      "DM1:bcd=1A",
                                      "T1:bcd=100000000"};

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
    {"DM1 DM2 gap 0", "DM1*2(0,1)"},
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
    {"T1 T2 TC0[65] gap 9", "T1*1(0) T2*1(1) TC0*64(2) TC64*1(2)"},
    {"T0:bit[65] gap 9", "T0*64(0) T64*1(0)"},
};

const struct {
    const char *name;
    int status;
    QString out;
    QString err;
} RUNS[] = {
    {"read DM100 DM101:hex T3 R1215:bit R1214:bit[3]", 0,
     "DM100 4660\nDM101:hex 0x00FF\nT3 77\nR1215:bit 1\nR1214:bit[3] 0 1 0\n", ""},
    {"read DM100:u16[2]", 0, "4660\n255\n", ""},
    {"read DM102:f32 DM110:string[4]", 0, "DM102:f32 nan\nDM110:string[4] ab,\n", ""},
    {"read DM120:string[2]", 0, "\\x1b[\n", ""}, // no command to the terminal
    {"read DM102:u32 DM102:u32[1] --word-order high-first", 0,
     "DM102:u32 32704\nDM102:u32[1] 32704\n", ""},
    {"read DM100 DM101 --format value", 0, "4660\n255\n", ""},
    {"read DM100[2] DM110:string[4] --format csv", 0,
     "time,address,type,index,value,status,error\nTIME,DM100,u16,0,4660,ok,\n"
     "TIME,DM100,u16,1,255,ok,\nTIME,DM110,string,0,\"ab,\",ok,\n",
     ""},
    {"read DM130:string[3] DM131:s16 --format csv", 0,
     "time,address,type,index,value,status,error\n"
     "TIME,DM130,string,0,\"'=\"\"\\x5c\",ok,\nTIME,DM131,s16,0,-164,ok,\n",
     ""},
    {"--trace read DM100 DM105", 0, "DM100 4660\nDM105 4779\n", "> RDS DM00100.H 6\\r\\n"},
    {"--trace read DM100 DM105 --max-gap 3", 0, "DM100 4660\nDM105 4779\n",
     "> RDS DM00105.H 1\\r\\n"},
    {"--trace read DM100 DM101 --no-merge", 0, "DM100 4660\nDM101 255\n",
     "> RDS DM00101.H 1\\r\\n"},
    {"--trace read DM65533 DM65540", 6, "DM65533 8\n", "> RDS DM65533.H 8\\r\\n"},
    {"read DM65533 DM65540", 6, "DM65533 8\n", "DM65540: error reply \"E0\""},
    {"read DM70000 EM70000", 1, "", "DM70000: error reply"},
    {"read DM104:bcd[2]", 5, "", "DM105 holds 0x12AB"},
    {"read DM100=1", 2, "", "DM100 has values"},
    {"read DM100 --format xml", 2, "", "xml"},
    {"write DM1", 2, "", "no value"},
    {"write DM1=1 DM2=65536", 2, "", "\"65536\" of DM2"},
    {"read DM1", 0, "0\n", ""},
    {"write DM1=7,8 DM2 DM3:f32=-1.5 DM3:hex[2] R0:bit=1,1 T7=5 --verify", 0,
     "DM2 8\nDM3:hex[2] 0x0000 0xBFC0\n", ""},
    {"write DM3:u32=1 --word-order high-first", 0, "", ""},
    {"read DM3[2]", 0, "0\n1\n", ""},
    {"write r100 1 1 -k bit --verify", 0, "", ""},
    {"write DM900=7 --verify", 7, "", "DM900 differs: wrote 7, read back "},
    {"write DM899=0,7 DM1=1 --verify", 7, "", "DM900 differs: wrote 7, read back "},
    {"write DM70000=1 DM1=2", 6, "", "DM70000: error reply"},
    {"read DM1", 0, "2\n", ""},
    {"write CTC1=5 CTC2=5", 5, "", "can't write word to CTC1"},
    {"write DM1=1 DM2 --format jsonl", 0,
     "{\"address\":\"DM1\",\"error\":null,\"item\":\"DM1\",\"operation\":\"write\","
     "\"status\":\"ok\",\"time\":\"TIME\",\"type\":\"u16\",\"values\":[1]}\n"
     "{\"address\":\"DM2\",\"error\":null,\"item\":\"DM2\",\"operation\":\"read\","
     "\"status\":\"ok\",\"time\":\"TIME\",\"type\":\"u16\",\"values\":[8]}\n",
     ""},
    {"write DM1=9 DM5 T3:bit=0 PCTC2=1 --dry-run --station 5", 0,
     "CR 05\nWRS DM00001.H 1 0009\nCQ\nCR 05\nRDS DM00005.H 1\nCQ\n"
     "CR 05\nRS T0003\nCQ\nCR 05\nWRS CTC2 1 0000000001\nCQ\n",
     ""},
    {"write W1F:s16=-2 --dry-run --verify", 0,
     "CR 00\nWRS W001F.H 1 FFFE\nCQ\nCR 00\nRDS W001F.H 1\nCQ\n", ""},
    {"write DM100 1 0xFFFF -2 --dry-run", 0, "CR 00\nWRS DM00100.H 3 0001 FFFF FFFE\nCQ\n", ""},
    {"write DM100 -32768 --dry-run", 0, "CR 00\nWRS DM00100.H 1 8000\nCQ\n", ""},
    {"write DM100 -32769 --dry-run", 2, "", "-32769"},
    {"write DM1=65536 --dry-run", 2, "", "\"65536\" of DM1"},
    {"write CTC1=5 --dry-run", 5, "", "can't write word to CTC1"},
    {"read DM1 R1215:bit", 0, "DM1 1\nR1215:bit 1\n", ""},
};

} // namespace

class TestKvlinkItems : public QObject
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
        Item item;
        QString error;
        QVERIFY(!parseItem(row.name, ItemDefaults(), &item, &error));
        QVERIFY2(error.contains(row.reason), qPrintable(error));
        QVERIFY(item.address.isEmpty());
    }

    void refusesValues()
    {
        for (const char *expression : REFUSED_VALUES) {
            Item item;
            QString error;
            QVERIFY2(!parseItem(QLatin1String(expression), ItemDefaults(), &item, &error) &&
                         !error.isEmpty(),
                     expression);
        }
    }

    void packsAndFormatsValues_data() { addRows(VALUES); }

    void packsAndFormatsValues()
    {
        const auto &row = currentRow(VALUES);
        const Item item = itemOf(row.name);
        QByteArray data;
        QString error;
        QVERIFY(packValues(item, WordOrder::LowFirst, &data, &error));
        QCOMPARE(data.toHex(), row.bytes);
        QCOMPARE(plainValues(item).join(QLatin1Char(' ')), row.texts);
        QVERIFY(packValues(item, WordOrder::HighFirst, &data, &error));
        const bool swaps = itemBits(item) == 32 && item.device.form != DeviceForm::Values;
        QCOMPARE(data.toHex().left(8),
                 swaps ? row.bytes.mid(4, 4) + row.bytes.left(4) : row.bytes.left(8));
        QStringList values;
        if (item.type != ItemType::Bit)
            QVERIFY(unpackValues(item, WordOrder::HighFirst, data, &values, &error));
        QCOMPARE(values.join(QLatin1Char(' ')), item.type == ItemType::Bit ? QString() : row.texts);
    }

    void plansRequests_data() { addRows(PLANS); }

    void plansRequests()
    {
        const auto &row = currentRow(PLANS);
        QStringList name = words(QLatin1String(QTest::currentDataTag()));
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

    void runsAsAUserSees_data() { addRows(RUNS); }

    // The rows share one PLC, in their order.
    void runsAsAUserSees()
    {
        const auto &row = currentRow(RUNS);
        const Outcome outcome = ask(QLatin1String(QTest::currentDataTag()));
        QCOMPARE(outcome.out, row.out);
        QVERIFY2(outcome.err.contains(row.err) && outcome.err.isEmpty() == row.err.isEmpty(),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
    }

    void printsJsonThatAParserTakes()
    {
        const Outcome outcome = ask(QLatin1String(
            "read DM102:f32 DM100:hex DM100[2] DM112:string[2] DM70000 --format json"));
        QCOMPARE(outcome.status, 6);
        const QJsonArray items = QJsonDocument::fromJson(outcome.out.toUtf8()).array();
        QCOMPARE(items.size(), 5);
        QStringList values;
        for (const QJsonValue &item : items)
            values += QString::fromUtf8(QJsonDocument(item.toObject().value("values").toArray())
                                            .toJson(QJsonDocument::Compact));
        QCOMPARE(values.join(QLatin1Char(' ')),
                 QString::fromUtf8("[\"nan\"] [\"0x1234\"] [4660,255] [\"\303\244\"] []"));
        QVERIFY(!outcome.out.contains(QRegularExpression("[^\\x0a\\x20-\\x7e]")));
        const QJsonObject failed = items.last().toObject();
        QCOMPARE(failed.value(QString("status")).toString(), QString("plc-error"));
        QVERIFY(failed.value("error").toString().contains("\"E0\""));
    }

private:
    // A dry run needs no PLC.
    Outcome ask(const QString &arguments) const
    {
        QStringList all = words(arguments);
        if (!all.contains("--dry-run"))
            all += words("--retry 0") + m_plc.road;
        Outcome outcome = kvlink(all);
        outcome.out.replace(QRegularExpression("[0-9-]{10}T[0-9:.]{12}[+-][0-9:]{5}"), "TIME");
        return outcome;
    }

    // DM900 moves by itself between 1 and 2.
    Simulator m_plc{words("--tcp 0 --live DM900=ramp:1,2,1000 --set DM100=4660 --set DM101=255 "
                          "--set T3=77 --set R1215=1 --set DM110=25185 --set DM111=44 "
                          "--set DM103=32704 --set DM105=4779 --set DM112=228 --set DM120=23323 "
                          "--set DM65533=8 --set DM130=8765 --set DM131=65372")};
};

QTEST_GUILESS_MAIN(TestKvlinkItems)
#include "tst_kvlink_items.moc"
