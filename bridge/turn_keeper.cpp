#include "bridge/turn_keeper.h"

#include <limits>

namespace
{

// What a PLC answers that is protected against writing.
const char WRITE_PROTECTED[] = "E4\r\n";

bool isAllowedReadOnly(LineKind kind)
{
    return kind == LineKind::Open || kind == LineKind::Close || kind == LineKind::Read;
}

bool isOpenLine(const QByteArray &line)
{
    return parseLine(line).kind == LineKind::Open;
}

QString secondsText(qint64 ms)
{
    return QString::fromLatin1("%1 s").arg(static_cast<double>(ms) / 1000);
}

} // namespace

TurnKeeper::TurnKeeper(const TurnSettings &settings, TurnSink &sink)
    : m_settings(settings), m_sink(sink), m_queue(settings.backOffMs), m_isBusy(false),
      m_isVoid(false), m_isTurn(false), m_isLone(false), m_isStopping(false), m_holder(0),
      m_begunMs(0), m_quietMs(0)
{
    m_job.beginsTurn = true;
}

void TurnKeeper::connected(int client, const QString &address, qint64 nowMs)
{
    m_clients.insert(client, {ClientLines(), address, nowMs});
    ++m_statistics.of(address).connected;
}

void TurnKeeper::received(int client, const QByteArray &bytes, qint64 nowMs)
{
    const auto found = m_clients.find(client);
    if (found == m_clients.end())
        return;
    const QString reason = found->lines.add(bytes, nowMs);
    if (!reason.isEmpty()) {
        drop(client, reason, nowMs);
        return;
    }
    if (found->lines.isEmpty())
        return;
    found->latestMs = nowMs;
    if (client == m_holder && m_isBusy && isOpenLine(found->lines.first()))
        m_isVoid = true;
    lineUp(client);
    advance(nowMs);
}

void TurnKeeper::gone(int client, qint64 nowMs)
{
    forget(client);
    advance(nowMs);
}

void TurnKeeper::drop(int client, const QString &reason, qint64 nowMs)
{
    if (!m_clients.contains(client))
        return;
    ++m_statistics.of(m_clients[client].address).drops;
    forget(client);
    m_sink.drop(client, reason);
    advance(nowMs);
}

void TurnKeeper::forget(int client)
{
    const auto found = m_clients.find(client);
    if (found == m_clients.end())
        return;
    --m_statistics.of(found->address).connected;
    m_clients.erase(found);
    m_queue.leave(client);
    if (client == m_holder)
        m_holder = 0;
}

// In the order of the client's lines: not before a reply that is still to come.
void TurnKeeper::refuseForbidden(int client)
{
    Client &waiting = m_clients[client];
    while (m_settings.isReadOnly && !waiting.lines.isEmpty() &&
           !isAllowedReadOnly(parseLine(waiting.lines.first()).kind) &&
           !(client == m_holder && m_isBusy)) {
        waiting.lines.take();
        ++m_statistics.of(waiting.address).forbidden;
        m_sink.answer(client, WRITE_PROTECTED);
    }
}

void TurnKeeper::lineUp(int client)
{
    refuseForbidden(client);
    const ClientLines &lines = m_clients[client].lines;
    if (!lines.isEmpty() && client != m_holder)
        m_queue.join(client, parseLine(lines.first()).station);
}

void TurnKeeper::replied(const QByteArray &bytes)
{
    if (m_job.client == 0 || !m_isBusy)
        return;
    m_statistics.of(m_address).replyBytes += static_cast<quint64>(bytes.size());
    if (m_holder != 0 && !m_isVoid)
        m_sink.answer(m_holder, bytes);
}

void TurnKeeper::done(ExchangeEnd end, bool isReached, qint64 nowMs)
{
    if (!m_isBusy)
        return;
    m_isBusy = false;
    m_isVoid = false;
    m_quietMs = nowMs;
    const WireJob job = m_job;
    if (job.client != 0) {
        count(job, end);
        if (m_holder != 0)
            m_clients[m_holder].latestMs = nowMs;
        if (isReached && (m_isLone || isOpenLine(job.line)))
            m_queue.noteFirstLine(job.station, end != ExchangeEnd::NoReply, nowMs);
        m_statistics.silentStations = m_queue.silentStations();
    }
    if (job.client == 0 || !isReached || hasEnded(job, end))
        endTurn();
    else if (m_isLone || (isOpenLine(job.line) && end == ExchangeEnd::NoReply))
        send(0, QByteArray()); // nothing is open
    else if (parseLine(job.line).kind == LineKind::Close)
        cut();
    advance(nowMs);
}

