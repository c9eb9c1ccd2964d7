/// A serial port and the channel over it, as a runtime would lend it to the driver.
#ifndef BENCH_SERIAL_LINE_H
#define BENCH_SERIAL_LINE_H

#include "runtime/device_channel.h"

#include <memory>

class Port;

/// Counts the characters that pass, for the time that they take on a wire.
class CountingChannel : public DeviceChannel
{
public:
    explicit CountingChannel(Port &port);

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;

    /// Characters that have passed in both directions.
    long long characters() const { return m_characters; }

private:
    int counted(int length);

    long long m_characters;
};

/// A serial port of its own with its channel; no retries, and a time-out that no reply exceeds.
class SerialLine
{
public:
    SerialLine();
    ~SerialLine();

    /// Opens a port; a failure is printed on stderr. @return whether it is open
    bool open(const char *device);

    /// Requires: an open port.
    CountingChannel *channel() { return m_channel.get(); }

private:
    std::unique_ptr<Port> m_port;
    std::unique_ptr<CountingChannel> m_channel;
};

#endif
