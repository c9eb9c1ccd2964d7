#include "simulator/fault_kinds.h"

#include "simulator/line_splitter.h"

namespace
{

typedef std::mt19937 Chance;

const int OPENED_SIZE = 7;
const int OPENED_DIGITS = 3;

int randomBelow(int below, Chance &chance)
{
    return static_cast<int>(chance() % static_cast<quint32>(below));
}

// Bytes that no reply has, or noise could turn one good reply into another.
QByteArray noise(int size, Chance &chance)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(0x80 + randomBelow(0x80, chance));
    return bytes;
}

bool isOpened(const QByteArray &reply, int)
{
    return reply.startsWith("CC ") && reply.size() == OPENED_SIZE;
}

bool isClosed(const QByteArray &reply, int)
{
    return reply == "CF\r\n";
}

bool isLongerThan(const QByteArray &reply, int size)
{
    return reply.size() > qMax(size, 1);
}

bool hasInside(const QByteArray &reply, int)
{
    return reply.size() > 1;
}

// Without a limit, some thirty doublings would fill the machine.
bool hasRoomFor(const QByteArray &reply, int size)
{
    return reply.size() + size <= FaultKind::MAX_REPLY;
}

bool hasInsideAndRoomFor(const QByteArray &reply, int size)
{
    return hasInside(reply, size) && hasRoomFor(reply, size);
}

bool hasRoomTwice(const QByteArray &reply, int)
{
    return hasRoomFor(reply, reply.size());
}

bool hasRoomForLine(const QByteArray &reply, int)
{
    return hasRoomFor(reply, LineSplitter::MAX_LINE);
}

void sendNothing(int, Chance &, FaultedReply *reply)
{
    reply->bytes.clear();
}

void fallSilent(int seconds, Chance &, FaultedReply *reply)
{
    reply->bytes.clear();
    reply->silenceMs = seconds * 1000;
}

void closeConnection(int seconds, Chance &chance, FaultedReply *reply)
{
    fallSilent(seconds, chance, reply);
    reply->closesConnection = true;
}

void sendError(int digit, Chance &, FaultedReply *reply)
{
    reply->bytes = "E" + QByteArray::number(digit) + "\r\n";
}

void openNextStation(int, Chance &, FaultedReply *reply)
{
    const int station = (reply->bytes.mid(OPENED_DIGITS, 2).toInt() + 1) % 100;
    reply->bytes = "CC " + QByteArray::number(station).rightJustified(2, '0') + "\r\n";
}

void closeWithOk(int, Chance &, FaultedReply *reply)
{
    reply->bytes = "OK\r\n";
}

void addNoiseBefore(int size, Chance &chance, FaultedReply *reply)
{
    reply->bytes.prepend(noise(size, chance));
}

void addNoiseInside(int size, Chance &chance, FaultedReply *reply)
{
    const QByteArray bytes = noise(size, chance);
    reply->bytes.insert(1 + randomBelow(reply->bytes.size() - 1, chance), bytes);
}

void addNoiseAfter(int size, Chance &chance, FaultedReply *reply)
{
    reply->bytes.append(noise(size, chance));
}

void cut(int size, Chance &chance, FaultedReply *reply)
{
    reply->bytes.truncate(
        size == FaultKind::ANYWHERE ? 1 + randomBelow(reply->bytes.size() - 1, chance) : size);
}

void sendTwice(int, Chance &, FaultedReply *reply)
{
    reply->bytes = reply->bytes.repeated(2);
}

void putLineBefore(int, Chance &, FaultedReply *reply)
{
    reply->bytes.prepend(reply->line);
}

void split(int gapMs, Chance &, FaultedReply *reply)
{
    reply->gapMs = gapMs;
}

void sendLate(int delayMs, Chance &, FaultedReply *reply)
{
    reply->delayMs = delayMs;
}

// In the order in which several of them are applied to one reply.
// clang-format off
const FaultKind KINDS[] = {
    // name, parameter, min, max, usual, fits, damage
    {"no-reply", 0, 0, 0, 0, 0, sendNothing},
    {"close-connection", "a number of seconds", 0, 3600, 1, 0, closeConnection},
    {"silence", "a number of seconds", 0, 3600, 5, 0, fallSilent},
    {"error-reply", "an error digit", 0, 9, 0, 0, sendError},
    {"wrong-station", 0, 0, 0, 0, isOpened, openNextStation},
    {"wrong-close", 0, 0, 0, 0, isClosed, closeWithOk},
    {"noise-before", "a number of bytes", 1, 1000, 1, hasRoomFor, addNoiseBefore},
    {"noise-inside", "a number of bytes", 1, 1000, 1, hasInsideAndRoomFor, addNoiseInside},
    {"noise-after", "a number of bytes", 1, 1000, 1, hasRoomFor, addNoiseAfter},
    {"cut", "a number of kept bytes", 1, 100000, FaultKind::ANYWHERE, isLongerThan, cut},
    {"doubled", 0, 0, 0, 0, hasRoomTwice, sendTwice},
    {"echo", 0, 0, 0, 0, hasRoomForLine, putLineBefore},
    {"split", "a number of ms between bytes", 0, 10000, 1, hasInside, split},
    {"late", "a number of ms", 1, 600000, 1000, 0, sendLate},
};
// clang-format on

} // namespace

QVector<ReplyChunk> FaultedReply::chunks() const
{
    QVector<ReplyChunk> pieces;
    const int size = gapMs == IN_ONE_PIECE ? bytes.size() : 1;
    for (int at = 0; at < bytes.size(); at += size)
        pieces.append(ReplyChunk(bytes.mid(at, size), (at == 0 ? delayMs : gapMs) * 1000));
    return pieces;
}

const FaultKind *findFaultKind(const QByteArray &name)
{
    for (const FaultKind &kind : KINDS) {
        if (name == kind.name)
            return &kind;
    }
    return 0;
}

QByteArray knownFaults()
{
    QByteArray names;
    for (const FaultKind &kind : KINDS)
        names += (names.isEmpty() ? "" : ", ") + QByteArray(kind.name);
    return names;
}