// Whether the communication is closed and no reply is due after a line of a client. After a failed
// exchange that is not sure.
bool TurnKeeper::hasEnded(const WireJob &job, ExchangeEnd end) const
{
    const bool isOver = m_isLone || parseLine(job.line).kind == LineKind::Close;
    return end == ExchangeEnd::Refused ? isOver || isOpenLine(job.line)
                                       : end == ExchangeEnd::Good && isOver;
}

void TurnKeeper::count(const WireJob &job, ExchangeEnd end)
{
    ClientCounts &counts = m_statistics.of(m_address);
    ++counts.exchanges;
    counts.sentBytes += static_cast<quint64>(job.line.size());
    counts.noReplies += end == ExchangeEnd::NoReply;
    counts.badReplies +=
        end != ExchangeEnd::NoReply && end != ExchangeEnd::Good && end != ExchangeEnd::Refused;
}

void TurnKeeper::advance(qint64 nowMs)
{
    if (m_isBusy)
        return;
    if (m_isTurn)
        goOn();
    // A turn may have ended there.
    if (m_isBusy || m_isTurn || m_isStopping)
        return;
    if (const int client = m_queue.take(nowMs))
        beginTurn(client, nowMs);
}

void TurnKeeper::beginTurn(int client, qint64 nowMs)
{
    const QByteArray line = m_clients[client].lines.take();
    m_isTurn = true;
    m_isLone = !isOpenLine(line);
    m_holder = client;
    m_address = m_clients[client].address;
    m_station = parseLine(line).station;
    m_begunMs = nowMs;
    ++m_statistics.of(m_address).turns;
    send(client, line);
    m_job.beginsTurn = false;
}

// Requires: a turn runs, and the wire is free.
void TurnKeeper::goOn()
{
    if (m_holder == 0 || m_isStopping) {
        cut();
        return;
    }
    refuseForbidden(m_holder);
    ClientLines &lines = m_clients[m_holder].lines;
    if (lines.isEmpty())
        return;
    // An open line is the next turn's.
    if (isOpenLine(lines.first()))
        cut();
    else
        send(m_holder, lines.take());
}

void TurnKeeper::send(int client, const QByteArray &line)
{
    m_job.client = client;
    m_job.station = m_station;
    m_job.line = line;
    m_isBusy = true;
    m_sink.send(m_job);
}

void TurnKeeper::cut()
{
    ++m_statistics.of(m_address).cutTurns;
    send(0, closeLine());
}

void TurnKeeper::endTurn()
{
    const int holder = m_holder;
    m_isTurn = false;
    m_holder = 0;
    m_job.beginsTurn = true;
    if (holder != 0)
        lineUp(holder);
}

void TurnKeeper::tick(qint64 nowMs)
{
    const QList<int> clients = m_clients.keys();
    for (int client : clients) {
        const QString reason = whyDrop(client, nowMs);
        if (!reason.isEmpty())
            drop(client, reason, nowMs);
    }
    if (m_isTurn && !m_isBusy && nowMs - m_quietMs > m_settings.turnTimeoutMs) {
        m_sink.note(m_holder, QLatin1String("loses its turn: no line for ") +
                                  secondsText(m_settings.turnTimeoutMs));
        cut();
    }
    advance(nowMs);
}

qint64 TurnKeeper::restMs(qint64 nowMs) const
{
    qint64 endMs = std::numeric_limits<qint64>::max();
    for (const Client &client : m_clients) {
        if (client.lines.hasBegun())
            return 0;
        endMs = qMin(endMs, client.latestMs + m_settings.clientIdleMs + 1);
    }
    return m_isTurn || !m_queue.isEmpty() ? 0 : qMax<qint64>(0, endMs - nowMs);
}

QString TurnKeeper::whyDrop(int client, qint64 nowMs) const
{
    const Client &row = m_clients[client];
    const bool isIdle = client != m_holder && row.lines.isEmpty();
    QString reason = row.lines.check(nowMs);
    if (!reason.isEmpty())
        return reason;
    if (isIdle && nowMs - row.latestMs > m_settings.clientIdleMs)
        return QLatin1String("it sent no line for ") + secondsText(m_settings.clientIdleMs);
    const bool isClosing = m_job.client == 0;
    if (client == m_holder && !isClosing && nowMs - m_begunMs > m_settings.longestTurnMs &&
        m_queue.hasNext(nowMs))
        return QString::fromLatin1("it kept its turn for more than %1 while others waited")
            .arg(secondsText(m_settings.longestTurnMs));
    return QString();
}

void TurnKeeper::stop(qint64 nowMs)
{
    m_isStopping = true;
    advance(nowMs);
}
