/// The simulated PLC in memory: lines in, replies out; its conditions: faults and their plan,
/// images of its devices, live values, read-only devices.
#include "simulator/fault_engine.h"
#include "simulator/live_values.h"
#include "simulator/memory_image.h"
#include "simulator/simulated_plc.h"
#include "simulator/wire_format.h"
#include "tests/table.h"

#include <QtCore/QElapsedTimer>

namespace
{

// Every device kind holds something, so that a read of the wrong place shows.
void fill(PlcMemory &memory)
{
    const PlcTimer idle = {false, 0, 100};
    const PlcTimer expired = {true, 4294967295u, 5};
    QVERIFY(memory.setWord("DM", 100, 0x1234));
    QVERIFY(memory.setWord("DM", 101, 0x00FF));
    QVERIFY(memory.setWord("W", 0x1FF, 0xABCD));
    QVERIFY(memory.setBit("R", 12, 15, true));
    QVERIFY(memory.setBit("R", 13, 1, true));
    QVERIFY(memory.setBit("B", 0x1F, 15, true));
    QVERIFY(memory.setWord("B", 0x20, 0x0001));
    QVERIFY(memory.setTimer("T", 12, idle));
    QVERIFY(memory.setTimer("T", 13, expired));
    QVERIFY(memory.setTimer("C", 7, expired));
    QVERIFY(memory.setTimer("CTC", 3, expired));
    QVERIFY(memory.setTimer("AT", 2, expired));
}

// Lines as they go over the wire; '/' stands for an end between two of them.
QByteArray wire(const char *lines)
{
    return QByteArray(lines).replace('/', "\r\n") + "\r\n";
}

// On an open line of station 1, with the devices filled.
const struct {
    const char *name;
    const char *lines;
    const char *replies;
} EXCHANGES[] = {
    // The session.
    {"closed", "CQ/RDS DM0.H 1/WRS DM0.H 1 0000/ST T1/RS T1/CQ", "CF/E1/E1/E1/E1/E1"},
    {"opened twice", "CR 01/CQ/CQ", "CC 01/CF/E1"},
    {"silent for another station", "CQ/CR 02/CR 01", "CF/CC 01"},
    {"closed by another station", "CR 10/RDS DM0.H 1", "E1"},
    {"no station, or something behind it or close", "CR/CR 1/CR 001/CR 0A/CR 01 1/CQ 1/CQ",
     "E1/E1/E1/E1/E1/E1/CF"},
    // Reads.
    {"read words", "RDS DM00100.H 2/RDS W01FF.H 1", "1234 00FF/ABCD"},
    {"read words of bits", "RDS R01200.H 2/RDS B01F0.H 2", "8000 0002/8000 0001"},
    {"read bits over a channel's end", "RDS R01215 3/RDS B01FE 4", "1 0 1/0 1 1 0"},
    {"read timers", "RDS T12 2", "0,0000000000,0000000100 1,4294967295,0000000005"},
    {"read currents and presets", "RDS TC12 2/RDS TS12 2/RDS CC7 1/RDS CS7 1",
     "0000000000 4294967295/0000000100 0000000005/4294967295/0000000005"},
    {"read last bits and channel", "RDS R99914 2/RDS VBF9F0.H 1", "0 0/0000"},
    // Writes, and what a read gives then.
    {"write words", "WRS DM00100.H 2 BEEF 0001/RDS DM00099.H 4", "OK/0000 BEEF 0001 0000"},
    {"write channels", "WRS MR00500.H 2 8001 FFFF/RDS MR00415 4", "OK/0 1 0 0"},
    {"write bits", "WRS R01215 3 0 1 0/RDS R01200.H 2", "OK/0000 0001"},
    {"write timers", "WRS T0012 2 0000000007 0000000008/RDS TC12 2", "OK/0000000007 0000000008"},
    {"write counter's current", "WRS C7 1 0000000000/RDS C7 1", "OK/1,0000000000,0000000005"},
    {"write comparator's preset", "WRS CTC3 1 0000000100/RDS CTC3 1", "OK/1,4294967295,0000000100"},
    {"write TC and TS", "WRS TC12 1 0000000009/WRS TS12 1 4294967295/RDS T12 1",
     "OK/OK/0,0000000009,4294967295"},
    {"write CC and CS", "WRS CC7 1 0000000003/WRS CS7 1 0000000004/RDS C7 1",
     "OK/OK/1,0000000003,0000000004"},
    {"write AT", "RDS AT2 1/WRS AT2 1 0000000003/RDS AT2 1", "4294967295/OK/0000000003"},
    {"reset counter", "RS C0007/RDS C7 1", "OK/0,4294967295,0000000005"},
    {"set comparator", "ST CTC2/RDS CTC2 1", "OK/1,0000000000,0000000000"},
    {"set and reset relays", "ST LR00115/RDS LR00100.H 1/RS B20/RDS B20.H 1", "OK/8000/OK/0000"},
    // Refused lines.
    {"line ends", "CQ\n/\n/", "E1/E1/E1/E1/E1"},
    {"no command", "RD DM0.H/rds DM0.H 1/ CQ", "E1/E1/E1"},
    {"missing or more parts", "RDS DM0.H/RDS DM0.H 1 0000/ST/ST T1 1", "E1/E1/E1/E1"},
    {"unknown devices", "RDS XX0.H 1/RDS dm0.H 1/RDS DM 1/RDS  1", "E0/E0/E0/E0"},
    {"wrong numbers",
     "RDS DM1A.H 1/RDS W1ff.H 1/RDS R1216 1/RDS DM4294967296.H 1/RDS R00201.H 1/RDS DM:.H 1",
     "E0/E0/E0/E0/E0/E0"},
    {"wrong forms", "RDS DM0 1/RDS T0.H 1/ST DM0.H/ST TC0/ST T4000", "E0/E0/E0/E0/E0"},
    {"wrong counts",
     "RDS DM0.H 0/RDS DM0.H -1/RDS DM0.H  1/RDS DM0.H 4294967297/RDS DM0.H 1001/RDS T0 121",
     "E0/E0/E0/E0/E0/E0"},
    {"behind the last", "RDS DM65535.H 1/RDS DM65534.H 2/RDS R99914 3/RDS VBFA00.H 1",
     "E0/E0/E0/E0"},
    // A refused write changes nothing.
    {"wrong count of values",
     "WRS DM100.H 2 5555/WRS DM100.H 1 5555 5555/WRS DM100.H 1 5555 /RDS DM100.H 1",
     "E0/E0/E0/1234"},
    {"wrong last word", "WRS DM100.H 2 5555 555/WRS DM100.H 2 5555 abcd/RDS DM100.H 1",
     "E1/E1/1234"},
    {"last bit is 2", "WRS R01215 3 0 1 2/RDS R1200.H 2", "E1/8000 0002"},
    {"wrong decimal", "WRS T13 1 000000007/WRS T13 1 000000000:/WRS T13 1 4294967296/RDS TC13 1",
     "E1/E1/E1/4294967295"},
    {"last word outside", "WRS DM65534.H 2 5555 5555/RDS DM65534.H 1", "E0/0000"},
};

// A file as a row's name has it: ';' stands for a line end.
QByteArray file(const char *rowName)
{
    return QByteArray(rowName).replace(';', '\n');
}

// A reply's schedule as text: each chunk behind its delay, noise as '#', then how the line ends.
QByteArray scheduled(const FaultedReply &reply)
{
    QByteArray text;
    for (const ReplyChunk &chunk : reply.chunks()) {
        text += '[' + QByteArray::number(chunk.delayUs) + ']';
        for (const char c : chunk.bytes)
            text += c & 0x80 ? '#' : c;
    }
    text += reply.closesConnection ? " closed" : "";
    return text + (reply.silenceMs > 0 ? " silent " + QByteArray::number(reply.silenceMs) : "");
}

FaultEngine engine(const QByteArray &text, quint32 seed = 1)
{
    FaultPlan plan(seed);
    QByteArray error;
    return plan.addFile(text, &error) ? FaultEngine(plan) : FaultEngine();
}

const struct {
    const char *name;
    QByteArray reply;
    QByteArray schedule;
    int faults;
} DAMAGES[] = {
    {"", "CF\r\n", "[0]CF\r\n", 0},
    {"no-reply", "CF\r\n", "", 1},
    {"close-connection 1 2", "CF\r\n", " closed silent 2000", 1},
    {"silence 1 3", "CF\r\n", " silent 3000", 1},
    {"error-reply 1 7", "00FF\r\n", "[0]E7\r\n", 1},
    {"wrong-station", "CC 09\r\n", "[0]CC 10\r\n", 1},
    {"wrong-station 1 ", "CC 99\r\n", "[0]CC 00\r\n", 1},
    {"wrong-station;", "0001\r\n", "[0]0001\r\n", 0},
    {"wrong-close", "CF\r\n", "[0]OK\r\n", 1},
    {"wrong-close;", "OK\r\n", "[0]OK\r\n", 0},
    {"noise-before 1 2", "CF\r\n", "[0]##CF\r\n", 1},
    {"noise-inside", "1\n", "[0]1#\n", 1},
    {"noise-after 1 3", "CF\r\n", "[0]CF\r\n###", 1},
    {"cut 1 3", "CF\r\n", "[0]CF\r", 1},
    {"cut 1 4", "CF\r\n", "[0]CF\r\n", 0},
    {"cut", "1\n", "[0]1", 1},
    {"doubled", "CF\r\n", "[0]CF\r\nCF\r\n", 1},
    {"split 1 2", "OK\n", "[0]O[2000]K[2000]\n", 1},
    {"late 1 800", "CF\r\n", "[800000]CF\r\n", 1},
    {"late\tevery 1 5;# both;; split", "1\n", "[5000]1[1000]\n", 2},
    {"echo", "CF\r\n", "[0]CQ\r\nCF\r\n", 1},
    {"doubled;no-reply;", "CF\r\n", "", 1},
    {"doubled; ", QByteArray(32768, '0'), "[0]" + QByteArray(65536, '0'), 1},
    {"noise-before;noise-inside;noise-after;doubled", QByteArray(65536, '0'),
     "[0]" + QByteArray(65536, '0'), 0},
};

const struct {
    const char *name; // reader, blank, text
    QByteArray reason;
} NONSENSE[] = {
    {"fault nonsense", "unknown fault \"nonsense\"; known are no-reply, "},
    {"fault ", "unknown fault \"\""},
    {"fault cut:|fault cut:1.01|fault cut:nan", "expected 0 to 1, every N or once N"},
    {"fault cut:0.1,", "fault cut \"\": expected a number of kept bytes from 1 to 100000"},
    {"fault cut:every|fault cut:every 0", "expected a number from 1 on"},
    {"fault cut:once 1 2 3", "\"3\" is too much"},
    {"fault error-reply:1,10", "expected an error digit from 0 to 9"},
    {"fault doubled:1,2", "takes no \"2\""},
    {"faults late;;#;later 1;", "line 4: unknown fault \"later\""},
    {"image |image DM1,1;", "line 1, column 1: the first line"},
    {"image device,value;DM0,1;;DM1;", "line 4, column 1: \"DM1\" is not device,value"},
    {"image device,value;DM0,1;DX1,1;", "line 3, column 1: no such device: \"DX1\""},
    {"image device,value;DM0,1;DM1,65536;",
     "line 3, column 5: \"65536\" for \"DM1\": expected 0 to 65535"},
    {"image device,value;DM0,1;DM1,;", "line 3, column 5: \"\" for \"DM1\": expected 0"},
    {"image device,value;T1,5;|image device,value;T1,\"2,0\";",
     "\" is not contact,current,preset of \"T1\""},
    {"image device,value;\"T1\",\"1,0,-3\";", "line 2, column 11: \"-3\" for \"T1\": expected 0"},
    {"live DX1=counter:1,1|live DM1|set XX1=1|set ", "no such device"},
    {"live DM1=counter:1|live DM1=ramp:5,4,10|live DM1=saw:0,1,10", " is not counter:STEP,MS"},
    {"live DM1=counter:1,0", "1 ms or more"},
    {"live DM1=ramp:0,65536,10", "values from 0 to 65535"},
    {"area DM5-DM4|area DM1-EM2", "does not go from"},
    {"area DM1-|area DM1-DM2-DM3", "no such devices"},
    {"set DM100", "no value in \"DM100\""},
    {"set DM100=|set DM1=65536", "no value from 0 to 65535"},
    {"set R1=2", "no value from 0 to 1"},
};

} // namespace

