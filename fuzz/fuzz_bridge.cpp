// The bridge's turns: clients come, send bytes in any pieces and go; the wire answers, is silent,
// damages replies or is lost; time passes.
#include "bridge/turn_keeper.h"
#include "fuzz/fuzz_check.h"

namespace
{

const char *const LINES[] = {"CR 00\r\n", "CQ\r\n", "RDS DM0.H 1\r\n",      "CR 05\r\n",
                             "ST T1\r\n", "X\n",    "CR 00\r\nCR 05\r\n\r", "CQ\r\nCQ\r\n"};
const int TIMES_MS[] = {1, 40, 700, 1001, 5000, 10001, 20001, 600001};
enum { GOOD, REFUSED, LINE_LOST, DAMAGED, REPLY_LOST, PORT_LOST, WAYS };
const ExchangeEnd ENDS[] = {ExchangeEnd::Good,    ExchangeEnd::Refused, ExchangeEnd::NoReply,
                            ExchangeEnd::Damaged, ExchangeEnd::NoReply, ExchangeEnd::NoReply};
const int MAX_PEERS = 6;

struct Peer {
    QByteArray outbox;  // not sent to the bridge yet
    QByteArray waiting; // sent, but not passed on to the PLC
    int begun = 0;      // where the line in it begins that has no end yet
    int passed = 0;     // turns of others that began while a line waited
};

// The clients, the PLC, and what they may expect of the bridge.
struct Plant : private TurnSink {
    Plant() : keeper(limits, *this) {}

    void step(FuzzInput &input)
    {
        const unsigned what = input.below(10);
        const int client = latest - static_cast<int>(input.below(4));
        if (what == 0 && peers.size() < MAX_PEERS)
            keeper.connected(peers.insert(++latest, Peer()).key(), "a", nowMs);
        else if (what <= 3 && peers.contains(client))
            pass(client, input.below(9), static_cast<int>(input.below(32)));
        else if (what == 4 && peers.remove(client))
            keeper.gone(client, nowMs);
        else if (what == 5)
            tick(TIMES_MS[input.below(8)]);
        else if (what == 6)
            reply(QByteArray::number(input.below(256)));
        else if (what == 7 && (isStopped = isStopped || input.below(16) == 1))
            keeper.stop(nowMs);
        else
            finish(input.below(WAYS));
    }

    // Clients send no more. Whatever waits has its turn, and then all go.
    void rest(unsigned way)
    {
        for (int i = 0; i < 2000 && !(keeper.isAtRest() && (isStopped || !isAnyWaiting())); ++i)
            isBusy ? finish(way) : tick(11000);
        fuzzCheck(keeper.isAtRest() && !isBusy && (isStopped || !isAnyWaiting()),
                  "a wait for ever");
        const QList<int> clients = peers.keys();
        for (int client : clients)
            keeper.gone(client, nowMs);
        const ClientCounts counts = keeper.statistics().total();
        fuzzCheck(!isBusy && counts.connected == 0 && counts.turns == turns, "the counts");
    }

    bool isAnySilent() const { return keeper.statistics().silentStations > 0; }

    bool isAnyWaiting() const
    {
        return std::any_of(peers.begin(), peers.end(), [this](const Peer &peer) {
            return peer.begun > 0 && &peer != &*peers.find(keeper.holder());
        });
    }

    void pass(int client, unsigned which, int length)
    {
        Peer &peer = peers[client];
        peer.outbox += which < 8 ? QByteArray(LINES[which]) : QByteArray(5000, 'X');
        const QByteArray bytes = peer.outbox.left(length > 0 ? length : peer.outbox.size());
        peer.outbox.remove(0, bytes.size());
        peer.waiting += bytes;
        for (int end; (end = peer.waiting.indexOf('\n', peer.begun) + 1) > 0; peer.begun = end) {
            if (!peer.waiting.mid(peer.begun, end - peer.begun).startsWith("CR 0"))
                continue;
            isVoid = isVoid || client == job.client;
            peer.waiting.remove(0, peer.begun);
            end -= peer.begun;
        }
        keeper.received(client, bytes, nowMs);
        const int waiting = peers.value(client).waiting.size();
        fuzzCheck(waiting <= ClientLines::MAX_WAITING + ClientLines::MAX_LINE, "too many bytes");
    }

    void tick(int ms)
    {
        keeper.tick(nowMs += ms);
        fuzzCheck(keeper.holder() == 0 || isCut || isAnySilent() || !isAnyWaiting() ||
                      nowMs - begunMs <= limits.longestTurnMs,
                  "a turn that others wait for too long");
    }

    void reply(const QByteArray &bytes)
    {
        answered.clear();
        isReplying = true;
        keeper.replied(bytes);
        isReplying = false;
        const bool isExpected = isBusy && !isVoid && peers.contains(job.client);
        fuzzCheck(answered == (isExpected ? bytes : ""), "a reply that its client lacks");
    }

    void finish(unsigned way)
    {
        if (!isBusy)
            return;
        const LineKind line = parseLine(job.line).kind;
        if (line == LineKind::Open)
            isOpen = isOpen || way == GOOD || way >= DAMAGED;
        isOpen = isOpen && (line != LineKind::Close || way == LINE_LOST);
        isDirty = job.client != 0 && way != PORT_LOST && (isOpen || way > REFUSED);
        isOpen = isOpen && isDirty;
        isBusy = false;
        keeper.done(ENDS[way], way != PORT_LOST, nowMs);
    }

    void begin(int client)
    {
        fuzzCheck(!isDirty, "a turn that begins before the wire is at rest");
        owner = client;
        isCut = false;
        begunMs = nowMs;
        ++turns;
        for (auto it = peers.begin(); it != peers.end(); ++it) {
            const bool waits = it->begun > 0 && it.key() != owner && !isAnySilent();
            it->passed = waits ? it->passed + 1 : 0;
            fuzzCheck(it->passed <= MAX_PEERS, "a client that others overtake");
        }
    }

    void send(const WireJob &task) override
    {
        fuzzCheck(!isBusy, "two lines at a time");
        isBusy = true;
        isVoid = false;
        job = task;
        if (job.beginsTurn)
            begin(job.client);
        isCut = isCut || job.client == 0;
        fuzzCheck(job.client == (isCut ? 0 : owner), "an exchange is mixed");
        if (job.client == 0)
            return;
        fuzzCheck(peers.contains(job.client), "a line of a client that has gone");
        Peer &peer = peers[job.client];
        fuzzCheck(peer.waiting.startsWith(job.line), "a line that the client did not send next");
        peer.waiting.remove(0, job.line.size());
        peer.begun -= job.line.size();
    }

    void answer(int client, const QByteArray &bytes) override
    {
        fuzzCheck(isReplying && client == job.client, "an answer to the wrong client");
        answered += bytes;
    }

    void drop(int client, const QString &) override
    {
        fuzzCheck(peers.remove(client) == 1, "a client dropped twice");
    }

    void note(int, const QString &) override {}

    const TurnSettings limits;
    TurnKeeper keeper;
    QMap<int, Peer> peers;
    WireJob job;
    QByteArray answered;
    int latest = 0;
    qint64 nowMs = 0, begunMs = 0; // and when the turn began
    quint64 turns = 0;
    int owner = 0; // of the turn
    bool isBusy = false, isVoid = false, isCut = true, isReplying = false, isStopped = false;
    bool isOpen = false, isDirty = false; // the PLC; and the wire, until the bridge clears it
};

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    const unsigned way = input.below(WAYS);
    Plant plant;
    while (!input.atEnd())
        plant.step(input);
    plant.rest(way);
    return 0;
}
