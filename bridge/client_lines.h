/// The bytes of one client as lines that wait for the wire.
#ifndef BRIDGE_CLIENT_LINES_H
#define BRIDGE_CLIENT_LINES_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

/// Cuts a client's bytes behind every LF, and keeps the lines until they are taken. An open line
/// makes void what waited before it: the client has given the earlier exchange up.
class ClientLines
{
public:
    /// The bytes of the longest line, its end included. The longest write of the driver has 1552
    /// characters; other clients may write more items at once.
    enum { MAX_LINE = 16384 };

    /// Bytes that may wait. A client sends the next line when it has the reply to the one before, so
    /// that this is enough for many times what it needs.
    enum { MAX_WAITING = 65536 };

    /// Milliseconds from a line's first byte to its end: a line of 1552 characters takes 14 s at
    /// 1200 baud, if a client passes it on from a serial port of its own.
    enum { MAX_LINE_MS = 20000 };

    ClientLines() : m_waiting(0), m_begunMs(0) {}

    /// Adds bytes, in chunks of any size. @param nowMs of a monotonic clock
    /// @return why the client is to be dropped; empty for no reason
    QString add(const QByteArray &bytes, qint64 nowMs);

    /// @return why the client is to be dropped at that time; empty for no reason
    QString check(qint64 nowMs) const;

    /// Whether a line has begun that has no end yet, so that its time runs.
    bool hasBegun() const { return !m_begun.isEmpty(); }

    bool isEmpty() const { return m_lines.isEmpty(); }

    /// The oldest line with its end. Requires: one waits, as for `take`.
    const QByteArray &first() const { return m_lines.first(); }

    /// Removes it. @return the line with its end
    QByteArray take();

private:
    void append(const QByteArray &line);

    QByteArray m_begun; // the bytes behind the last LF
    QList<QByteArray> m_lines;
    int m_waiting; // bytes of the lines
    qint64 m_begunMs;
};

#endif
