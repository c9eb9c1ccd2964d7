/// The simulated PLC in memory: lines in, replies out.
#include "simulator/simulated_plc.h"

#include <QtTest/QtTest>

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

void open(SimulatedPlc &plc)
{
    QCOMPARE(plc.receive("CR 00\r\n"), QByteArray("CC 00\r\n"));
}

} // namespace

class TestSimulator : public QObject
{
    Q_OBJECT
private slots:
    void keepsSession_data();
    void keepsSession();
    void readsItems_data();
    void readsItems();
    void writesItems_data();
    void writesItems();
    void refusesLine_data();
    void refusesLine();
    void refusedWriteChangesNothing_data();
    void refusedWriteChangesNothing();
    void limitsRuns_data();
    void limitsRuns();
    void gathersSplitLines();
    void dropsOverlongLine_data();
    void dropsOverlongLine();
    void survivesGarbage();
    void sessionsShareDevicesOnly();
    void presetsByText_data();
    void presetsByText();
    void directAccessKnowsDeviceLimits();
};

void TestSimulator::keepsSession_data()
{
    QTest::addColumn<int>("station");
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QByteArray>("replies");
    QTest::newRow("open and close")
        << 1 << QByteArray("CR 01\r\nCQ\r\n") << QByteArray("CC 01\r\nCF\r\n");
    QTest::newRow("highest station") << 99 << QByteArray("CR 99\r\n") << QByteArray("CC 99\r\n");
    QTest::newRow("opened twice") << 0 << QByteArray("CR 00\r\nCR 00\r\nCQ\r\nCQ\r\n")
                                  << QByteArray("CC 00\r\nCC 00\r\nCF\r\nE1\r\n");
    QTest::newRow("commands while closed")
        << 0 << QByteArray("RDS DM0.H 1\r\nWRS DM0.H 1 0000\r\nST T1\r\nRS T1\r\nCQ\r\n")
        << QByteArray("E1\r\nE1\r\nE1\r\nE1\r\nE1\r\n");
    QTest::newRow("other station is silent") << 1 << QByteArray("CR 02\r\n") << QByteArray();
    QTest::newRow("other station closes")
        << 1 << QByteArray("CR 01\r\nCR 10\r\nRDS DM0.H 1\r\n") << QByteArray("CC 01\r\nE1\r\n");
    QTest::newRow("malformed open line keeps session")
        << 1 << QByteArray("CR 01\r\nCR 1\r\nCQ\r\n") << QByteArray("CC 01\r\nE1\r\nCF\r\n");
    QTest::newRow("refused command keeps session")
        << 0 << QByteArray("CR 00\r\nRDS XX1 1\r\nCQ\r\n") << QByteArray("CC 00\r\nE0\r\nCF\r\n");
}

void TestSimulator::keepsSession()
{
    QFETCH(int, station);
    QFETCH(QByteArray, lines);
    SimulatedPlc plc(station);
    QTEST(plc.receive(lines), "replies");
}

