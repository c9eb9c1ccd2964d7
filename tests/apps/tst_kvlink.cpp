// kvlink as a user runs it against kvsim: what it prints, what it tells, and how it ends.
#include "runtime/schedule.h"
#include "runtime/statistics.h"
#include "runtime/trace_log.h"
#include "tests/apps/kvlink_runs.h"
#include "tests/table.h"

#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace
{

const struct {
    const char *name; // the direction and the line
    QString meaning;
} MEANINGS[] = {
    {">CR 07", "open station 07"},
    {">CQ", "close"},
    {">RDS DM00100.H 2", "read 2 words from DM100"},
    {">RDS W0A0F.H 1", "read 1 word from WA0F"},
    {">RDS WA000.H 1", "read 1 word from WA000"},
    {">RDS R00000.H 1", "read 1 word from R0"},
    {">RDS VB0120 3", "read 3 bits from VB120"},
    {">RDS CTC3 1", "read 1 value from CTC3"},
    {">WRS DM00100.H 2 1234 00FF", "write 2 words to DM100"},
    {">ST T0012", "set T12"},
    {">RS C0000", "reset C0"},
    {">RDS DM00100.H", "unknown"},
    {"<CC 07", "opened"},
    {"<CF", "closed"},
    {"<OK", "accepted"},
    {"<E0", "error reply 0"},
    {"<1234 00ff", "2 words"},
    {"<1", "1 bit"},
    {"<0000000100 0000000007", "2 values"},
    {"<1,0000000005,0000000100", "1 timer or counter item"},
    {"<1234 00f", "unknown"},
    {"<CR 07", "unknown"},
};

#define CSV "time,address,type,index,value,status,error\n"

const KvlinkRun RUNS[] = {
    // Devices, kinds and types.
    {"PLC write DM200 1 0xFFFF -2 ; PLC read dm200 -n 3", 0, "1\n65535\n65534\n", ""},
    {"PLC write W1F 305419896 -k dword ; PLC read W1F -n 2", 0, "22136\n4660\n", ""},
    {"PLC write EM7 1 2 255 -k byte ; PLC read EM7 -n 4 -k byte", 0, "1\n2\n255\n0\n", ""},
    {"PLC write T12 100000 5 -k dword ; PLC read T12 -n 2 -k dword", 0, "100000\n5\n", ""},
    {"PLC write PCTC2 4294967295 -k dword ; PLC read PCTC2 -k dword", 0, "4294967295\n", ""},
    {"PLC write CC3 77 -k dword ; PLC read C3 -k dword", 0, "77\n", ""},
    {"PLC write R1301 1 0 1 -k bit ; PLC read R1300 -n 5 -k bitblock", 0, "0\n1\n0\n1\n0\n", ""},
    {"PLC write T500 1 1 0 1 -k bit ; PLC read T500 -n 4 -k bit", 0, "1\n1\n0\n1\n", ""},
    {"PLC write CTC1 1 -k bit ; PLC read CTC0 -n 2 -k bit", 0, "0\n1\n", ""},
    {"PLC write MR2 0x8001 ; PLC read MR200 -n 3 -k bit ; PLC read MR215:bit", 0, "1\n0\n0\n1\n",
     ""},
    {"PLC read DM100 DM101:hex T3 R1215:bit R1214:bit[3]", 0,
     "DM100 4660\nDM101:hex 0x00FF\nT3 77\nR1215:bit 1\nR1214:bit[3] 1 1 0\n", ""},
    {"PLC read DM2000 -n 010", 0, "0\n0\n0\n0\n0\n0\n0\n0\n0\n0\n", ""},
    {"PLC write DM340 127 ; PLC read DM340:string[1]", 0, "\\x7f\n", ""},
    {"PLC read R1207:bit[9]", 0, "0\n0\n0\n0\n0\n0\n0\n1\n1\n", ""},
    {"--set DM707=7 > PLC read DM400[310]", 0, "ALL\n7\n0\n0\n", ""},
    {"PLC read DM102:f32 DM110:string[4]", 0, "DM102:f32 nan\nDM110:string[4] ab,\n", ""},
    {"PLC read DM102:u32 DM102:u32[1] --word-order high-first", 0,
     "DM102:u32 32704\nDM102:u32[1] 32704\n", ""},
    {"PLC write DM303:u32=1 --word-order high-first ; PLC read DM303[2]", 0, "0\n1\n", ""},
    {"PLC write DM301=7,8 DM302 DM303:f32=-1.5 DM303:hex[2] R0:bit=1,1 T7=5 --verify", 0,
     "DM302 8\nDM303:hex[2] 0x0000 0xBFC0\n", ""},
    {"PLC write r100 1 1 -k bit --verify", 0, "", ""},
    {"PLC write DM899=0,7 DM1=1 --verify", 7, "", "DM900 differs: wrote 7, read back "},
    // Formats.
    {"PLC read DM100[2]", 0, "4660\n255\n", ""},
    {"PLC read DM100 DM101 --format value", 0, "4660\n255\n", ""},
    {"PLC read DM120:string[2]", 0, "\\x1b[\n", ""}, // no command to the terminal
    {"PLC read DM100[2] DM130:string[3] DM131:s16 --format csv", 0,
     CSV "TIME,DM100,u16,0,4660,ok,\nTIME,DM100,u16,1,255,ok,\n"
         "TIME,DM130,string,0,\"'=\"\"\\x5c\",ok,\nTIME,DM131,s16,0,-164,ok,\n",
     ""},
    {"PLC write DM310=1 DM100 --format jsonl", 0,
     "{\"address\":\"DM310\",\"error\":null,\"item\":\"DM310\",\"operation\":\"write\","
     "\"status\":\"ok\",\"time\":\"TIME\",\"type\":\"u16\",\"values\":[1]}\n"
     "{\"address\":\"DM100\",\"error\":null,\"item\":\"DM100\",\"operation\":\"read\","
     "\"status\":\"ok\",\"time\":\"TIME\",\"type\":\"u16\",\"values\":[4660]}\n",
     ""},
    {"PLC read DM102:f32 DM100[2] DM112:string[2] DM70000 --format json", 6,
     "[\n{\"address\":\"DM102\",\"error\":null,ANY\"status\":\"ok\",ANY\"values\":[\"nan\"]},\n"
     "{ANY\"values\":[4660,255]},\n{ANY\"values\":[\"\\u00e4\"]},\n{\"address\":\"DM70000\","
     "\"error\":\"error reply \\\"E0\\\"ANY\"status\":\"plc-error\",ANY\"values\":[]}\n]\n",
     "DM70000: error reply"},
    {"PLC write DM310:f32=-1e19,2e19 DM314:f32=1e-5 --format jsonl", 0,
     "ANY\"values\":[-10000000000000000000,2e+19]}\nANY\"values\":[1e-05]}\n", ""},
    {"list-ports --format json", 0, "[ALL]\n", ""},
    // Requests.
    {"PLC --trace read DM100 DM105", 0, "DM100 4660\nDM105 4779\n", "> RDS DM00100.H 6\\r\\n"},
    {"PLC --trace read DM100 DM105 --max-gap 3", 0, "DM100 4660\nDM105 4779\n",
     "> RDS DM00105.H 1\\r\\n"},
    {"PLC --trace read DM100 DM101 --no-merge", 0, "DM100 4660\nDM101 255\n",
     "> RDS DM00101.H 1\\r\\n"},
    {"PLC --trace read DM65533 DM65540", 6, "DM65533 8\n",
     "> RDS DM65533.H 8\\r\\nALLDM65540: error reply \"E0\""},
    {"PLC --trace read DM100 -n 2", 0, "4660\n255\n",
     "^STAMP #1 > CR 07\\r\\n ; open station 07\nSTAMP #1 < CC 07\\r\\n ; opened\n"
     "STAMP #1 > RDS DM00100.H 2\\r\\n ; read 2 words from DM100\n"
     "STAMP #1 < 1234 00FF\\r\\n ; 2 words\n"
     "STAMP #1 > CQ\\r\\n ; close\nSTAMP #1 < CF\\r\\n ; closed\n"},
    {"WIRE --station 7 --trace --retry 1 read DM70000", 1, "",
     "STAMP #1 < E0\\r\\n ; error reply 0\nSTAMP #1 > CQ\\r\\n ; close\n"
     "STAMP #1 < CF\\r\\n ; closed\nSTAMP #2 > CR 07\\r\\n ; open station 07\nALL"
     "error reply \"E0\" to \"RDS DM70000.H 1\" on "},
    {"PLC --trace write T1 1 0 -k bit", 0, "",
     "#1 > ST T0001\\r\\n ; set T1\nALL#1 > RS T0002\\r\\n ; reset T2\n"},
    {"write DM1=9 DM5 T3:bit=0 PCTC2=1 --dry-run --station 5", 0,
     "CR 05\nWRS DM00001.H 1 0009\nCQ\nCR 05\nRDS DM00005.H 1\nCQ\n"
     "CR 05\nRS T0003\nCQ\nCR 05\nWRS CTC2 1 0000000001\nCQ\n",
     ""},
    {"write W1F:s16=-2 --dry-run --verify", 0,
     "CR 00\nWRS W001F.H 1 FFFE\nCQ\nCR 00\nRDS W001F.H 1\nCQ\n", ""},
    {"write DM100 1 -32768 --dry-run", 0, "CR 00\nWRS DM00100.H 2 0001 8000\nCQ\n", ""},
    // What is refused before anything is sent.
    {"read DM1", 2, "", "--port"},
    {"--sim foo DM1", 2, "", "kvlink: foo is not a command\n"},
    {"PLC read DM100=1", 2, "", "DM100 has values"},
    {"PLC monitor DM100=1", 2, "", "value to write"},
    {"PLC write DM1", 2, "", "no value"},
    {"PLC read DM1 -k nibble", 2, "", "nibble: expected bit, "},
    {"PLC write DM1=1 DM2=65536", 2, "", "\"65536\" of DM2"},
    {"PLC write DM1:f32=x", 2, "", "expected a number of single precision"},
    {"write DM100 -32769 --dry-run", 2, "", "-32769"},
    {"WIRE --station 100 read DM1", 2, "", "100"},
    {"--port /dev/kv-no-such-port monitor DM1", 3, "", "/dev/kv-no-such-port"},
    {"PLC bench --baud 4000001", 2, "", "4000001 is not a number from 50 to 4000000"},
    {"PLC monitor DM1 --duration 1000000000", 2, "", "such as 500ms"},
    {"PLC ping --interval 2h", 2, "", "2h is not a time from 0ms to 1h,"},
    {"--port /dev/null,9600,9e1 read DM1", 2, "", "9e1"},
    {"--port /dev/kv-no-such-port read DM1", 3, "", "/dev/kv-no-such-port"},
    {"PLC --driver no-such-driver.so read DM1", 3, "", "no-such-driver.so"},
    {"PLC --trace=/no/such/folder/trace read DM1", 3, "", "/no/such/folder/trace"},
    {"PLC read ZA1", 5, "", "names no known device"},
    {"PLC write DM320=5 CTC1=5", 5, "",
     "can't write word to CTC1 (address CTC1); nothing is sent\n"},
    {"write CTC1=5 --dry-run", 5, "", "can't write word to CTC1"},
    // What fails at the PLC.
    {"PLC read DM70000 EM70000", 1, "", "DM70000: error reply"},
    {"PLC write DM70000=1 DM330=2 ", 6, "", "DM70000: error reply"},
    {"PLC read DM104:bcd[2]", 5, "", "DM105 holds 0x12AB"},
    {"WIRE --station 8 --retry 1 --timeout 50 read DM1", 4, "",
     "within 50 ms (2 attempts, 0 bytes): check cable, baud rate, parity, station number, "
     "--timeout"},
    {"WIRE --station 8 --timeout 201 --delay 300 --retry 0 --trace read DM1", 4, "",
     "CR 08ALL within 201 ms"},
    // The project's station.
    {"read DM1 --project-port COM2 --sim --trace --project FOLDER/project", 0, "0\n", "> CR 01"},
    {"read DM1 --project-port ethernet --sim --trace --project FOLDER/project", 0, "0\n",
     "> CR 00"},
    {"read DM1 --project-port COM3 --sim --project FOLDER/project", 3, "",
     "no default station at COM3 (HMI port 1004)"},
    {"read DM1 --project-port COM --sim --project FOLDER/project", 3, "",
     "panel port \"COM\": expected"},
    {"read DM1 --project-port ETHERNET --tcp 127.0.0.1:8503 --project FOLDER/project", 3, "",
     "no default station at ETHERNET"},
    {"read DM1 --project-port COM2 --sim \x1b[3A", 2, "", "\\x1b[3A"},
    {"read DM1 --project-port '' --sim", 2, "", "--project-port: the value is empty"},
    {"read DM1 --project-port COM2 --sim --project FOLDER/incomplete", 3, "",
     "no such column: NODE.IP"},
    {"project init FOLDER/project", 3, "", "exists already"},
    // Other commands.
    {"PLC ping --count 2 --interval 1ms", 0,
     "1: open NUM ms, close NUM ms\n2: open NUM ms, close NUM ms\n",
     "2 requests, 2 replies, 0 retries, 0 time-outs, 0 errors; min "},
    {"PLC ping --count 1 --interval 1h", 0, "1: open NUM ms, close NUM ms\n", "1 request, 1 reply"},
    {"--port /dev/kv-no-such-port ping", 3, "", "/dev/kv-no-such-port"},
    {"WIRE --station 8 --timeout 20 ping --count 2 --interval 1", 4, "",
     "2: no reply to \"CR 08\" on ANY\nkvlink: 2 requests, 0 replies, 0 retries, "
     "2 time-outs, 2 errors\n"},
    {"PLC bench DM100 -n 2 --requests 20 --baud 9600", 0,
     "requests per second: NUM\np50: NUM ms\np99: NUM ms\n"
     "share of the line's time: NUM % at 9600 baud\n",
     "20 requests, 20 replies, 0 retries, 0 time-outs, 0 errors; min "},
    {"WIRE --station 7 bench DM70000 --requests 2 --retry 1", 1, "",
     "2 requests, 2 replies, 2 retries, 0 time-outs, 2 errors; min "},
    {"PLC replay FOLDER/equal", 0, "", "3 of 3 recorded requests sent, 0 different replies"},
    {"PLC replay FOLDER/different", 7,
     "line 4: \"RDS DM00100.H 1\\r\\n\": recorded \"12\\x80\\x5c\\r\\n\", received "
     "\"1234\\r\\n\"\n",
     "1 different reply"},
    {"PLC replay FOLDER/beginning", 7, "line 4: ANY recorded \"12\", received ANY\n",
     "1 different reply"},
    {"PLC replay FOLDER/broken", 2, "", "broken:5: not a line of a trace"},
    {"PLC replay FOLDER/empty", 2, "", "holds no request"},
    {"PLC replay FOLDER/none", 3, "", "cannot read the trace"},
    {"PLC --trace=FOLDER/own read DM100 T3 R1215:bit ; PLC replay FOLDER/own", 0,
     "DM100 4660\nT3 77\nR1215:bit 1\n", " 0 different replies"},
    {"PLC monitor DM100:hex DM101 --count 2 --interval 5", 0,
     "TIME DM100:hex 0x1234\nTIME DM101 255\nTIME DM100:hex 0x1234\nTIME DM101 255\n",
     "2 requests, 2 replies, 0 retries"},
    {"PLC monitor DM100 --count 5 --interval 1 --changes-only", 0, "TIME DM100 4660\n",
     "5 requests, 5 replies"},
    {"PLC monitor DM100 -n 2 --count 1 --format csv", 0,
     CSV "TIME,DM100,u16,0,4660,ok,\nTIME,DM100,u16,1,255,ok,\n", "1 request, 1 reply"},
    {"PLC monitor DM100 DM70000 --no-merge --count 2 --interval 1", 6,
     "TIME DM100 4660\nTIME DM100 4660\n",
     "^kvlink: DM70000: error reply ANY\nkvlink: 4 requests, 4 replies, 0 retries, 0 "
     "time-outs, 2 errors; ANY\n"},
    {"PLC monitor DM100 --count 999999999 --duration 1ms", 0, "TIME DM100 4660\n", "1 request"},
    {"PLC monitor DM100 --duration 1s --interval 600", 0, "TIME DM100 4660\nTIME DM100 4660\n",
     "2 requests"},
    // Faults. The replies of one exchange are the opening, the data and the close.
    {"--trace=/dev/null > PLC read DM5", 0, "0\n", ""},
    {"--fault no-reply:once+2 > PLC read DM5", 4, "", "no reply to \"RDS"},
    {"--fault silence:once+1,1 > PLC read DM5", 4, "", "no reply to \"CR"},
    {"--fault silence:once+1,1 > WIRE --station 7 --retry 20 --timeout 100 read DM5", 0, "0\n", ""},
    {"--fault silence:once+1,60 > WIRE --station 7 --retry 1 --timeout 100 read DM5", 4, "",
     "no reply to \"CR"},
    {"--jitter 100000 > PLC read DM5", 4, "", "no reply to \"CR"},
    {"--fault close-connection:once+2 --tcp 0 > PLC read DM5", 4, "", "closed the connection"},
    {"--fault doubled:once+2 > PLC read DM5", 5, "", "unusable reply"},
    {"--fault wrong-station > PLC read DM5", 5, "", "unusable reply"},
    {"--fault wrong-close > PLC read DM5", 5, "", "unusable reply"},
    {"--fault error-reply:once+1,1 > PLC read DM5", 1, "", "error reply \"E1\""},
    // 817 characters take 936 ms, longer than an answer is waited for.
    {"--baud 9600 > WIRE --station 7 --retry 0 --timeout 500 write DM1:string[320]=7", 0, "", ""},
    {"--fault split:every+2,1 --set DM5=4660 > PLC read DM5", 0, "4660\n", ""},
    {"--fault cut:once+2,2 > PLC read DM5", 5, "",
     "\"RDS DM00005.H 1\" on ANY: expected words of 4 hexadecimal digits, received \"00\""},
    {"--fault cut:once+2,2 > PLC read R5:bit", 5, "",
     "\"RDS R5 1\" on ANY: expected bits, 0 or 1, received \"0\\r\""},
    {"--fault cut:once+2,2 > PLC read TC5", 5, "",
     "\"RDS TC5 1\" on ANY: expected numbers of 10 digits, received \"00\""},
    {"--fault cut:once+2,2 > PLC read T5:bit", 5, "",
     "\"RDS T5 1\" on ANY: expected timer or counter items, received \"0,\""},
    {"--fault cut:once+2,2 > PLC write R5:bit 1", 5, "",
     "\"WRS R5 1 1\" on ANY: expected \"OK\", received \"OK\""},
};

#undef CSV

// Kinds of terminals, and what monitor draws there.
const struct {
    const char *name;
    const char *shown;
} TERMINALS[] = {
    {"xterm", "\x1b[KTIME\n\x1b[KDM100  4660  since TIME\n\x1b[KDM101  255   since TIME\n\x1b[J"
              "\x1b[3A\x1b[KTIME\n\x1b[KDM100  4660  since TIME\n\x1b[KDM101  255   since TIME\n"
              "\x1b[J"},
    {"dumb", "TIME DM100 4660\nTIME DM101 255\nTIME DM100 4660\nTIME DM101 255\n"},
};

// A recorded exchange, as both programs write it.
const char RECORDED[] =
    "2026-11-22T21:09:01.123 0.001250 +0.001250 #1 > CR 07\\r\\n ; open station 07\n"
    "2026-11-22T21:09:01.124 0.002250 +0.001000 #1 < CC 07\\r\\n ; opened\n"
    "kvlink: a remark on the same stream\n"
    "2026-11-22T21:09:01.125 0.003250 +0.001000 #1 > RDS DM00100.H 1\\r\\n ; read 1 word\n"
    "2026-11-22T21:09:01.126 0.004250 +0.001000 #1 < %1\\r\\n ; 1 word\n"
    "2026-11-22T21:09:01.127 0.005250 +0.001000 > CQ\\r\\n ; close\n"
    "2026-11-22T21:09:01.128 0.006250 +0.001000 < CF\\r\\n ; closed\n";

} // namespace

