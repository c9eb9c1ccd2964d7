// Names of a tag file, scaled values and texts: the parser by itself, and kvlink as a user runs it.
#include "items/tag_file.h"
#include "tests/apps/kvlink_runs.h"

namespace
{

// What becomes of a file named f: a line for each tag, or its errors.
const struct {
    const char *name;
    QByteArray bytes;
    QString read;
} FILES[] = {
    {"all columns in another order",
     "comment,writable,deadband,decimals,unit,offset,scale,type,address,name\n"
     "c,no,0.5,1,\xC2\xB0"
     "C,-5,.1,S16,dm1[2],a\n",
     "a DM1 s16 2 0.1 -5 \u00B0C 1 0.5 0 c\n"},
    {"a spreadsheet's semicolons, decimal commas, mark, case and CR LF",
     "\xEF\xBB\xBFName;ADDRESS;scale;offset;comment;\r\na;DM1;\"0,1\";-5,5; \"x;\"\"y\"\"\r\nz\";\r\n"
     ";;;;;\r\n b ; DM2:f32 ;;;\r\n",
     "a DM1 u16 1 0.1 -5.5  -1 0 1 x;\"y\" z\nb DM2 f32 1 1 0  -1 0 1 \n"},
    {"letters of all languages", "name,address\n\xC3\x84-1_.\xE6\xB8\xA9,T1\n",
     "\u00C4-1_.\u6E29 T1 u32 1 1 0  -1 0 1 \n"},
    {"a short row and no line end", "name,address,unit\na,T1", "a T1 u32 1 1 0  -1 0 1 \n"},
    {"nothing", "", "f:1: no line with column names: expected name, address, *"},
    {"columns", "name,nam,name\n",
     "f:1: column \"nam\" is not known: *\nf:1: column name comes twice\n"
     "f:1: column address is missing *\n"},
    {"not UTF-8", "name,address\na,DM1\n\xFC,DM2\n", "f:3: bytes that are not UTF-8: *"},
    {"a field too many", "name,address\na,DM1,x\n", "f:2: field \"x\" has no column: *"},
    {"no closing quote", "name,address\na,\"DM1\n\n", "f:2: a field in quotes has no end: *"},
    {"text behind a quote", "name,address\n\n\"a\"b,DM1\n", "f:3: text follows a field *"},
    {"names", "name,address\na,DM1\na,DM2\ndm3,DM3\n1a,DM4\na b,DM5\n,DM6\n",
     "f:3: column name: \"a\" stands in line 2 already*\nf:4: column name: \"dm3\" is an address*\n"
     "f:5: column name: \"1a\": *\nf:6: column name: \"a b\": *\nf:7: column name: \"\": *"},
    {"a line end in front", "comment,name,address\n\"\n\",a b,DM1\n",
     "f:3: column name: \"a b\": *"},
    {"addresses and types",
     "name,address,type\na,,\nb,QX1,\nc,DM1=5,\nd,DM1,u17\ne,DM1:u8,u8\nf,DM1,bit\ng,DM1,string\n",
     "f:2: column address: *\nf:3: column address: \"QX1\": the PLC has no such device*\n"
     "f:4: column address: \"DM1=5\": expected no value\nf:5: column type: \"u17\": expected bit, *\n"
     "f:6: column type: *\nf:7: column address: type bit *\nf:8: column address: *its length*"},
    {"numbers",
     "name,address,type,scale,offset,decimals,deadband,writable,unit\na,T1,,0,1e13,10,-1,2,\x07\n"
     "b,DM1,hex,1,,,,,\nc,DM1,,\"0,1\",nan,+1,,,\n",
     "f:2: column scale: 0: *\nf:2: column offset: \"1e13\": expected a number from *\n"
     "f:2: column deadband: *\nf:2: column decimals: \"10\": expected a whole number from 0 to 9\n"
     "f:2: column unit: \"\\x07\": *\nf:2: column writable: \"2\": *\n"
     "f:3: column scale: \"1\": type hex has none*\nf:4: column scale: \"0,1\": *\n"
     "f:4: column offset: \"nan\": *"},
    {"errors beyond the limit", "name,address\n" + QByteArray("1,DM1\n").repeated(30),
     "*f:21: column name*f:22: more errors follow\n"},
};

// KVLINK_TAGS names the example, which is FOLDER/oven.csv.
const KvlinkRun RUNS[] = {
    {"PLC read oven.* batch.count DM100", 0,
     "oven.temperature 215.5 \u00B0C\noven.setpoint -0.3 \u00B0C\noven.pressure 1.50 bar\n"
     "oven.zones -19.5 -18.5 32747.5 mm\noven.recipe ab\noven.door 1\nbatch.count 12\nDM100 2155\n",
     ""},
    {"PLC read oven.zones", 0, "-19.5 mm\n-18.5 mm\n32747.5 mm\n", ""},
    {"PLC read oven.zones --format value", 0, "-19.5\n-18.5\n32747.5\n", ""},
    {"PLC read oven.setpoint --format jsonl", 0,
     "{\"address\":\"DM101\",\"error\":null,\"item\":\"oven.setpoint\",\"operation\":\"read\","
     "\"status\":\"ok\",\"time\":\"TIME\",\"type\":\"s16\",\"unit\":\"\\u00b0C\","
     "\"values\":[-0.3]}\n",
     ""},
    {"PLC read oven.?etpoint DM100 --format csv", 0,
     "time,address,type,index,value,status,error,name,unit\n"
     "TIME,DM101,s16,0,-0.3,ok,,oven.setpoint,\u00B0C\nTIME,DM100,u16,0,2155,ok,,,\n",
     ""},
    {"PLC monitor oven.setpoint oven.zones --count 1 --format csv-wide", 0,
     "time,oven.setpoint (\u00B0C),oven.zones[0] (mm),oven.zones[1] (mm),oven.zones[2] (mm),"
     "status,error\nTIME,-0.3,-19.5,-18.5,32747.5,ok,\n",
     "1 request"},
    {"PLC write oven.zones=-20,-.3,6e1 --tags FOLDER/other", 2, "", "\"oven.zones\" is neither"},
    {"PLC write half=-0.26,.24,2e0 --tags FOLDER/other --verify ; PLC read DM300:s16[4]", 0,
     "-1\n0\n4\n0\n", ""},
    {"PLC write half -16384.2 1 16383.7 --tags FOLDER/other --verify ; PLC read DM300:s16[3]", 0,
     "-32768\n2\n32767\n", ""},
    {"PLC write half=0,0,16384 --tags FOLDER/other", 2, "",
     "value \"16384\" of half: expected a number from -16384 to 16383.5 V (type s16)\n"},
    {"PLC write digits=-99.9 f=-1e3 --tags FOLDER/other --verify ; PLC read DM310:bcd DM312:f32", 0,
     "DM310:bcd 999\nDM312:f32 -2000\n", ""},
    {"PLC write f=nan --tags FOLDER/other", 2, "", "value \"nan\" of f: expected a number"},
    {"PLC write f=1e308 --tags FOLDER/other", 2, "", "value \"1e308\" of f: expected a number"},
    {"PLC write digits=0.1 --tags FOLDER/other", 2, "", "expected a number from -999.9 to 0"},
    {"PLC write batch.count=4294967295 ; PLC read batch.count", 0, "4294967295\n", ""},
    {"PLC write batch.count -1", 2, "", "\"-1\" of batch.count"},
    {"PLC write *.temperature=1", 2, "", "oven.temperature is not writable"},
    {"PLC write ramp=0 --tags FOLDER/other --verify", 7, "", "DM900 differs: wrote 0, read back "},
    {"write oven.setpoint=21.04 --dry-run", 0, "CR 00\nWRS DM00101.H 1 00D2\nCQ\n", ""},
    {"PLC read oven.door:u16", 2, "", "\"oven.door:u16\": oven.door takes no :TYPE"},
    {"PLC read oven.tmp", 2, "", "\"oven.tmp\" is neither a name in the tag file nor an address"},
    {"PLC read o*[r]", 2, "",
     "^kvlink: \"o*[r]\": o* takes no :TYPE and no [COUNT], which are in the tag file\n"},
    {"PLC read DM1 --tags FOLDER/wrong", 2, "",
     "/wrong:2: column name: ANY (and 1 more error: kvlink tags check FILE lists them)\n"},
    {"PLC read DM1 --tags FOLDER/none", 3, "", "cannot read ANY/none: "},
    // kvlink tags.
    {"tags check FOLDER/oven.csv", 0, "", "/oven.csv: 7 tags, no errors\n"},
    {"tags check FOLDER/wrong", 2, "",
     "^kvlink: ANY:2: column name: ANY\nkvlink: ANY:3: column address: ANY\n"},
    {"tags check FOLDER/none", 3, "", "none"},
    {"PLC tags check FOLDER/failing", 6,
     "NAME   ADDRESS  TYPE  VALUE  UNIT  ERROR\nvolts  DM400    s16   0 0 0  V     -\n"
     "far    DM70000  u16   -      -     error reply \"E0\" ANY\n",
     ""},
    {"WIRE --station 8 --timeout 20 --retry 0 tags check FOLDER/oven.csv --format json", 4,
     "[{\"address\":\"DM100\",\"error\":\"no reply ALL}]\n", ""},
    // Texts.
    {"PLC write DM320:string=\u30C6\u30B9 --encoding shift-jis --verify ; "
     "PLC read DM320:string[5] DM320:hex[2] DM330:string[4] --encoding shift-jis",
     0,
     "DM320:string[5] \u30C6\u30B9\nDM320:hex[2] 0x6583 0x5883\n"
     "DM330:string[4] \\x1b\\x5c\\x83\n",
     ""},
    {"PLC write DM340:string=a\u2028\u6E29 --encoding utf-8 ; "
     "PLC read DM340:string[7] --encoding utf-8",
     0, "a\\xe2\\x80\\xa8\u6E29\n", ""},
    {"PLC write oven.recipe=gr\u00F6\u00DF --encoding utf-8 --string-order high-first --verify ; "
     "PLC read oven.recipe DM120:hex[3] DM120:string[3] --encoding utf-8 --string-order high-first",
     0,
     "oven.recipe gr\u00F6\u00DF\nDM120:hex[3] 0x6772 0xC3B6 0xC39F\n"
     "DM120:string[3] gr\\xc3\n",
     ""},
    {"PLC read DM120:string[6] --encoding utf-8 --format jsonl", 0,
     "{ANY\"values\":[\"rg\\\\xb6\\u00df\\\\xc3\"]}\n", ""},
    {"PLC read DM330:string[6] --encoding latin1 --format csv", 0,
     "time,address,type,index,value,status,error\nTIME,DM330,string,0,\\x1b\\x5c\\x83,ok,\n", ""},
    {"PLC write oven.recipe=\u20AC --encoding shift-jis", 2, "", "is not shift-jis"},
    {"PLC write oven.recipe=\u0142", 2, "", "not Latin-1"},
    {"PLC write DM1:string[2]=\u00E4\u00E4 --encoding utf-8", 2, "",
     "up to 2 characters of 8 bits"},
};

// A tag with what the file says.
QString tagLine(const Item &item)
{
    const ItemTag &tag = item.tag;
    const QStringList parts = {item.text,
                               item.address,
                               itemTypeName(item.type),
                               QString::number(item.count),
                               QString::number(tag.scale),
                               QString::number(tag.offset),
                               tag.unit,
                               QString::number(tag.decimals),
                               QString::number(tag.deadband),
                               QString::number(tag.isWritable),
                               tag.comment};
    return parts.join(' ') + '\n';
}

} // namespace

