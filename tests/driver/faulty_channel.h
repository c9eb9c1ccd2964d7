/// A PLC whose replies arrive damaged, late or in pieces, and the channel to it.
#ifndef TESTS_DRIVER_FAULTY_CHANNEL_H
#define TESTS_DRIVER_FAULTY_CHANNEL_H

#include "drivers/communicator_command.h"
#include "tests/driver/exchange_channel.h"

#include <QtCore/QList>
#include <QtCore/QMap>

typedef QByteArray B;
typedef QList<QByteArray> Chunks;

/// What stands between "|".
inline Chunks split(const char *text)
{
    return B(text).split('|');
}

/// A call of the driver, and what a sound PLC makes of it.
struct Request {
    const char *name;
    CommandKind kind;
    uint count;
    const char *address;
    const char *data;  // what to write, in hex; empty for a read
    const char *lines; // the data lines, separated by "|"
    const char *reply; // the PLC's answer to each of them
    const char *good;  // the result
};

/// A PLC and the way back from it. Replies stay in order. Between their chunks stand marks: "~" is
/// a read that gives nothing, "!" keeps back what follows until the next discard, and "*" and a
/// character is a noise of that character without end.
class Peer
{
public:
    Peer(const Request &request, bool refuses) : m_heard(0) { serve(request, refuses); }

    // Without an effect on replies that are under way.
    void serve(const Request &request, bool refuses)
    {
        m_reply = refuses ? "E1\r\n" : request.reply;
    }

    void discard()
    {
        while (!m_input.isEmpty() && !m_input.first().startsWith('*')) {
            if (m_input.takeFirst() == "!")
                break;
        }
    }

    B ordinary(const B &line) const
    {
        return line.startsWith("CR") ? "CC 07\r\n" : line.startsWith("CQ") ? "CF\r\n" : m_reply;
    }

    void hear(const B &line) { m_input += hits.value(m_heard++, Chunks() << ordinary(line)); }
    int heard() const { return m_heard; }

    B give(int room)
    {
        if (m_input.isEmpty() || m_input.first() == "!")
            return B();
        const B chunk = m_input.takeFirst();
        if (chunk == "~")
            return B();
        if (chunk.startsWith('*'))
            m_input.prepend(chunk);
        else if (chunk.size() > room)
            m_input.prepend(chunk.mid(room));
        return chunk.startsWith('*') ? B(room, chunk.at(1)) : chunk.left(room);
    }

    QMap<int, Chunks> hits; // other replies than the ordinary ones, by the number of the line

private:
    B m_reply;
    int m_heard;
    Chunks m_input;
};

/// Station 7, at which a peer answers.
class FaultyChannel : public ExchangeChannel
{
public:
    FaultyChannel(const Peer &other, int retries) : ExchangeChannel(retries, 7), peer(other) {}

    Peer peer;

protected:
    void hear(const QByteArray &line) { peer.hear(line); }
    QByteArray give(int room) { return peer.give(room); }
    void discard() { peer.discard(); }
};

#endif
