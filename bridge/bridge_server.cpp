#include "bridge/bridge_server.h"

#include "runtime/device_channel.h"
#include "runtime/stop_request.h"
#include "runtime/trace_log.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QTcpSocket>

#include <algorithm>

#include <sys/resource.h>

namespace
{

// For all but the clients: the standard streams, the wire, the event loop, the trace, the metrics.
const rlim_t OTHER_DESCRIPTORS = 64;

// How long the wire is waited for before the event loop has its turn.
const int WAIT_SLICE_MS = 20;

// After a stop, the end of a wait for a PLC that does not answer; one that does is done long before.
const int LAST_EXCHANGE_MS = 1000;

// An IPv4 address as such, also where it reached a socket of IPv6.
QHostAddress plainAddress(const QHostAddress &address)
{
    bool isIPv4 = false;
    const quint32 number = address.toIPv4Address(&isIPv4);
    return isIPv4 ? QHostAddress(number) : address;
}

// Without a free descriptor Qt would try to accept a connection again and again, without a pause.
Failure reserveDescriptors(int clients)
{
    const rlim_t needed = OTHER_DESCRIPTORS + static_cast<rlim_t>(clients);
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur >= needed)
        return Failure();
    limit.rlim_cur = needed;
    if (setrlimit(RLIMIT_NOFILE, &limit) == 0)
        return Failure();
    return Failure(StatusUsage,
                   QString::fromLatin1("%1 clients need %2 file descriptors, of which the process "
                                       "may have %3; give fewer by --max-clients")
                       .arg(clients)
                       .arg(needed)
                       .arg(limit.rlim_max));
}

QString clientText(int client, const QString &place)
{
    return QString::fromLatin1("client #%1 %2: ").arg(QString::number(client), place);
}

} // namespace

BridgeServer::BridgeServer(const BridgeSettings &settings,
                           const std::function<void(const QString &)> &log, TraceLog *trace)
    : m_settings(settings), m_log(log), m_trace(trace), m_turns(settings.turns, *this),
      m_wire(settings.link, settings.timeoutMs, settings.pauseMs,
             [this](int wire, qint64 ms) { return waitForWire(wire, ms); }),
      m_latestClient(0), m_lostPorts(0), m_tracedClient(0)
{
    m_clock.start();
    connect(&m_server, &QTcpServer::newConnection, this, &BridgeServer::acceptClients);
    if (m_trace) {
        connect(&m_wire, &PlcWire::sending, this,
                [this] { m_trace->line('>', m_line, m_tracedClient, m_tracedName); });
    }
    connect(&m_wire, &PlcWire::replied, this, [this](const QByteArray &bytes) {
        if (m_trace)
            m_reply += bytes;
        m_turns.replied(bytes);
    });
    connect(&m_wire, &PlcWire::done, this, [this](ExchangeEnd end, bool isReached) {
        traceReply();
        m_turns.done(end, isReached, m_clock.elapsed());
    });
    connect(&m_wire, &PlcWire::noted, this, [this](const QString &text, bool isLoss) {
        m_lostPorts += isLoss;
        m_log(text);
    });
}

// The sockets outlive the maps of this object otherwise.
BridgeServer::~BridgeServer()
{
    for (const Peer &peer : qAsConst(m_peers)) {
        peer.socket->disconnect(this);
        delete peer.socket;
    }
}

Failure BridgeServer::start()
{
    QHostAddress host(QHostAddress::LocalHost);
    if (m_settings.listen.host != QLatin1String("localhost") &&
        !host.setAddress(m_settings.listen.host))
        return Failure(StatusUsage,
                       QString::fromLatin1("\"%1\": expected an address of this machine or "
                                           "localhost to listen at")
                           .arg(m_settings.listen.host));
    if (Failure failure = reserveDescriptors(m_settings.maxClients))
        return failure;
    if (Failure failure = m_wire.start())
        return failure;
    if (m_server.listen(host, m_settings.listen.port))
        return Failure();
    return Failure(StatusOpen,
                   QString::fromLatin1("cannot listen at %1: %2")
                       .arg(tcpAddressText(m_settings.listen.host, m_settings.listen.port),
                            m_server.errorString()));
}

QString BridgeServer::place() const
{
    return tcpAddressText(m_settings.listen.host, m_server.serverPort());
}

void BridgeServer::acceptClients()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection())
        accept(socket);
}

