/// The channel of a link, for the driver and for exchanges without it.
#ifndef RUNTIME_LINK_CHANNEL_H
#define RUNTIME_LINK_CHANNEL_H

#include "runtime/traced_channel.h"

class DeviceChannel;

/// Ends in step with the PLC when the program is asked to stop: a running exchange goes on to its
/// close line, for the time-out at most. No further exchange begins, no retry is granted and no
/// delay is waited for.
class LinkChannel : public TracedChannel
{
public:
    /// @param channel   the port's; outlives this one
    /// @param timeoutMs the link's time-out, in milliseconds
    /// @param log       gets each line and outlives this channel; null for none
    LinkChannel(DeviceChannel &channel, int timeoutMs, TraceLog *log);

    /// Waits for the link's delay, which a stop cuts short, and begins an attempt.
    void pauseBeforeAttempt();

    /// Has the wire rest before the next line.
    void noteFailedAttempt();

    /// Throws away what has arrived, after replies that are still due.
    void discardInput();

    /// Sends a line and receives its reply.
    /// @param lines     1 or more line ends that the reply has
    /// @param maxLength bytes after which the reply ends in any case
    /// @return the reply, or what came before a time-out
    QByteArray exchange(const QByteArray &line, int lines, int maxLength);

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;

    /// Also notes the attempt as failed; 0 once the program is asked to stop.
    int getRetry() override;

    /// Also waits the delay of the attempt. @return 0: a driver's own sleep could not be ended
    unsigned long getDelay() override;

private:
    DeviceChannel &m_deviceChannel;
    const int m_timeoutMs;
    bool m_isClosed;
};

#endif
