// The simulated PLC: any bytes, in any chunks.
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"
#include "simulator/simulated_plc.h"
#include "tests/driver/driver_model.h"

#include <QtCore/QList>

#include <cctype>

namespace
{

const int STATION = 5;
const char OPEN[] = "CR 05\r\n";

// Building a PLC's whole memory for every input would take all the time: two stay, and what an
// input wrote is overwritten by zeros after it.
PlcMemory &memoryOf(int which)
{
    static PlcMemory memories[2];
    return memories[which];
}

bool isItems(const QByteArray &text)
{
    bool right = false;
    for (const char *shape : ITEM_SHAPES)
        right = right || areItems(text, shape);
    return right && text == text.toUpper();
}

// One line that the protocol knows, whatever was asked.
void checkReply(const QByteArray &reply, const QByteArray &line)
{
    if (reply.isEmpty()) {
        fuzzCheck(line.startsWith("CR ") && line != OPEN, "no reply", line);
        return;
    }
    fuzzCheck(reply.endsWith("\r\n") && reply.count('\n') == 1, "a reply that is no line", reply);
    if (reply == "OK\r\n" || reply == "CF\r\n" || reply == "CC 05\r\n" || reply == "E0\r\n" ||
        reply == "E1\r\n")
        return;
    const QByteArray text = reply.left(reply.size() - 2);
    fuzzCheck(line.startsWith("RDS ") && isItems(text), "a reply of no form", reply);
    fuzzSame(line.mid(line.lastIndexOf(' ')).trimmed().toInt(), text.count(' ') + 1,
             "items of a reply");
}

// What is stored where a line points and at the first words, as another session sees it.
QByteArray stored(const QList<QByteArray> &fields, PlcMemory &memory)
{
    SimulatedPlc probe(memory, STATION);
    const QByteArray read = "RDS " + (fields.size() > 1 ? fields.at(1) : QByteArray("EM00000.H"));
    probe.answer(OPEN);
    return probe.answer(read + ' ' + (fields.size() > 2 ? fields.at(2) : QByteArray("1")) +
                        "\r\n") +
           probe.answer(read + " 1\r\n") + probe.answer("RDS DM00000.H 4\r\n");
}

// Answers one line and checks what it did to the memory.
QByteArray answered(SimulatedPlc &plc, const QByteArray &line)
{
    const bool writes = line.startsWith("WRS ") || line.startsWith("ST ") || line.startsWith("RS ");
    const QList<QByteArray> fields = line.trimmed().split(' ');
    const QByteArray before = writes ? stored(fields, plc.memory()) : QByteArray();
    const PlcCounts counts = plc.counts();
    QByteArray reply = plc.receive(line);
    const PlcCounts since = plc.counts().since(counts);
    checkReply(reply, line);
    fuzzSame(1, static_cast<qint64>(since.requests), "the requests counted");
    fuzzSame(reply.startsWith('E') ? 1 : 0, static_cast<qint64>(since.errors),
             "the errors counted");
    if (!writes)
        return reply;
    const QByteArray after = stored(fields, plc.memory());
    if (reply != "OK\r\n") {
        fuzzSame(before, after, "what a refused line left behind");
        return reply;
    }
    // Where a read gives what a write takes, it gives what was written.
    QByteArray values = line.startsWith("WRS ") ? line.trimmed() : QByteArray();
    for (int field = 0; field < 3; ++field)
        values = values.mid(values.indexOf(' ') + 1);
    const QByteArray read = after.left(after.indexOf('\r'));
    if (!values.isEmpty() && read.size() == values.size())
        fuzzSame(values, read, "what was written");
    return reply;
}

// The line again with zeros, or with RS for ST.
QByteArray undoing(const QByteArray &line)
{
    if (line.startsWith("ST "))
        return "RS" + line.mid(2);
    QByteArray zeros = line;
    int field = 0;
    for (int i = 0; line.startsWith("WRS ") && i < zeros.size(); ++i) {
        field += zeros.at(i) == ' ' ? 1 : 0;
        if (field >= 3 && std::isxdigit(static_cast<unsigned char>(zeros.at(i))))
            zeros[i] = '0';
    }
    return zeros;
}

} // namespace

// The length of a first chunk and of all others, then the bytes of the line.
int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    int chunk = static_cast<int>(input.below(64)) + 1;
    const int others = static_cast<int>(input.below(64)) + 1;
    const QByteArray sent = (input.below(2) == 1 ? OPEN : "") + input.rest();

    SimulatedPlc byLine(memoryOf(0), STATION);
    QByteArray replies;
    QByteArray undo = OPEN;
    for (int at = 0, lf = 0; (lf = sent.indexOf('\n', at)) >= 0; at = lf + 1) {
        const QByteArray line = sent.mid(at, lf + 1 - at);
        const QByteArray reply = answered(byLine, line);
        replies += reply;
        if (reply == "OK\r\n")
            undo += undoing(line);
    }
    SimulatedPlc byChunk(memoryOf(1), STATION);
    QByteArray chunkReplies;
    for (int at = 0; at < sent.size(); at += chunk, chunk = at == chunk ? chunk : others)
        chunkReplies += byChunk.receive(sent.mid(at, chunk));
    fuzzSame(replies, chunkReplies, "the replies to the same bytes in chunks");
    fuzzSame(byLine.isOpen(), byChunk.isOpen(), "whether it is open");
    for (int which = 0; which < 2 && undo != OPEN; ++which) {
        const QByteArray undone = SimulatedPlc(memoryOf(which), STATION).receive(undo);
        fuzzCheck(!undone.contains('E'), "a value cannot be overwritten", undo);
    }
    return 0;
}