QString BridgeServer::whyRefused(const QHostAddress &address) const
{
    const auto &allowed = m_settings.allowed;
    if (std::none_of(allowed.begin(), allowed.end(),
                     [&address](const AddressRange &range) { return address.isInSubnet(range); }))
        return QLatin1String("refused: its address is not allowed");
    if (m_peers.size() >= m_settings.maxClients)
        return QString::fromLatin1("refused: %1 clients are connected, the most that may be")
            .arg(m_peers.size());
    return QString();
}

void BridgeServer::accept(QTcpSocket *socket)
{
    const int client = ++m_latestClient;
    const QHostAddress address = plainAddress(socket->peerAddress());
    const QString place = tcpAddressText(address.toString(), socket->peerPort());
    const QString reason = whyRefused(address);
    if (!reason.isEmpty()) {
        m_log(clientText(client, place) + reason);
        socket->abort();
        socket->deleteLater();
        return;
    }
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    m_peers.insert(client, {socket, place});
    m_turns.connected(client, address.toString(), m_clock.elapsed());
    connect(socket, &QTcpSocket::readyRead, this, [this, client, socket] {
        m_turns.received(client, socket->readAll(), m_clock.elapsed());
    });
    // Later, as a write may notice it in the midst of the keeper's work.
    connect(
        socket, &QTcpSocket::disconnected, this,
        [this, client, socket] {
            m_peers.remove(client);
            m_turns.gone(client, m_clock.elapsed());
            socket->deleteLater();
        },
        Qt::QueuedConnection);
}

void BridgeServer::wait()
{
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

// The wire is waited for here, and not in the event loop, as each exchange does it: the loop's own
// work for a descriptor and a timer that come and go costs more than the wait. What has no
// descriptor here, such as new connections and timers, waits for a slice at most.
bool BridgeServer::waitForWire(int wire, qint64 ms)
{
    QElapsedTimer waiting;
    waiting.start();
    for (qint64 leftMs = ms; leftMs > 0; leftMs = ms - waiting.elapsed()) {
        if (stopRequested() && msSinceStop() >= LAST_EXCHANGE_MS)
            break;
        m_polled.clear();
        m_polled.append({wire, POLLIN, 0});
        for (const Peer &peer : qAsConst(m_peers))
            m_polled.append({static_cast<int>(peer.socket->socketDescriptor()), POLLIN, 0});
        poll(m_polled.data(), static_cast<nfds_t>(m_polled.size()),
             static_cast<int>(qMin<qint64>(leftMs, WAIT_SLICE_MS)));
        if (m_polled.first().revents != 0)
            return true;
        QCoreApplication::processEvents();
    }
    return false;
}

void BridgeServer::tick()
{
    const QList<int> clients = m_peers.keys();
    for (int client : clients) {
        if (m_peers.contains(client) && m_peers[client].socket->bytesToWrite() > MAX_UNREAD)
            m_turns.drop(client, QLatin1String("it does not read its replies"), m_clock.elapsed());
    }
    m_turns.tick(m_clock.elapsed());
}

void BridgeServer::stop()
{
    m_server.close();
    m_turns.stop(m_clock.elapsed());
}

BridgeStatistics BridgeServer::statistics() const
{
    BridgeStatistics statistics = m_turns.statistics();
    statistics.lostPorts = m_lostPorts;
    return statistics;
}

void BridgeServer::send(const WireJob &job)
{
    m_line = job.line;
    m_tracedClient = job.client;
    m_tracedName = job.client == 0 ? QLatin1String("kvbridge") : m_peers.value(job.client).place;
    m_wire.send(job);
}

void BridgeServer::traceReply()
{
    int start = 0;
    while (m_trace && start < m_reply.size()) {
        const int lf = m_reply.indexOf('\n', start);
        const int end = lf < 0 ? m_reply.size() : lf + 1;
        m_trace->line('<', m_reply.mid(start, end - start), m_tracedClient, m_tracedName);
        start = end;
    }
    m_reply.clear();
}

void BridgeServer::answer(int client, const QByteArray &bytes)
{
    QTcpSocket *const socket = m_peers.value(client).socket;
    if (!socket || !socket->isOpen())
        return;
    socket->write(bytes);
    // Not left to the event loop, which may have other clients to read first.
    socket->flush();
}

void BridgeServer::drop(int client, const QString &reason)
{
    note(client, QLatin1String("dropped: ") + reason);
    if (QTcpSocket *const socket = m_peers.value(client).socket)
        socket->abort();
}

void BridgeServer::note(int client, const QString &text)
{
    m_log(clientText(client, m_peers.value(client).place) + text);
}