void TestSimulator::readsItems_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("reply");
    const struct {
        const char *name;
        const char *line;
        const char *reply;
    } rows[] = {
        {"words", "RDS DM00100.H 2\r\n", "1234 00FF\r\n"},
        {"fewer zeros", "RDS DM100.H 1\r\n", "1234\r\n"},
        {"more zeros", "RDS DM0000000000100.H 1\r\n", "1234\r\n"},
        {"hexadecimal number", "RDS W01FF.H 1\r\n", "ABCD\r\n"},
        {"words of a decimal bit device", "RDS R01200.H 2\r\n", "8000 0002\r\n"},
        {"words of a hexadecimal bit device", "RDS B01F0.H 2\r\n", "8000 0001\r\n"},
        {"bits over a channel's end", "RDS R01215 3\r\n", "1 0 1\r\n"},
        {"bits over a hexadecimal channel's end", "RDS B01FE 4\r\n", "0 1 1 0\r\n"},
        {"timers", "RDS T12 2\r\n", "0,0000000000,0000000100 1,4294967295,0000000005\r\n"},
        {"counter", "RDS C0007 1\r\n", "1,4294967295,0000000005\r\n"},
        {"comparator", "RDS CTC3 1\r\n", "1,4294967295,0000000005\r\n"},
        {"timer currents", "RDS TC12 2\r\n", "0000000000 4294967295\r\n"},
        {"timer presets", "RDS TS12 2\r\n", "0000000100 0000000005\r\n"},
        {"counter current", "RDS CC7 1\r\n", "4294967295\r\n"},
        {"counter preset", "RDS CS7 1\r\n", "0000000005\r\n"},
        {"trimmers", "RDS AT1 2\r\n", "0000000000 4294967295\r\n"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QByteArray(row.line) << QByteArray(row.reply);
}

void TestSimulator::readsItems()
{
    QFETCH(QByteArray, line);
    SimulatedPlc plc;
    fill(plc.memory());
    open(plc);
    QTEST(plc.receive(line), "reply");
    QCOMPARE(plc.counts().errors, quint64(0));
}

void TestSimulator::writesItems_data()
{
    QTest::addColumn<QByteArray>("write");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<QByteArray>("reply");
    const struct {
        const char *name;
        const char *write;
        const char *read;
        const char *reply;
    } rows[] = {
        {"words", "WRS DM00100.H 2 BEEF 0001\r\n", "RDS DM00099.H 4\r\n",
         "0000 BEEF 0001 0000\r\n"},
        {"channels", "WRS MR00500.H 2 8001 FFFF\r\n", "RDS MR00415 4\r\n", "0 1 0 0\r\n"},
        {"hexadecimal channels", "WRS VB02A0.H 1 0003\r\n", "RDS VB029F 4\r\n", "0 1 1 0\r\n"},
        {"bits", "WRS R00100 3 1 0 1\r\n", "RDS R00100.H 1\r\n", "0005\r\n"},
        {"bits clear", "WRS R01215 3 0 1 0\r\n", "RDS R01200.H 2\r\n", "0000 0001\r\n"},
        {"timers' currents", "WRS T12 2 0000000007 0000000008\r\n", "RDS T0012 2\r\n",
         "0,0000000007,0000000100 1,0000000008,0000000005\r\n"},
        {"counter's current", "WRS C7 1 0000000000\r\n", "RDS C7 1\r\n",
         "1,0000000000,0000000005\r\n"},
        {"comparator's preset", "WRS CTC3 1 0000000100\r\n", "RDS CTC3 1\r\n",
         "1,4294967295,0000000100\r\n"},
        {"TC", "WRS TC12 1 0000000009\r\n", "RDS T12 1\r\n", "0,0000000009,0000000100\r\n"},
        {"TS", "WRS TS12 1 4294967295\r\n", "RDS T12 1\r\n", "0,0000000000,4294967295\r\n"},
        {"CC", "WRS CC7 1 0000000003\r\n", "RDS C7 1\r\n", "1,0000000003,0000000005\r\n"},
        {"CS", "WRS CS7 1 0000000003\r\n", "RDS C7 1\r\n", "1,4294967295,0000000003\r\n"},
        {"AT", "WRS AT2 1 0000000003\r\n", "RDS AT2 1\r\n", "0000000003\r\n"},
        {"set timer", "ST T0012\r\n", "RDS T12 1\r\n", "1,0000000000,0000000100\r\n"},
        {"reset timer", "RS T0013\r\n", "RDS T13 1\r\n", "0,4294967295,0000000005\r\n"},
        {"reset counter", "RS C0007\r\n", "RDS C7 1\r\n", "0,4294967295,0000000005\r\n"},
        {"set comparator", "ST CTC2\r\n", "RDS CTC2 1\r\n", "1,0000000000,0000000000\r\n"},
        {"set relay", "ST LR00115\r\n", "RDS LR00100.H 1\r\n", "8000\r\n"},
        {"reset relay", "RS B20\r\n", "RDS B20.H 1\r\n", "0000\r\n"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QByteArray(row.write) << QByteArray(row.read)
                                << QByteArray(row.reply);
}

void TestSimulator::writesItems()
{
    QFETCH(QByteArray, write);
    QFETCH(QByteArray, read);
    SimulatedPlc plc;
    fill(plc.memory());
    open(plc);
    QCOMPARE(plc.receive(write), QByteArray("OK\r\n"));
    QTEST(plc.receive(read), "reply");
}

void TestSimulator::refusesLine_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("reply");
    const struct {
        const char *name;
        const char *line;
        const char *reply;
    } rows[] = {
        {"empty line", "\r\n", "E1\r\n"},
        {"no CR before LF", "CQ\n", "E1\r\n"},
        {"LF alone", "\n", "E1\r\n"},
        {"unknown command", "RD DM0.H\r\n", "E1\r\n"},
        {"lower-case command", "rds DM0.H 1\r\n", "E1\r\n"},
        {"blank before command", " CQ\r\n", "E1\r\n"},
        {"open without station", "CR\r\n", "E1\r\n"},
        {"station of three digits", "CR 000\r\n", "E1\r\n"},
        {"station is no number", "CR 0A\r\n", "E1\r\n"},
        {"something behind the station", "CR 00 1\r\n", "E1\r\n"},
        {"something behind close", "CQ 1\r\n", "E1\r\n"},
        {"read without count", "RDS DM0.H\r\n", "E1\r\n"},
        {"read with values", "RDS DM0.H 1 0000\r\n", "E1\r\n"},
        {"set without device", "ST\r\n", "E1\r\n"},
        {"set with value", "ST T1 1\r\n", "E1\r\n"},
        {"unknown device", "RDS XX0.H 1\r\n", "E0\r\n"},
        {"lower-case device", "RDS dm0.H 1\r\n", "E0\r\n"},
        {"name alone", "RDS DM 1\r\n", "E0\r\n"},
        {"no device", "RDS  1\r\n", "E0\r\n"},
        {"letter in number", "RDS DM1A.H 1\r\n", "E0\r\n"},
        {"lower-case hexadecimal number", "RDS W1ff.H 1\r\n", "E0\r\n"},
        {"bit above 15", "RDS R1216 1\r\n", "E0\r\n"},
        {"number wraps 32 bits", "RDS DM4294967296.H 1\r\n", "E0\r\n"},
        {"words off bit 0", "RDS R01201.H 1\r\n", "E0\r\n"},
        {"word device without suffix", "RDS DM0 1\r\n", "E0\r\n"},
        {"timer with suffix", "RDS T0.H 1\r\n", "E0\r\n"},
        {"set of a word", "ST DM0.H\r\n", "E0\r\n"},
        {"set of a current value", "ST TC0\r\n", "E0\r\n"},
        {"count 0", "RDS DM0.H 0\r\n", "E0\r\n"},
        {"count is no number", "RDS DM0.H -1\r\n", "E0\r\n"},
        {"two blanks before count", "RDS DM0.H  1\r\n", "E0\r\n"},
        {"count wraps 32 bits", "RDS DM0.H 4294967297\r\n", "E0\r\n"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << QByteArray(row.line) << QByteArray(row.reply);
    QTest::newRow("NUL in number") << QByteArray("RDS DM1\0.H 1\r\n", 14) << QByteArray("E0\r\n");
}

void TestSimulator::refusesLine()
{
    QFETCH(QByteArray, line);
    SimulatedPlc plc;
    open(plc);
    QTEST(plc.receive(line), "reply");
    QCOMPARE(plc.counts().requests, quint64(2));
    QCOMPARE(plc.counts().errors, quint64(1));
    QVERIFY(plc.isOpen());
}

void TestSimulator::refusedWriteChangesNothing_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("reply");
    const QByteArray e0("E0\r\n");
    const QByteArray e1("E1\r\n");
    QTest::newRow("value missing") << QByteArray("WRS DM100.H 2 5555\r\n") << e0;
    QTest::newRow("value too many") << QByteArray("WRS DM100.H 1 5555 5555\r\n") << e0;
    QTest::newRow("blank at end") << QByteArray("WRS DM100.H 1 5555 \r\n") << e0;
    QTest::newRow("last word short") << QByteArray("WRS DM100.H 2 5555 555\r\n") << e1;
    QTest::newRow("last word lower-case") << QByteArray("WRS DM100.H 2 5555 abcd\r\n") << e1;
    QTest::newRow("last bit is 2") << QByteArray("WRS R01215 3 0 1 2\r\n") << e1;
    QTest::newRow("decimal of nine digits") << QByteArray("WRS T12 1 000000007\r\n") << e1;
    QTest::newRow("decimal above 32 bits") << QByteArray("WRS T12 1 4294967296\r\n") << e1;
    QTest::newRow("last word outside") << QByteArray("WRS DM65534.H 2 5555 5555\r\n") << e0;
}

void TestSimulator::refusedWriteChangesNothing()
{
    QFETCH(QByteArray, line);
    SimulatedPlc plc;
    fill(plc.memory());
    open(plc);
    QTEST(plc.receive(line), "reply");
    QCOMPARE(plc.memory().word("DM", 100), quint16(0x1234));
    QCOMPARE(plc.memory().word("DM", 65534), quint16(0));
    QCOMPARE(plc.memory().word("R", 12), quint16(0x8000));
    QCOMPARE(plc.memory().word("R", 13), quint16(0x0002));
    QCOMPARE(plc.memory().timer("T", 12).current, 0u);
}

void TestSimulator::limitsRuns_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("replySize");
    QTest::newRow("1000 words") << QByteArray("RDS DM0.H 1000\r\n") << 5001;
    QTest::newRow("1001 words") << QByteArray("RDS DM0.H 1001\r\n") << 4;
    QTest::newRow("120 timers") << QByteArray("RDS T0 120\r\n") << 2881;
    QTest::newRow("121 timers") << QByteArray("RDS T0 121\r\n") << 4;
    QTest::newRow("last word") << QByteArray("RDS DM65534.H 1\r\n") << 6;
    QTest::newRow("word behind the last") << QByteArray("RDS DM65535.H 1\r\n") << 4;
    QTest::newRow("run over the end") << QByteArray("RDS DM65534.H 2\r\n") << 4;
    QTest::newRow("last bits") << QByteArray("RDS R99900 16\r\n") << 33;
    QTest::newRow("bits over the end") << QByteArray("RDS R99900 17\r\n") << 4;
    QTest::newRow("last channel") << QByteArray("RDS VBF9F0.H 1\r\n") << 6;
    QTest::newRow("channel behind the last") << QByteArray("RDS VBFA00.H 1\r\n") << 4;
    // 1000 decimal values are the longest line that the PLC takes.
    QTest::newRow("longest write")
        << "WRS TC0 1000" + QByteArray(" 0000000001").repeated(1000) + "\r\n"
        << 4;
}

void TestSimulator::limitsRuns()
{
    QFETCH(QByteArray, line);
    QFETCH(int, replySize);
    SimulatedPlc plc;
    open(plc);
    const QByteArray reply = plc.receive(line);
    QCOMPARE(reply.size(), replySize);
    QCOMPARE(reply == "E0\r\n", replySize == 4 && !line.startsWith("WRS"));
}

void TestSimulator::gathersSplitLines()
{
    const QByteArray bytes("CR 00\r\nWRS DM7.H 1 00A0\r\nRDS DM7.H 1\r\nCQ\r\n");
    const QByteArray replies("CC 00\r\nOK\r\n00A0\r\nCF\r\n");
    for (int cut = 0; cut <= bytes.size(); ++cut) {
        SimulatedPlc plc;
        QByteArray received = plc.receive(bytes.left(cut));
        received += plc.receive(bytes.mid(cut));
        QCOMPARE(received, replies);
    }
    SimulatedPlc plc;
    QByteArray received;
    for (int i = 0; i < bytes.size(); ++i)
        received += plc.receive(bytes.mid(i, 1));
    QCOMPARE(received, replies);
}

void TestSimulator::dropsOverlongLine_data()
{
    QTest::addColumn<int>("lineSize");
    QTest::addColumn<bool>("overlong");
    QTest::newRow("at the limit") << 16384 << false;
    QTest::newRow("one byte more") << 16385 << true;
    QTest::newRow("far more") << 100000 << true;
}

void TestSimulator::dropsOverlongLine()
{
    QFETCH(int, lineSize);
    QFETCH(bool, overlong);
    // Leading zeros make the line as long as wanted.
    const QByteArray zeros(lineSize - 13, '0');
    const QByteArray bytes = "CR 00\r\nRDS DM" + zeros + "5.H 1\r\nCQ\r\n";
    const QByteArray replies = overlong ? "CC 00\r\nE1\r\nCF\r\n" : "CC 00\r\n0000\r\nCF\r\n";
    const int chunkSizes[] = {bytes.size(), 1, 4096, 16384};
    for (const int chunkSize : chunkSizes) {
        SimulatedPlc plc;
        QByteArray received;
        for (int at = 0; at < bytes.size(); at += chunkSize)
            received += plc.receive(bytes.mid(at, chunkSize));
        QCOMPARE(received, replies);
    }
}

void TestSimulator::survivesGarbage()
{
    SimulatedPlc plc;
    const char alphabet[] = "CRQDSWTM0159.H \r\n\n\xFF";
    quint32 random = 12345;
    for (int chunk = 0; chunk < 2000; ++chunk) {
        QByteArray bytes;
        for (int i = 0; i < 64; ++i) {
            random = random * 1664525u + 1013904223u;
            const quint32 pick = random >> 16;
            bytes +=
                chunk % 2 == 0 ? static_cast<char>(pick & 0xFF) : alphabet[pick % sizeof alphabet];
        }
        const int lines = bytes.count('\n');
        QVERIFY(plc.receive(bytes).count('\n') <= lines);
    }
    QVERIFY(plc.receive("\r\nCR 00\r\n").endsWith("CC 00\r\n"));
}

void TestSimulator::sessionsShareDevicesOnly()
{
    PlcMemory memory;
    SimulatedPlc first(memory, 1);
    SimulatedPlc second(memory, 1);
    QCOMPARE(first.receive("CR 01\r\nWRS DM1.H 1 0007\r\nRDS DM"), QByteArray("CC 01\r\nOK\r\n"));
    QCOMPARE(second.receive("RDS DM1.H 1\r\n"), QByteArray("E1\r\n"));
    QCOMPARE(second.receive("CR 01\r\nRDS DM1.H 1\r\nCQ\r\n"),
             QByteArray("CC 01\r\n0007\r\nCF\r\n"));
    QCOMPARE(first.receive("1.H 1\r\n"), QByteArray("0007\r\n"));
}

void TestSimulator::presetsByText_data()
{
    QTest::addColumn<QByteArray>("assignment");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<QByteArray>("reply"); // empty: refused
    QTest::newRow("word") << QByteArray("DM100=4660") << QByteArray("RDS DM100.H 1\r\n")
                          << QByteArray("1234\r\n");
    QTest::newRow("channel") << QByteArray("R1200.H=65535") << QByteArray("RDS R1200.H 1\r\n")
                             << QByteArray("FFFF\r\n");
    QTest::newRow("bit") << QByteArray("R1215=1") << QByteArray("RDS R1200.H 1\r\n")
                         << QByteArray("8000\r\n");
    QTest::newRow("timer") << QByteArray("T12=100") << QByteArray("RDS T12 1\r\n")
                           << QByteArray("0,0000000100,0000000000\r\n");
    QTest::newRow("no value") << QByteArray("DM100=") << QByteArray() << QByteArray();
    QTest::newRow("no equals sign") << QByteArray("DM100") << QByteArray() << QByteArray();
    QTest::newRow("empty") << QByteArray() << QByteArray() << QByteArray();
    QTest::newRow("unknown device") << QByteArray("XX1=1") << QByteArray() << QByteArray();
    QTest::newRow("word too large") << QByteArray("DM1=65536") << QByteArray() << QByteArray();
    QTest::newRow("bit too large") << QByteArray("R1=2") << QByteArray() << QByteArray();
}

void TestSimulator::presetsByText()
{
    QFETCH(QByteArray, assignment);
    QFETCH(QByteArray, read);
    QFETCH(QByteArray, reply);
    SimulatedPlc plc;
    open(plc);
    QByteArray error;
    QCOMPARE(plc.memory().preset(assignment, &error), !reply.isEmpty());
    QCOMPARE(error.isEmpty(), !reply.isEmpty());
    QCOMPARE(plc.receive(read), reply);
}

void TestSimulator::directAccessKnowsDeviceLimits()
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

QTEST_APPLESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
