// The simulated PLC: any bytes in any chunks, and the texts that kvsim takes.
#include "fuzz/fuzz_check.h"
#include "items/memory_runs.h"
#include "simulator/fault_plan.h"
#include "simulator/live_values.h"
#include "simulator/memory_image.h"
#include "simulator/plc_values.h"
#include "simulator/simulated_plc.h"

#include <QtCore/QList>

#include <cstring>

namespace
{

const char OPEN[] = "CR 05\r\n";

// One of two memories, all zero. To build one takes far longer than to copy it.
PlcMemory &emptyMemory(int which)
{
    static const PlcMemory zeros;
    static PlcMemory memories[2];
    memories[which] = zeros;
    return memories[which];
}

// Answers one line. What was written reads back where a read gives what a write takes.
QByteArray answered(SimulatedPlc &plc, const QByteArray &line)
{
    const PlcCounts counts = plc.counts();
    const QByteArray reply = plc.receive(line);
    const PlcCounts since = plc.counts().since(counts);
    fuzzCheck(since.requests == 1 && since.errors == (reply.startsWith('E') ? 1 : 0), "the counts");
    bool formed = reply.endsWith("\r\n") || (reply.isEmpty() && line.startsWith("CR "));
    for (int i = 0; i < reply.size() - 2; ++i)
        formed = formed && reply.at(i) >= ' ' && reply.at(i) <= 'Z';
    fuzzCheck(formed, "a reply that is no line");
    const QList<QByteArray> fields = line.trimmed().split(' ');
    if (reply == "OK\r\n" && line.startsWith("WRS ")) {
        const QByteArray read = plc.answer("RDS " + fields[1] + ' ' + fields[2] + "\r\n").trimmed();
        fuzzCheck(read.split(' ') == fields.mid(3) || read.size() != fields.mid(3)[0].size(),
                  "what was written");
    }
    return reply;
}

// The length of a first chunk and of all others, whether the line is open, then its bytes.
void checkLines(FuzzInput &input)
{
    int chunk = static_cast<int>(input.below(64)) + 1;
    const int others = static_cast<int>(input.below(64)) + 1;
    const QByteArray sent = (input.below(2) == 1 ? OPEN : "") + input.rest();
    SimulatedPlc byLine(emptyMemory(0), 5), byChunk(emptyMemory(1), 5);
    QByteArray replies, chunkReplies;
    for (int at = 0, lf = 0; (lf = sent.indexOf('\n', at)) >= 0; at = lf + 1)
        replies += answered(byLine, sent.mid(at, lf + 1 - at));
    for (int at = 0; at < sent.size(); at += chunk, chunk = at == chunk ? chunk : others)
        chunkReplies += byChunk.receive(sent.mid(at, chunk));
    fuzzCheck(replies == chunkReplies && byLine.isOpen() == byChunk.isOpen(),
              "the replies to the same bytes in chunks");
}

// Faults, live values, an image or an assignment. A refused text has its reason and leaves nothing.
void checkText(char subject, const QByteArray &text)
{
    PlcMemory &memory = emptyMemory(0);
    FaultPlan plan;
    LiveValues live;
    QByteArray error;
    const bool good = subject == 'f'   ? plan.addOption(text, &error)
                      : subject == 'F' ? plan.addFile(text, &error)
                      : subject == 'v' ? live.add(text, &error)
                      : subject == 'm'
                          ? loadPlcMemoryImage("device,value\n" + text, &memory, &error)
                          : memory.assign(text, &error);
    fuzzCheck(good == error.isEmpty() && (good || (plan.rules().empty() && live.isEmpty())),
              "a refused text");
    QVector<MemoryRun> runs;
    const bool restores = !parseMemoryImage("device,value\n" + text, &runs);
    fuzzCheck(subject != 'm' || restores || !good, "an image that kvsim loads");
    for (const FaultRule &rule : plan.rules())
        fuzzCheck(rule.probability >= 0 && rule.probability <= 1 && rule.number >= 1, "a rate");
    PlcPoint point;
    if (parsePlcItemName(text.left(text.indexOf('=')), &point) != PLC_ACCEPTED)
        return fuzzCheck(live.isEmpty() && (subject != 'p' || !good), "a device that there is not");
    live.refresh(qint64(text.size()) << 12, &memory);
    const quint32 value = memory.value(point.area, point.written, point.index);
    fuzzCheck(value <= largestPlcValue(point.written), "a live value");
    fuzzCheck(subject != 'p' || value == (good ? text.mid(text.indexOf('=') + 1).toLongLong() : 0),
              "an assigned value");
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    const char subject = size > 0 && std::strchr("fFvmp", *bytes) ? input.character() : '\0';
    if (subject)
        checkText(subject, input.rest());
    else
        checkLines(input);
    return 0;
}
