/// How long a serial port's driver may keep received characters before it hands them over.
#ifndef RUNTIME_PORT_LATENCY_H
#define RUNTIME_PORT_LATENCY_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// How long the driver of a USB adapter gathers characters before it hands them over, in
/// milliseconds, by its latency file.
/// @param device the port's path
/// @param root   where sys lies; ends in a slash
/// @return -1 for a driver that does not say
int adapterLatencyMs(const QString &device, const QString &root = QStringLiteral("/"));

/// Has an open port hand received characters over at once, and puts back at the end what it changed.
/// Common adapters otherwise hold them up to 16 ms, which is longer than a short reply takes.
class PortLatency
{
public:
    /// Sets the port's low-latency flag, or 1 ms in the latency file of its driver.
    /// @param descriptor the open port's, which stays open until the end
    /// @param device     the port's path
    /// @param root       where sys lies; ends in a slash
    PortLatency(int descriptor, const QString &device, const QString &root = QStringLiteral("/"));
    ~PortLatency();

    /// How it stands, for people; empty for a port without such a setting.
    QString text() const;

    /// What the user can do about an adapter that still holds characters; empty for one that does
    /// not.
    QString hint() const;

private:
    Q_DISABLE_COPY(PortLatency)

    enum State {
        None,      // the port has no such setting
        Held,      // the driver gathers characters
        WasLow,    // it was set before
        LowByFlag, // set by us
        LowByFile
    };

    State shorten() const;

    const int m_descriptor;
    const QString m_device;
    const QString m_file; // the driver's latency file
    const int m_ownMs;    // what was in it; -1 for no such file
    const State m_state;
};

#endif
