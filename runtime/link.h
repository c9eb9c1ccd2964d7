/// The link that a client's requests go over.
#ifndef RUNTIME_LINK_H
#define RUNTIME_LINK_H

#include "runtime/failure.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

class BackgroundSimulator;
class DriverSetting;
class LinkChannel;
class Port;
class PortChannel;
class QTextStream;
class TraceLog;
struct SerialErrors;

/// Input that was thrown away, as no exchange waited for it: how many bytes.
struct StrayInput {
    int late = 0;    ///< came while a line had no reply, but after its time-out
    int unasked = 0; ///< came while no line was without its reply
    int damaged = 0; ///< of either kind, but no reply has such bytes

    /// Adds the input of a later time, or with -1 takes that of an earlier time away.
    void add(const StrayInput &other, int factor = 1)
    {
        late += factor * other.late;
        unasked += factor * other.unasked;
        damaged += factor * other.damaged;
    }
};

/// Which PLC to talk to, and how. A pacing value of -1 stands for the driver's default.
struct LinkOptions {
    QString name;           ///< among several links, for what is said of it; empty for none
    QString port;           ///< serial port, empty for none
    QString tcp;            ///< TCP address, empty for none
    bool simulated = false; ///< talk to an own simulated PLC
    int station = -1;       ///< 0 to 99
    int retry = -1;         ///< further attempts
    int delayMs = -1;       ///< delay before an attempt, in milliseconds
    int timeoutMs = -1;     ///< wait for a reply, in milliseconds
    QString trace;          ///< file for each line that passes, or TRACE_TO_STDERR; empty for none
    QString projectPort;    ///< panel port whose station the project database names, or empty
    QString projectFile;    ///< project database, empty for the one beside the program
    QString driverPath;     ///< plug-in file, empty for the usual one

    /// Whether they say where the PLC is.
    bool isReachable() const { return !port.isEmpty() || !tcp.isEmpty() || simulated; }
};

/// A text with the name of the link that it is about in front, if that has one.
QString aboutLink(const QString &link, const QString &text);

/// The port or the peer that the options name, for people.
QString lineName(const LinkOptions &options);

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

/// The speed of the wire that the options name, of 8E1 where they name no port.
/// @param baudRate the wire's, where the port has none; 0 for that of the port
LineSpeed lineSpeed(const LinkOptions &options, int baudRate);

/// Opens the serial port or the connection that the options name. Requires: one of the options port
/// and tcp.
/// @param timeoutMs how long to wait for a connection, in milliseconds
/// @param name      gets the port's name, for people
/// @param warnings  gets remarks about the port
/// @return StatusUsage for a wrong text; StatusOpen when it cannot be opened
Failure openPort(const LinkOptions &options, int timeoutMs, std::unique_ptr<Port> *port,
                 QString *name, QStringList *warnings);

/// One open link: a serial port, a TCP connection or an own simulated PLC, and the channel over it.
class Link
{
public:
    Link();
    ~Link();

    /// Opens what the options name.
    /// Requires: exactly one of the options port, tcp and simulated.
    /// @param setting pacing of the link
    /// @param trace   gets each line and outlives the link; null for none
    /// @param warning where remarks about the port are printed
    /// @return good when `channel` is ready
    Failure open(const LinkOptions &options, const DriverSetting &setting, TraceLog *trace,
                 QTextStream &warning);

    /// Whether the options name a port or an address in the right form.
    static Failure check(const LinkOptions &options);

    /// The channel; null before a successful `open`.
    LinkChannel *channel() const { return m_channel.get(); }

    /// The port's name, for people.
    QString name() const { return m_name; }

    /// What the port has counted so far; all 0 where the link is not a serial port.
    SerialErrors errors() const;

    /// How long the port's driver may hold received characters; empty where that is unknown.
    QString latencyText() const;

    /// What came so far that nobody waited for.
    StrayInput stray() const;

    /// Why the port is broken; empty when it works.
    QString brokenText() const;

private:
    Failure openNamed(const LinkOptions &options, int timeoutMs, QTextStream &warning);
    Failure openSimulated(int station, QTextStream &warning);

    QString m_name;
    bool m_isShared; // others may use the wire after this link
    // In the order of their construction: each is used by the next one.
    std::unique_ptr<BackgroundSimulator> m_simulator;
    std::unique_ptr<Port> m_port;
    std::unique_ptr<PortChannel> m_portChannel;
    std::unique_ptr<LinkChannel> m_channel;
};

#endif