class TestKvlink : public KvlinkTest
{
    Q_OBJECT

public:
    // DM900 moves by itself between 1 and 2.
    TestKvlink()
        : KvlinkTest("--live DM900=ramp:1,2,1000 --set DM100=4660 --set DM101=255 --set T3=77 "
                     "--set R1215=1 --set R1200.H=49152 --set DM110=25185 --set DM111=44 "
                     "--set DM103=32704 --set DM105=4779 --set DM112=228 --set DM120=23323 "
                     "--set DM65533=8 --set DM130=8765 --set DM131=65372")
    {}

private slots:
    void initTestCase()
    {
        writeFile("equal", QString(RECORDED).arg("1234"));
        writeFile("different", QString(RECORDED).arg("12\\x80\\x5c"));
        writeFile("beginning", QString(RECORDED).replace("%1\\r\\n", "12"));
        writeFile("broken", QString(RECORDED).arg("12\\q"));
        writeFile("empty", QString());
        const QString project = m_folder.filePath("project");
        QCOMPARE(kvlink(words("project init") << project).status, 0);
        QVERIFY(QFile::copy(project, m_folder.filePath("incomplete")));
        QVERIFY(QFile::copy(project, m_folder.filePath("endless")));
        execute("incomplete", "ALTER TABLE NODE RENAME COLUMN IP TO ADDRESS");
        execute("endless", "DROP TABLE LINK");
        execute("endless", "CREATE VIEW LINK AS WITH RECURSIVE N(LINKID, HMIPORT) AS (SELECT 9, 0 "
                           "UNION ALL SELECT 9, 0 FROM N) SELECT * FROM N");
    }