class TestSimulator : public QObject
{
    Q_OBJECT

private slots:
    void answersLines_data() { addRows(EXCHANGES); }

    void answersLines()
    {
        const auto &row = currentRow(EXCHANGES);
        const QByteArray lines = wire(row.lines);
        const QByteArray replies = wire(row.replies);
        SimulatedPlc plc(1);
        fill(plc.memory());
        QCOMPARE(plc.receive("CR 01\r\n"), QByteArray("CC 01\r\n"));
        QCOMPARE(plc.receive(lines), replies);
        QCOMPARE(plc.counts().requests, quint64(1 + lines.count('\n')));
        QCOMPARE(plc.counts().errors, quint64(replies.count("E0\r\n") + replies.count("E1\r\n")));
    }

    void takesANulAndTheLongestRuns()
    {
        SimulatedPlc plc;
        QCOMPARE(plc.receive(wire("CR 00") + QByteArray("RDS DM1\0.H 1\r\n", 14)),
                 wire("CC 00/E0"));
        QCOMPARE(plc.receive("RDS DM0.H 1000\r\n").size(), 5001);
        QCOMPARE(plc.receive("RDS T0 120\r\n").size(), 2881);
        const QByteArray values = QByteArray(" 0000000001").repeated(1000);
        QCOMPARE(plc.receive("WRS TC0 1000" + values + "\r\n"), QByteArray("OK\r\n"));
    }

