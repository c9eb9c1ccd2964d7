#include "simulator/reply_scheduler.h"

#include <limits>

namespace
{

const int US_PER_MS = 1000;
const qint64 NS_PER_MS = 1000000;
const qint64 NS_PER_US = 1000;
const qint64 NS_PER_S = 1000000000;

// Characters of a fast wire leave in batches, as from a serial port's buffer.
const qint64 BATCH_NS = NS_PER_MS;

// What a packet of a common adapter holds besides its two bytes of state.
const int ADAPTER_PACKET = 62;

// As long as a line may grow before an observer sees it in parts.
const int MAX_OBSERVED = 4096;

// Rounded up: no wire is faster than its rate.
qint64 characterTime(const WireTiming &timing)
{
    return timing.baud == 0 ? 0
                            : (timing.bitsPerCharacter * NS_PER_S + timing.baud - 1) / timing.baud;
}

} // namespace

ReplyScheduler::ReplyScheduler(PlcService &service, ReplySink &sink)
    : m_service(service), m_sink(sink), m_plc(service.memory, service.station),
      m_characterNs(characterTime(service.timing)), m_arriving(0), m_departing(0), m_heldUntilNs(0),
      m_inFreeNs(0), m_outFreeNs(0)
{
    QObject::connect(&m_timer, &DeadlineTimer::due, &m_timer, [this]() { work(); });
}

void ReplyScheduler::receive(const QByteArray &bytes)
{
    enqueue(bytes, DeadlineTimer::nowNs());
    work();
}

// Cut at line ends, since each request's reply counts from its own.
void ReplyScheduler::enqueue(const QByteArray &bytes, qint64 nowNs)
{
    m_inFreeNs = qMax(m_inFreeNs, nowNs);
    for (int start = 0; start < bytes.size();) {
        const int length = lineLength(bytes, start);
        if (m_arriving + length > MAX_PENDING)
            return;
        const Arrival arrival = {bytes.mid(start, length), m_inFreeNs + length * m_characterNs};
        m_arriving += length;
        m_arrivals.push_back(arrival);
        m_inFreeNs = arrival.dueNs;
        start += length;
    }
}

void ReplyScheduler::work()
{
    const qint64 now = DeadlineTimer::nowNs();
    if (!m_held.isEmpty())
        handOver(QByteArray(), now);
    sendDue(now);
    while (!m_arrivals.empty() && m_arrivals.front().dueNs <= now) {
        const Arrival arrival = m_arrivals.front();
        m_arrivals.pop_front();
        m_arriving -= arrival.bytes.size();
        obey(arrival);
        sendDue(now);
    }
    rest(now);
}

void ReplyScheduler::sendDue(qint64 nowNs)
{
    while (!m_departures.empty() && advance(&m_departures.front(), nowNs)) {
        const Departure departure = m_departures.front();
        m_departures.pop_front();
        finish(departure);
    }
}

void ReplyScheduler::obey(const Arrival &arrival)
{
    observe('>', arrival.bytes, false, &m_observedIn);
    if (arrival.dueNs < m_service.silentUntilNs)
        return;
    m_service.liveValues.refresh((arrival.dueNs - m_service.startNs) / NS_PER_MS,
                                 &m_service.memory);
    m_plc.append(arrival.bytes);
    const PlcCounts before = m_plc.counts();
    QByteArray line;
    QByteArray reply;
    while (m_plc.takeReply(&line, &reply))
        schedule(line, reply, arrival.dueNs);
    m_service.counts.add(m_plc.counts().since(before));
}

void ReplyScheduler::schedule(const QByteArray &line, const QByteArray &reply, qint64 requestEndNs)
{
    if (reply.isEmpty())
        return;
    if (m_sink.pendingBytes() + m_departing + reply.size() > MAX_PENDING) {
        ++m_service.droppedReplies;
        return;
    }
    const WireTiming &timing = m_service.timing;
    qint64 delayNs = timing.replyDelayMs * NS_PER_MS;
    if (timing.jitterMs > 0)
        delayNs +=
            m_service.jitter() % static_cast<quint32>(timing.jitterMs * US_PER_MS) * NS_PER_US;
    m_outFreeNs = qMax(m_outFreeNs, requestEndNs + delayNs);
    const FaultedReply faulted = m_service.faults.apply(reply, line);
    const QVector<ReplyChunk> chunks = faulted.chunks();
    for (int i = 0; i < chunks.size(); ++i) {
        const ReplyChunk &chunk = chunks.at(i);
        depart(chunk.bytes, m_outFreeNs + chunk.delayUs * NS_PER_US,
               i == chunks.size() - 1 ? REPLY_ENDS : NOTHING, 0);
    }
    if (faulted.closesConnection)
        depart(QByteArray(), m_outFreeNs, CONNECTION_ENDS, faulted.silenceMs);
    else if (faulted.silenceMs > 0)
        depart(QByteArray(), m_outFreeNs, SILENCE_BEGINS, faulted.silenceMs);
}