    void runsAsAUserSees_data() { addRows(RUNS); }

    void runsAsAUserSees() { check(currentRow(RUNS)); }

    void saysWhatALineMeans_data() { addRows(MEANINGS); }

    void saysWhatALineMeans()
    {
        const auto &row = currentRow(MEANINGS);
        const QByteArray line(row.name + 1);
        QCOMPARE(lineMeaning(*row.name, line + "\r\n"), row.meaning);
        QCOMPARE(lineMeaning(*row.name, line + '\r'), QString("no line end"));
    }

    void tellsTheOffsetOfTheZone()
    {
        const QByteArray before = qgetenv("TZ");
        for (const char *zone : {"IST-5:30=+05:30", "NST3:30=-03:30", "UTC0=+00:00"}) {
            const QList<QByteArray> parts = QByteArray(zone).split('=');
            qputenv("TZ", parts.first());
            const QString time = wallTime();
            QVERIFY2(time.endsWith(parts.last()), qPrintable(time));
            const qint64 ms = QDateTime::fromString(time, Qt::ISODateWithMs).toMSecsSinceEpoch();
            QVERIFY(qAbs(QDateTime::currentMSecsSinceEpoch() - ms) < 1000);
        }
        before.isNull() ? qunsetenv("TZ") : qputenv("TZ", before);
    }