    void dropsOverlongLine()
    {
        for (int lineSize : {16384, 16385, 100000}) {
            // Leading zeros make the line as long as wanted.
            const QByteArray bytes =
                "CR 00\r\nRDS DM" + QByteArray(lineSize - 13, '0') + "5.H 1\r\nCQ\r\n";
            for (const int chunkSize : {bytes.size(), 1, 4096, 16384}) {
                SimulatedPlc plc;
                QByteArray received;
                for (int at = 0; at < bytes.size(); at += chunkSize)
                    received += plc.receive(bytes.mid(at, chunkSize));
                QCOMPARE(received, wire(lineSize > 16384 ? "CC 00/E1/CF" : "CC 00/0000/CF"));
            }
        }
    }

    void directAccessKnowsDeviceLimits()
    {
        PlcMemory memory;
        const PlcTimer timer = {true, 1, 2};
        bool ok = false;
        QVERIFY(memory.setWord("R", 999, 1) && !memory.setWord("R", 1000, 1));
        QVERIFY(memory.setBit("DM", 0, 15, true) && !memory.setBit("DM", 0, 16, true));
        QVERIFY(memory.setTimer("AT", 7, timer) && !memory.setTimer("AT", 8, timer));
        QVERIFY(!memory.setWord("T", 0, 1) && !memory.setTimer("DM", 0, timer));
        QVERIFY(!memory.setWord("", 0, 1) && !memory.setWord("DM0", 0, 1));
        QVERIFY(memory.bit("R", 999, 0, &ok) && ok);
        QVERIFY(!memory.bit("R", 999, 16, &ok) && !ok);
        QCOMPARE(memory.timer("AT", 8, &ok).preset, 0u);
        QVERIFY(!ok);
    }

