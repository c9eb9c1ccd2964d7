/// The simulated PLC in memory: lines in, replies out.
#include "simulator/simulated_plc.h"
#include "tests/table.h"

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
    {"wrong numbers", "RDS DM1A.H 1/RDS W1ff.H 1/RDS R1216 1/RDS DM4294967296.H 1/RDS R00201.H 1",
     "E0/E0/E0/E0/E0"},
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
    {"wrong decimal", "WRS T13 1 000000007/WRS T13 1 4294967296/RDS TC13 1", "E1/E1/4294967295"},
    {"last word outside", "WRS DM65534.H 2 5555 5555/RDS DM65534.H 1", "E0/0000"},
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

    void gathersSplitLines()
    {
        const QByteArray bytes = wire("CR 00/WRS DM7.H 1 00A0/RDS DM7.H 1/CQ");
        for (int cut = 0; cut <= bytes.size(); ++cut) {
            SimulatedPlc plc;
            const QByteArray received = plc.receive(bytes.left(cut));
            QCOMPARE(received + plc.receive(bytes.mid(cut)), wire("CC 00/OK/00A0/CF"));
        }
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

    void assignsByText()
    {
        PlcMemory memory;
        QByteArray error;
        for (const char *text : {"DM100=4660", "R1200.H=3", "R1315=1", "T12=100"})
            QVERIFY2(memory.assign(text, &error) && error.isEmpty(), text);
        QCOMPARE(memory.word("DM", 100), quint16(0x1234));
        QCOMPARE(memory.word("R", 12), quint16(0x0003));
        QCOMPARE(memory.word("R", 13), quint16(0x8000));
        QCOMPARE(memory.timer("T", 12).current, 100u);
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
};

QTEST_APPLESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