    // After the tick at 500 ms, every 100 ms.
    void keepsTheSchedule()
    {
        const qint64 rows[][3] = {
            {500, 6, 0}, {599, 6, 0}, {600, 6, 0}, {601, 7, 1}, {1000, 10, 4}};
        for (const auto &row : rows) {
            qint64 missed = 0;
            QCOMPARE(tickAfter(5, row[0], 100, &missed), row[1]);
            QCOMPARE(missed, row[2]);
        }
    }

    void sumsRequestsUp()
    {
        Statistics statistics;
        statistics.add({false, true, 4, 4, 999000000});
        QCOMPARE(statistics.text(),
                 QString("1 request, 0 replies, 3 retries, 4 time-outs, 1 error"));
        for (int ms = 1; ms <= 200; ++ms)
            statistics.add({true, ms == 200, ms == 1 ? 2 : 1, 0, ms * 1000000});
        QCOMPARE(statistics.text(), QString("201 requests, 200 replies, 4 retries, 4 "
                                            "time-outs, 2 errors; min 1.00, median 100, "
                                            "p99 198, max 200 ms"));
        Statistics rounded;
        rounded.add({true, false, 1, 0, 10005000});
        QCOMPARE(rounded.timeMs(50), 10.0);
    }

    void endsInAnEndlessProject()
    {
        QProcess endless;
        endless.start(KVLINK_PROGRAM,
                      arguments("read DM1 --project-port COM2 --sim --project FOLDER/endless"));
        QVERIFY(!endless.waitForFinished(REPLY_MS * 5));
        endless.terminate();
        QVERIFY(endless.waitForFinished(REPLY_MS * 20));
        QCOMPARE(endless.exitStatus(), QProcess::CrashExit);
    }