    void damagesReplies_data() { addRows(DAMAGES); }

    void damagesReplies()
    {
        const auto &row = currentRow(DAMAGES);
        FaultEngine faulty = engine(file(row.name));
        QCOMPARE(scheduled(faulty.apply(row.reply, "CQ\r\n")), row.schedule);
        int counted = 0;
        for (const auto &fault : faulty.counts())
            counted += static_cast<int>(fault.second);
        QCOMPARE(counted, row.faults);
    }

    // Twelve replies, of which those that fit are the odd ones; '!' for each that got the fault.
    void strikesAsPlanned()
    {
        const char *const rows[][2] = {{"wrong-close every 3", "....!.....!."},
                                       {"wrong-close once 2", "..!........."},
                                       {"wrong-close 0", "............"},
                                       {"wrong-close 1", "!.!.!.!.!.!."}};
        for (const auto &row : rows) {
            FaultEngine faulty = engine(row[0]);
            QByteArray struck;
            for (int i = 0; i < 12; ++i) {
                const FaultedReply reply = faulty.apply(i % 2 == 0 ? "CF\r\n" : "0000\r\n");
                struck += reply.bytes == "OK\r\n" ? '!' : '.';
            }
            QCOMPARE(struck, QByteArray(row[1]));
        }
    }

