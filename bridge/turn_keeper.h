/// The rules of the bridge: whose line goes to the PLC, and who gets the reply.
#ifndef BRIDGE_TURN_KEEPER_H
#define BRIDGE_TURN_KEEPER_H

#include "bridge/bridge_statistics.h"
#include "bridge/client_lines.h"
#include "bridge/turn_queue.h"
#include "runtime/wire_line.h"

#include <QtCore/QMap>

/// What users set of the turns; times in milliseconds.
struct TurnSettings {
    /// A client that sends no line for so long in its turn loses it: twice the driver's time-out,
    /// so that a line lost on the way is not the end of the turn.
    qint64 turnTimeoutMs = 1000;

    /// A client that keeps its turn for longer while others wait is dropped: longer than any
    /// request with its late replies, short enough for the others' patience.
    qint64 longestTurnMs = 10000;

    /// Between two turns at a silent station: an open line to it costs up to two time-outs of 500
    /// ms, so that it takes a tenth of the wire at most.
    qint64 backOffMs = 10000;

    /// A client that sends nothing for so long is dropped: its machine may be gone. Panels and
    /// loggers ask far more often.
    qint64 clientIdleMs = 600000;

    /// Refuse all lines but open and close lines and reads.
    bool isReadOnly = false;
};

/// One task for the wire to the PLC.
struct WireJob {
    int client = 0;          ///< whose line it is; 0 for the bridge's own
    QByteArray station;      ///< that the turn is for, as in the open line; empty for none
    QByteArray line;         ///< to send; empty only to bring the wire to rest
    bool beginsTurn = false; ///< nothing was sent in this turn before
};

/// Does what the rules say.
class TurnSink
{
public:
    virtual ~TurnSink() {}

    /// Sends a line and waits for its reply. No other task comes before the keeper's `done`.
    virtual void send(const WireJob &job) = 0;

    /// Gives a client bytes.
    virtual void answer(int client, const QByteArray &bytes) = 0;

    /// Ends a connection. The keeper has forgotten the client already.
    virtual void drop(int client, const QString &reason) = 0;

    /// Logs what concerns a client.
    virtual void note(int client, const QString &text) = 0;
};

/// Gives clients turns one after the other. A turn goes from a client's open line to the reply to
/// its close line; any other line outside a turn is a turn by itself. Between two turns the
/// communication with the PLC is closed and no reply is due. Works without clock, socket and thread;
/// times are those of one monotonic clock, in milliseconds. Any calls in any order are safe.
class TurnKeeper
{
public:
    /// @param sink outlives the keeper; calls of it do not call the keeper
    TurnKeeper(const TurnSettings &settings, TurnSink &sink);

    /// A client is there. @param client 1 or more, never used before @param address for the counts
    void connected(int client, const QString &address, qint64 nowMs);

    /// Bytes came from a client.
    void received(int client, const QByteArray &bytes, qint64 nowMs);

    /// A client has gone.
    void gone(int client, qint64 nowMs);

    /// Ends a client's connection. @param reason for the log, such as "it does not read its replies"
    void drop(int client, const QString &reason, qint64 nowMs);

    /// A part of the reply to the line that was sent last.
    void replied(const QByteArray &bytes);

    /// The task sent last is done.
    /// @param isReached false when the port was down, so that nothing is known of the station
    void done(ExchangeEnd end, bool isReached, qint64 nowMs);

    /// Time has passed; to be called some times a second, or when `restMs` is over.
    void tick(qint64 nowMs);

    /// How long no `tick` changes anything, in milliseconds, if nothing else is called meanwhile; 0
    /// while a turn runs, or a client waits or is in the middle of a line. The longest one without
    /// clients.
    qint64 restMs(qint64 nowMs) const;

    /// Begins no further turn, and ends a running one after its exchange.
    void stop(qint64 nowMs);

    /// Whether no turn runs.
    bool isAtRest() const { return !m_isTurn; }

    /// Whose turn it is; 0 for none or for a client that has gone.
    int holder() const { return m_holder; }

    const BridgeStatistics &statistics() const { return m_statistics; }

private:
    Q_DISABLE_COPY(TurnKeeper)

    struct Client {
        ClientLines lines;
        QString address;
        qint64 latestMs; // when it sent a line or got a reply
    };

    void forget(int client);
    void lineUp(int client);
    void refuseForbidden(int client);
    bool hasEnded(const WireJob &job, ExchangeEnd end) const;
    void count(const WireJob &job, ExchangeEnd end);
    void advance(qint64 nowMs);
    void beginTurn(int client, qint64 nowMs);
    void goOn();
    void send(int client, const QByteArray &line);
    void cut();
    void endTurn();
    QString whyDrop(int client, qint64 nowMs) const;

    const TurnSettings m_settings;
    TurnSink &m_sink;
    TurnQueue m_queue;
    QMap<int, Client> m_clients;
    BridgeStatistics m_statistics;
    WireJob m_job; // the task sent last
    bool m_isBusy; // it is not done
    bool m_isVoid; // nobody waits for its reply
    bool m_isTurn; // a turn runs
    bool m_isLone; // which is a single line
    bool m_isStopping;
    int m_holder;      // whose turn it is; 0 for a client that has gone
    QString m_address; // the same client's
    QByteArray m_station;
    qint64 m_begunMs; // when the turn began
    qint64 m_quietMs; // since when it waits for a line
};

#endif
