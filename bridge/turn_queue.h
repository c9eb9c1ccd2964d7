/// Which client has the next turn at the wire.
#ifndef BRIDGE_TURN_QUEUE_H
#define BRIDGE_TURN_QUEUE_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>

/// Clients that wait, each once, in the order in which they came. Clients of a station that is
/// silent are passed over for a back-off time, so that its time-outs leave the wire to the others.
class TurnQueue
{
public:
    /// Turns in a row in which a station may leave the first line unanswered before it counts as
    /// silent: one and two are what a bad wire loses.
    enum { SILENT_TURNS = 3 };

    /// @param backOffMs between two turns at a silent station, in milliseconds
    explicit TurnQueue(qint64 backOffMs) : m_backOffMs(backOffMs) {}

    /// Puts a client at the end; one that waits already keeps its place.
    /// @param client  1 or more
    /// @param station that its turn is for, as in the open line; empty for none
    void join(int client, const QByteArray &station);

    /// Takes a client out, if it waits.
    void leave(int client);

    bool isEmpty() const { return m_places.isEmpty(); }

    /// Takes out the client whose turn it is. @param nowMs of a monotonic clock
    /// @return 0 when none waits whose station may be asked
    int take(qint64 nowMs);

    /// Whether `take` would give a client.
    bool hasNext(qint64 nowMs) const { return next(nowMs) >= 0; }

    /// Notes how a station took the first line of a turn.
    void noteFirstLine(const QByteArray &station, bool isAnswered, qint64 nowMs);

    /// Stations that count as silent.
    int silentStations() const;

private:
    struct Place {
        int client;
        QByteArray station;
    };

    struct Silence {
        int turns;       // without a reply, in a row
        qint64 latestMs; // when the last one had its time-out
    };

    int next(qint64 nowMs) const;

    const qint64 m_backOffMs;
    QList<Place> m_places;
    QHash<QByteArray, Silence> m_silences; // by station; none for one that answers
};

#endif