    void repeatsWithItsSeed()
    {
        const char plan[] = "cut 0.3\nnoise-inside 0.3 4\nno-reply 0.25";
        FaultEngine first = engine(plan, 42);
        FaultEngine second = engine(plan, 42);
        FaultEngine other = engine(plan, 43);
        bool differs = false;
        for (int i = 0; i < 2000; ++i) {
            const FaultedReply reply = first.apply("0123456789\r\n");
            const FaultedReply again = second.apply("0123456789\r\n");
            QCOMPARE(reply.bytes, again.bytes);
            differs = differs || scheduled(reply) != scheduled(other.apply("0123456789\r\n"));
        }
        QVERIFY(differs);
        const quint64 struck = first.counts().begin()->second;
        QVERIFY2(struck > 400 && struck < 600, QByteArray::number(struck).constData());
    }

    // Time that grew with the square of the rules would be twenty seconds here.
    void loadsAVeryLongPlanAtOnce()
    {
        QElapsedTimer timer;
        timer.start();
        const FaultEngine faulty = engine(QByteArray("late 0\ncut 0\n").repeated(100000));
        QCOMPARE(faulty.plan().rules().size(), size_t(200000));
        QVERIFY(timer.elapsed() < 2000 * KV_TEST_PATIENCE);
    }

    void bringsAnImageBack()
    {
        const QByteArray image("device,value\n"
                               "R1215,1\n"
                               "R99915,1\n"
                               "B1F,1\n"
                               "DM0,65535\n"
                               "DM65534,1\n"
                               "W1FF,4660\n"
                               "T12,\"1,100,4294967295\"\n"
                               "T13,\"0,0,5\"\n"
                               "CTC7,\"1,0,0\"\n"
                               "AT3,77\n");
        PlcMemory memory;
        QByteArray error;
        QVERIFY2(loadPlcMemoryImage(image, &memory, &error), error.constData());
        QCOMPARE(plcMemoryImage(memory), image);
        QVERIFY(memory.bit("R", 12, 15) && memory.bit("B", 1, 15) && memory.timer("T", 12).contact);
        QCOMPARE(memory.word("W", 0x1FF), quint16(0x1234));
        QCOMPARE(memory.timer("T", 12).current, 100u);
        // As a spreadsheet may write it, and on top of what is there.
        const QByteArray more("device,value\r\n\r\nDM1,\"2\"\r\nTS13,6\r\nDM0,0\r\nT12,0,1,2");
        QVERIFY2(loadPlcMemoryImage(more, &memory, &error), error.constData());
        QCOMPARE(memory.word("DM", 0) + memory.word("DM", 1), 2);
        QCOMPARE(memory.timer("T", 13).preset, 6u);
        QCOMPARE(memory.timer("T", 12).preset, 2u);
    }