class TestKvlinkNames : public KvlinkTest
{
    Q_OBJECT

public:
    // DM900 moves by itself between 1 and 2.
    TestKvlinkNames()
        : KvlinkTest("--live DM900=ramp:1,2,1000 --set DM100=2155 --set DM101=65533 "
                     "--set DM103=16320 --set DM110=1 --set DM111=3 --set DM112=65535 "
                     "--set DM120=25185 --set R1215=1 --set C3=12 --set DM330=23579 "
                     "--set DM331=131")
    {}

private slots:
    void initTestCase()
    {
        const QString tags = m_folder.filePath("oven.csv");
        QVERIFY(QFile::copy(KV_EXAMPLE_TAGS, tags));
        qputenv("KVLINK_TAGS", tags.toLocal8Bit());
        writeFile("other", "name,address,type,scale,offset,unit,decimals\nhalf,DM300[3],s16,.5,,V\n"
                           "digits,DM310,bcd,-.1\nf,DM312,f32,0.5,,,2\nramp,DM900,,0.001,,,0\n");
        writeFile("wrong", "name,address\nDM1,DM1\na,DM\n");
        writeFile("failing", "name,address,type,unit\nvolts,DM400[3],s16,V\nfar,DM70000\n");
    }

    void readsTagFiles_data() { addRows(FILES); }

    void readsTagFiles()
    {
        const auto &row = currentRow(FILES);
        const TagFile file = parseTagFile(row.bytes, "f");
        QString read = file.errors.join('\n');
        for (int i = 0; file.errors.isEmpty() && i < file.tags.size(); ++i)
            read += tagLine(file.tags.at(i));
        const QString expected =
            QRegularExpression::escape(row.read.trimmed()).replace("\\*", ".*");
        QVERIFY2(QRegularExpression("\\A" + expected + "\\s*\\z",
                                    QRegularExpression::DotMatchesEverythingOption)
                     .match(read)
                     .hasMatch(),
                 qPrintable(read));
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }
};

QTEST_GUILESS_MAIN(TestKvlinkNames)
#include "tst_kvlink_names.moc"