void ReplyScheduler::depart(const QByteArray &bytes, qint64 startNs, Ending ending, int silenceMs)
{
    const Departure departure = {bytes, startNs, 0, ending, silenceMs};
    m_departing += bytes.size();
    m_outFreeNs = endNs(departure);
    m_departures.push_back(departure);
}

qint64 ReplyScheduler::endNs(const Departure &departure) const
{
    return departure.startNs + departure.bytes.size() * m_characterNs;
}

// Sends the characters that are due. @return whether these were the last ones
bool ReplyScheduler::advance(Departure *departure, qint64 nowNs)
{
    const int size = departure->bytes.size();
    int due = 0;
    if (nowNs >= endNs(*departure))
        due = size;
    else if (nowNs > departure->startNs)
        due = static_cast<int>((nowNs - departure->startNs) / m_characterNs);
    if (due > departure->sent) {
        const QByteArray bytes = departure->bytes.mid(departure->sent, due - departure->sent);
        m_departing -= bytes.size();
        departure->sent = due;
        handOver(bytes, nowNs);
        observe('<', bytes, due == size && departure->ending == REPLY_ENDS, &m_observedOut);
    }
    return nowNs >= endNs(*departure);
}

// Through the adapter, which keeps less than a packet until its time has run.
void ReplyScheduler::handOver(const QByteArray &bytes, qint64 nowNs)
{
    const bool heldNone = m_held.isEmpty();
    m_held += bytes;
    const int packets = m_held.size() - m_held.size() % ADAPTER_PACKET;
    // What is kept then begins with one of these bytes.
    if (heldNone || packets > 0)
        m_heldUntilNs = nowNs + m_service.timing.latencyMs * NS_PER_MS;
    const int due = nowNs >= m_heldUntilNs ? m_held.size() : packets;
    if (due == 0)
        return;
    m_sink.send(m_held.left(due));
    m_held.remove(0, due);
}

void ReplyScheduler::finish(const Departure &departure)
{
    if (departure.ending != SILENCE_BEGINS && departure.ending != CONNECTION_ENDS)
        return;
    m_arrivals.clear();
    m_departures.clear();
    m_arriving = m_departing = 0;
    if (departure.ending == SILENCE_BEGINS || !m_sink.closeConnection())
        m_service.silentUntilNs = endNs(departure) + departure.silenceMs * NS_PER_MS;
}

// Sets the timer for what comes next.
void ReplyScheduler::rest(qint64 nowNs)
{
    qint64 wakeNs = std::numeric_limits<qint64>::max();
    if (!m_arrivals.empty())
        wakeNs = m_arrivals.front().dueNs;
    if (!m_held.isEmpty())
        wakeNs = qMin(wakeNs, m_heldUntilNs);
    if (!m_departures.empty()) {
        const Departure &next = m_departures.front();
        const qint64 characterNs = next.startNs + (next.sent + 1) * m_characterNs;
        wakeNs = qMin(wakeNs, qMin(endNs(next), qMax(characterNs, nowNs + BATCH_NS)));
    }
    if (wakeNs == std::numeric_limits<qint64>::max())
        m_timer.stop();
    else
        m_timer.startAt(wakeNs);
}

void ReplyScheduler::observe(char direction, const QByteArray &bytes, bool ends, QByteArray *line)
{
    for (int start = 0; m_service.observer && start < bytes.size();) {
        const int length = qMin(lineLength(bytes, start), MAX_OBSERVED - line->size());
        *line += bytes.mid(start, length);
        start += length;
        if (isWholeLine(*line) || line->size() == MAX_OBSERVED || (ends && start == bytes.size())) {
            m_service.observer->linePassed(direction, *line);
            line->clear();
        }
    }
}