    // The device's value at 0, 500, 1000 and 2750 ms.
    void livesByTheClock()
    {
        const char *const rows[][2] = {{"DM1=counter:3,500", "0 3 6 15 "},
                                       {"DM1=counter:40000,1000", "0 0 40000 14464 "},
                                       {"DM1=ramp:10,19,1000", "10 15 10 17 "},
                                       {"DM1=sine:100,200,1000", "150 150 150 100 "},
                                       {"DM1=sine:0,65535,2000", "32768 65535 32768 55938 "}};
        for (const auto &row : rows) {
            LiveValues live;
            PlcMemory memory;
            QByteArray error;
            QByteArray values;
            QVERIFY2(live.add(row[0], &error), error.constData());
            for (const int elapsedMs : {0, 500, 1000, 2750}) {
                live.refresh(elapsedMs, &memory);
                values += QByteArray::number(memory.word("DM", 1)) + ' ';
            }
            QCOMPARE(values, QByteArray(row[1]));
        }
    }

    void letsNobodyWriteReadOnlyDevices()
    {
        SimulatedPlc plc;
        QByteArray error;
        const char *const ranges[] = {"DM100-DM199", "R1203-R1205", "T7", "W1F"};
        for (const char *range : ranges)
            QVERIFY2(plc.memory().protect(range, &error), error.constData());
        QCOMPARE(plc.receive("CR 00\r\nWRS DM99.H 1 0001\r\nWRS DM200.H 1 0001\r\nST R1202\r\n"
                             "WRS R1206 2 1 1\r\nST T8\r\nWRS EM100.H 1 0001\r\n"),
                 "CC 00\r\n" + QByteArray("OK\r\n").repeated(6));
        QCOMPARE(plc.receive("WRS DM99.H 2 0002 0002\r\nWRS DM199.H 1 0001\r\nST R1203\r\n"
                             "RS R1205\r\nWRS R1200.H 1 0000\r\nWRS T7 1 0000000001\r\n"
                             "WRS TS7 1 0000000001\r\nST T7\r\nWRS W001F.H 1 0001\r\n"),
                 QByteArray("E4\r\n").repeated(9));
        QCOMPARE(plc.receive("RDS DM99.H 2\r\n"), QByteArray("0001 0000\r\n"));
    }

    void refusesNonsense_data() { addRows(NONSENSE); }

    void refusesNonsense()
    {
        const auto &row = currentRow(NONSENSE);
        for (const QByteArray &tried : file(row.name).split('|')) {
            const QByteArray reader = tried.left(tried.indexOf(' '));
            const QByteArray text = tried.mid(reader.size() + 1);
            FaultPlan plan;
            PlcMemory memory;
            LiveValues live;
            QByteArray error;
            const bool taken = reader == "fault"    ? plan.addOption(text, &error)
                               : reader == "faults" ? plan.addFile(text, &error)
                               : reader == "image"  ? loadPlcMemoryImage(text, &memory, &error)
                               : reader == "live"   ? live.add(text, &error)
                               : reader == "set"    ? memory.assign(text, &error)
                                                    : memory.protect(text, &error);
            QVERIFY2(!taken, tried.constData());
            QVERIFY2(error.contains(row.reason), error.constData());
            QVERIFY(plan.rules().empty());
            QCOMPARE(memory.word("DM", 0), quint16(0));
        }
    }

    // The levels of each byte were drawn and sampled by hand.
    void hearsOtherSettingsAsASerialPortDoes()
    {
        const struct {
            int sentBaud, heardBaud;
            const char *parities;
            unsigned char sent, heard;
        } rows[] = {
            {9600, 9600, "ee", 'C', 'C'},    {9600, 9600, "eo", 'C', 0},
            {9600, 9600, "en", 'C', 'C'},    {9600, 9600, "en", 'A', 0},
            {9600, 19200, "nn", 0xF8, 0x80}, {9600, 19200, "nn", 0xF0, 0},
            {19200, 9600, "nn", 0x00, 0xF8},
        };
        for (const auto &row : rows) {
            WireFormat sender, receiver;
            sender.baud = row.sentBaud;
            sender.parity = row.parities[0];
            receiver.baud = row.heardBaud;
            receiver.parity = row.parities[1];
            QCOMPARE(heardBytes(QByteArray(1, char(row.sent)), sender, receiver),
                     QByteArray(1, char(row.heard)));
        }
    }
};

QTEST_APPLESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