    void goesOnThroughAnOutage()
    {
        const QString link = m_folder.filePath("plc");
        const QStringList serve = words("--set DM1=5 --link") << link;
        Simulator first(serve);
        QProcess monitor;
        monitor.start(KVLINK_PROGRAM,
                      words(QString("--port %1,9600,8n1 --retry 0 --timeout %2 monitor DM1 "
                                    "--interval %2 --changes-only --format jsonl")
                                .arg(link)
                                .arg(REPLY_MS)));
        QVERIFY(nextLine(&monitor).contains("\"ok\""));
        const int files = openFiles(monitor.processId());
        first.stop();
        QVERIFY(nextLine(&monitor).contains("\"no-reply\""));
        QVERIFY(nextLine(&monitor).contains("\"not-open\""));
        Simulator second(serve);
        QString line = nextLine(&monitor);
        while (line.contains("\"no-reply\"") || line.contains("\"not-open\""))
            line = nextLine(&monitor); // a port that is being set up may still be silent
        QVERIFY2(line.contains("\"ok\""), qPrintable(line));
        QCOMPARE(openFiles(monitor.processId()), files);
        interrupt(monitor);
        const Outcome outcome = ended(&monitor);
        QCOMPARE(outcome.status, 0);
        QVERIFY2(fits(outcome.err,
                      "kvlink: outage: ANY\nkvlink: the PLC answers again after NUM s\n"
                      "kvlink: ANY requests, ANY replies, 0 retries, ANY; min ANY\n"),
                 qPrintable(outcome.err));
    }

    void redrawsItsTableOnATerminal_data() { addRows(TERMINALS); }

    void redrawsItsTableOnATerminal()
    {
        const auto &row = currentRow(TERMINALS);
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
        qputenv("TERM", row.name);
        QProcess monitor;
        monitor.setStandardOutputFile(QString::fromLatin1(ptsname(terminal)));
        monitor.start(KVLINK_PROGRAM, arguments("PLC monitor DM100 DM101 --count 2 --interval 1"));
        QVERIFY(monitor.waitForFinished(PATIENCE_MS));
        QByteArray shown;
        for (char byte = 0; ::read(terminal, &byte, 1) == 1;)
            shown += byte;
        ::close(terminal);
        QVERIFY2(fits(QString(shown).remove('\r'), row.shown), shown.constData());
    }

private:
    void execute(const char *project, const char *statement)
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", statement);
        database.setDatabaseName(m_folder.filePath(project));
        QVERIFY(database.open() && QSqlQuery(database).exec(statement));
    }
};

QTEST_GUILESS_MAIN(TestKvlink)
#include "tst_kvlink.moc"
