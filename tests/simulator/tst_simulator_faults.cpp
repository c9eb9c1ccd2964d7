/// The simulated PLC's conditions in memory: faults and their plan, images of its devices, live
/// values, read-only devices.
#include "simulator/fault_engine.h"
#include "simulator/live_values.h"
#include "simulator/memory_image.h"
#include "simulator/simulated_plc.h"
#include "tests/table.h"

#include <QtCore/QElapsedTimer>

namespace
{

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
    {"fault cut:0.1,", "fault cut \"\": expected number of bytes kept from 1 to 100000"},
    {"fault cut:every|fault cut:every 0", "expected a number from 1 on"},
    {"fault cut:once 1 2 3", "\"3\" is too much"},
    {"fault error-reply:1,10", "expected error digit from 0 to 9"},
    {"fault doubled:1,2", "takes no \"2\""},
    {"faults late;;#;later 1;", "line 4: unknown fault \"later\""},
    {"image |image DM1,1;", "line 1: the first line"},
    {"image device,value;DM0,1;;DM1;", "line 4: \"DM1\" is not device,value"},
    {"image device,value;DM0,1;DX1,1;", "line 3: no such device: \"DX1\""},
    {"image device,value;DM0,1;DM1,65536;", "line 3: \"65536\" for \"DM1\": expected 0 to 65535"},
    {"image device,value;DM0,1;DM1,;", "line 3: \"\" for \"DM1\": expected 0"},
    {"image device,value;T1,5;|image device,value;T1,\"2,0,0\";",
     "\" is not contact,current,preset of \"T1\""},
    {"live DX1=counter:1,1|live DM1|set XX1=1|set ", "no such device"},
    {"live DM1=counter:1|live DM1=ramp:5,4,10|live DM1=saw:0,1,10", " is not counter:STEP,PERIOD"},
    {"live DM1=counter:1,0", "a period in ms from 1 on"},
    {"live DM1=ramp:0,65536,10", "values from 0 to 65535"},
    {"area DM5-DM4|area DM1-EM2", "does not go from"},
    {"area DM1-|area DM1-DM2-DM3", "no such devices"},
    {"set DM100", "no value in \"DM100\""},
    {"set DM100=|set DM1=65536", "no value from 0 to 65535"},
    {"set R1=2", "no value from 0 to 1"},
};

} // namespace

class TestSimulatorFaults : public QObject
{
    Q_OBJECT
private slots:
    void damagesReplies_data() { addRows(DAMAGES); }

    void damagesReplies()
    {
        const auto &row = currentRow(DAMAGES);
        FaultEngine faulty = engine(file(row.name));
        QCOMPARE(scheduled(faulty.apply(row.reply)), row.schedule);
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
};

QTEST_APPLESS_MAIN(TestSimulatorFaults)
#include "tst_simulator_faults.moc"
