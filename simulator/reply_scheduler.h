/// One wire to the simulated PLC: when its requests have passed it, and when which bytes of the
/// replies do.
#ifndef SIMULATOR_REPLY_SCHEDULER_H
#define SIMULATOR_REPLY_SCHEDULER_H

#include "simulator/deadline_timer.h"
#include "simulator/plc_service.h"

#include <deque>

/// Where a wire's bytes go to: the client's end.
class ReplySink
{
public:
    virtual ~ReplySink() {}

    /// Sends bytes, or keeps them until the client fetches them; does not block.
    virtual void send(const QByteArray &bytes) = 0;

    /// The bytes that have been sent and not been fetched.
    virtual int pendingBytes() const = 0;

    /// Ends the connection. @return false for a wire that has none
    virtual bool closeConnection() = 0;
};

/// Takes what a client sends and gives the replies to a sink, damaged by the service's faults and
/// at the speed of its timing. Without delay a reply leaves within receive(). A wire carries one
/// thing after another: a reply waits for the one before it, not for the client.
class ReplyScheduler
{
public:
    /// The bytes kept in each direction. A reply beyond them is dropped as a whole, bytes of
    /// requests are dropped up to the next line end or the end of what came with them.
    enum { MAX_PENDING = 65536 };

    /// Requires: @p service and @p sink outlive the scheduler.
    ReplyScheduler(PlcService &service, ReplySink &sink);

    /// False when the system has no timer left.
    bool isValid() const { return m_timer.isValid(); }

    /// Takes bytes that the client has sent, in chunks of any size.
    void receive(const QByteArray &bytes);

private:
    Q_DISABLE_COPY(ReplyScheduler)

    // A request, or the piece of one that a client sent, and when its last byte has passed.
    struct Arrival {
        QByteArray bytes;
        qint64 dueNs;
    };

    // What happens behind the last byte of a departure.
    enum Ending { NOTHING, REPLY_ENDS, SILENCE_BEGINS, CONNECTION_ENDS };

    struct Departure {
        QByteArray bytes;
        qint64 startNs;
        int sent;
        Ending ending;
        int silenceMs;
    };

    void enqueue(const QByteArray &bytes, qint64 nowNs);
    void work();
    void sendDue(qint64 nowNs);
    void obey(const Arrival &arrival);
    void schedule(const QByteArray &line, const QByteArray &reply, qint64 requestEndNs);
    void handOver(const QByteArray &bytes, qint64 nowNs);
    void depart(const QByteArray &bytes, qint64 startNs, Ending ending, int silenceMs);
    qint64 endNs(const Departure &departure) const;
    bool advance(Departure *departure, qint64 nowNs);
    void finish(const Departure &departure);
    void rest(qint64 nowNs);
    void observe(char direction, const QByteArray &bytes, bool ends, QByteArray *line);

    PlcService &m_service;
    ReplySink &m_sink;
    SimulatedPlc m_plc;
    DeadlineTimer m_timer;
    const qint64 m_characterNs; // 0 for a wire that takes no time
    std::deque<Arrival> m_arrivals;
    std::deque<Departure> m_departures;
    int m_arriving;    // bytes in m_arrivals
    int m_departing;   // bytes in m_departures
    QByteArray m_held; // by the adapter
    qint64 m_heldUntilNs;
    qint64 m_inFreeNs;
    qint64 m_outFreeNs;
    QByteArray m_observedIn;
    QByteArray m_observedOut;
};

#endif
