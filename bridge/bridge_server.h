/// The bridge's clients on TCP, and their way to the PLC.
#ifndef BRIDGE_BRIDGE_SERVER_H
#define BRIDGE_BRIDGE_SERVER_H

#include "bridge/plc_wire.h"
#include "bridge/turn_keeper.h"
#include "runtime/tcp_port.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QPair>
#include <QtCore/QVector>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpServer>

#include <functional>

#include <poll.h>

class QTcpSocket;
class TraceLog;

/// Addresses with the same first bits: the address, and how many bits.
using AddressRange = QPair<QHostAddress, int>;

/// What users set of a bridge.
struct BridgeSettings {
    LinkOptions link;     ///< port or tcp is not empty
    TcpAddress listen;    ///< where clients connect
    int timeoutMs = 500;  ///< wait for the PLC, in milliseconds; the driver's default
    int pauseMs = 0;      ///< least time between two turns, in milliseconds
    int maxClients = 128; ///< connections at a time; each takes a descriptor of the process
    QVector<AddressRange> allowed; ///< of clients
    TurnSettings turns;
};

/// Serves any number of clients, also while it waits for the PLC.
class BridgeServer : public QObject, private TurnSink
{
    Q_OBJECT
public:
    /// Replies that a client may leave unread, in bytes, before it is dropped.
    enum { MAX_UNREAD = 65536 };

    /// @param settings outlive the server
    /// @param log      is given a text for people
    /// @param trace    gets each line and outlives the server; null for none
    BridgeServer(const BridgeSettings &settings, const std::function<void(const QString &)> &log,
                 TraceLog *trace);
    ~BridgeServer() override;

    /// Opens the port to the PLC, and listens from then on. Requires: called once.
    /// @return StatusUsage or StatusOpen
    Failure start();

    /// Where it listens, HOST:PORT with the port in use. Requires: `start` succeeded.
    QString place() const;

    /// Waits for events of the thread, and does what they ask for; to be called again and again, each
    /// time with `work` behind it.
    void wait();

    /// Does what the events have brought for the wire, and meanwhile what other events ask for.
    void work() { m_wire.work(); }

    /// Time has passed; to be called some times a second, also during `work`, or when `restMs` is
    /// over.
    void tick();

    /// How long no `tick` changes anything, in milliseconds, if no event comes; 0 for not at all.
    qint64 restMs() const { return m_turns.restMs(m_clock.elapsed()); }

    /// Accepts nobody any more, and ends the running turn after its exchange.
    void stop();

    /// Whether no turn runs.
    bool isAtRest() const { return m_turns.isAtRest(); }

    BridgeStatistics statistics() const;

private:
    Q_DISABLE_COPY(BridgeServer)

    void acceptClients();
    void accept(QTcpSocket *socket);
    bool waitForWire(int wire, qint64 ms);
    QString whyRefused(const QHostAddress &address) const;
    void traceReply();

    void send(const WireJob &job) override;
    void answer(int client, const QByteArray &bytes) override;
    void drop(int client, const QString &reason) override;
    void note(int client, const QString &text) override;

    struct Peer {
        QTcpSocket *socket;
        QString place; // HOST:PORT, which the socket forgets
    };

    const BridgeSettings &m_settings;
    const std::function<void(const QString &)> m_log;
    TraceLog *const m_trace;
    TurnKeeper m_turns;
    PlcWire m_wire;
    QTcpServer m_server;
    QElapsedTimer m_clock;
    QMap<int, Peer> m_peers;
    QVector<pollfd> m_polled; // the wire and the clients, while the wire is waited for
    int m_latestClient;
    quint64 m_lostPorts;
    QByteArray m_line;  // that is with the wire
    int m_tracedClient; // whose line that is; 0 for the bridge's own
    QString m_tracedName;
    QByteArray m_reply; // to it, so far
};

#endif
