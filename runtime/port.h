/// The wire to a PLC, as a channel uses it.
#ifndef RUNTIME_PORT_H
#define RUNTIME_PORT_H

#include <QtCore/QString>

/// What the system counted on a serial port since it was made.
struct SerialErrors {
    int parity;  ///< characters with a wrong parity bit
    int framing; ///< characters without a stop bit
    int overrun; ///< characters lost as the system was too slow, in the port or behind it
    int breaks;  ///< times that the wire stayed at 0 for longer than a character

    SerialErrors() : parity(0), framing(0), overrun(0), breaks(0) {}

    /// Adds the errors of a later time, or with -1 takes those of an earlier time away.
    void add(const SerialErrors &other, int factor = 1)
    {
        parity += factor * other.parity;
        framing += factor * other.framing;
        overrun += factor * other.overrun;
        breaks += factor * other.breaks;
    }
};

/// One open serial port, connection or wire of a test, and the clock that goes with it.
class Port
{
public:
    virtual ~Port() {}

    /// Stores what has arrived; does not wait.
    /// @return the number of bytes, at most @p maxLength; 0 for nothing, or when the port is broken
    virtual int read(char *buffer, int maxLength) = 0;

    /// Hands @p length bytes over, for which it waits at most @p timeoutMs milliseconds. When that
    /// is not enough, what has not left a serial port is thrown away and a connection is closed:
    /// it must not reach the PLC in front of a later line.
    /// @return the number of bytes handed over; -1 when the port is broken
    virtual int write(const char *bytes, int length, int timeoutMs) = 0;

    /// Waits until `read` has something to give, or the port breaks, or for @p ms milliseconds; 0
    /// does not wait. @return whether it is worth reading
    virtual bool waitForInput(qint64 ms) = 0;

    /// Milliseconds of a monotonic clock.
    virtual qint64 nowMs() const = 0;

    /// The milliseconds that so many bytes take at most to leave the port; 0 where that is unknown.
    virtual qint64 transmissionMs(int) const { return 0; }

    /// Whether nothing can come or go any more.
    virtual bool isBroken() const { return false; }

    /// Why, for people; empty as long as the port works.
    virtual QString brokenText() const { return QString(); }

    /// How long the port's driver may hold received characters, for people; empty where that is
    /// unknown.
    virtual QString latencyText() const { return QString(); }

    /// What others may wait at for input; -1 for a wire of a test, which has none.
    virtual int descriptor() const { return -1; }

    /// All 0 for a port without such counts.
    virtual SerialErrors errors() const { return SerialErrors(); }
};

#endif
