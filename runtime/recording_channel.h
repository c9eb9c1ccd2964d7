/// A channel that leads nowhere and remembers what was sent.
#ifndef RUNTIME_RECORDING_CHANNEL_H
#define RUNTIME_RECORDING_CHANNEL_H

#include "drivers/abstract_device_interface.h"

#include <QtCore/QByteArray>

/// Plays a PLC that accepts every open line, write and close line. A read has nothing to give: it
/// gets an error reply, after which a driver sends the same lines as after values.
class RecordingChannel : public AbstractDeviceInterface
{
public:
    /// @param station 0 to 99
    explicit RecordingChannel(int station) : m_station(station) {}

    /// All bytes that were sent.
    const QByteArray &sent() const { return m_sent; }

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;
    int control(int code, const QVariant &value) override;

    int getRetry() override { return 0; }
    int getStationId() override { return m_station; }
    unsigned long getDelay() override { return 0; }

private:
    const int m_station;
    QByteArray m_sent;
    QByteArray m_reply;
};

#endif
