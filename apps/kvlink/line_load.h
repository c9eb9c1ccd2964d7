/// What the commands share that put a load on the line: its speed, and the words they read.
#ifndef APPS_KVLINK_LINE_LOAD_H
#define APPS_KVLINK_LINE_LOAD_H

#include "runtime/link.h"

#include <QtCore/QString>

/// The port or the peer that the options name, for people.
inline QString lineName(const LinkOptions &options)
{
    return options.simulated ? QString::fromLatin1("simulated PLC") : options.port + options.tcp;
}

/// How fast a serial wire is.
struct LineSpeed {
    int baudRate; ///< 0 where none is known: a TCP port or a pseudo-terminal has none of its own
    int bitsPerCharacter;

    /// The part of a time in which characters are on the wire, 0 to 1 on a wire that keeps its
    /// speed. Requires: the baud rate is known.
    double share(qint64 bytes, double seconds) const
    {
        return static_cast<double>(bytes) * bitsPerCharacter / baudRate / seconds;
    }
};

/// The speed of the wire that the options name. @param baudRate the wire's, where the port has none; 0 for
/// that of the port
LineSpeed lineSpeed(const LinkOptions &options, int baudRate);

/// Whether a command can read words from this address. @return good, or StatusUsage
Failure checkWordAddress(const QString &address);

#endif
