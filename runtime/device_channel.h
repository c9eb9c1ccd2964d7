/// The channel that a runtime lends to a driver, over any port.
#ifndef RUNTIME_DEVICE_CHANNEL_H
#define RUNTIME_DEVICE_CHANNEL_H

#include "drivers/abstract_device_interface.h"
#include "tools/drv_dev_setting.h"

#include <vector>

class Port;

/// A reply that comes later than so many time-outs after its line is not waited for.
const int LATEST_REPLY_TIMEOUTS = 5;

/// Bytes in and out of an open port with the pacing of one link.
/// Whatever the peer does, `read` and `write` last no longer than the link's time-out and the time
/// that a serial port still needs for the line before, and `control` no longer than six time-outs.
class DeviceChannel : public AbstractDeviceInterface
{
public:
    /// @param port    outlives the channel, and is used by the channel's thread alone
    /// @param setting pacing of the link: time-out and delay in milliseconds, retries, station
    ///                number; negative times count as 0, a time-out above a day as a day
    DeviceChannel(Port &port, const DriverSetting &setting);

    /// Changes the time-out of the calls to come, in milliseconds; a negative one counts as 0, one
    /// above a day as a day.
    void setTimeout(int ms) { m_timeoutMs = qBound(0, ms, 24 * 60 * 60 * 1000); }

    /// Waits for the first bytes, at most the time-out from when the line before has left a serial
    /// port, and stores what is there.
    /// @return the number of bytes, at most @p maxLength; 0 on time-out, or when the port is closed
    ///         or its peer is gone
    int read(char *buffer, int maxLength) override;

    /// Hands @p length bytes to the port, for which it waits at most the time-out.
    /// @return the number of bytes handed over; -1 when the port is broken
    int write(const char *buffer, int length) override;

    /// Code 12 throws away the input that has arrived and was not read. A reply carries nothing
    /// that tells which line it answers, so the channel first waits for replies that are still due:
    /// - Each line gets one reply line. While a sent line has none, the channel waits for it, for
    ///   up to five time-outs from when the line had left the port. After a wait in which nothing
    ///   came the PLC counts as silent: it is not waited for again before something comes. What
    ///   does not end in CR LF is a frame of another protocol: any bytes count as its reply.
    /// - After a failed attempt the wire has to be silent for twice the time of the slowest answer,
    ///   at most for a time-out.
    /// @return 1; 0 for other codes
    int control(int code, const QVariant &value) override;

    /// Waits for replies that are still due, as code 12 does, also when the PLC is silent. The
    /// next program that opens the port would otherwise get them.
    void awaitReplies();

    /// Has the wire rest before the next line.
    void noteFailedAttempt();

    /// Also notes the attempt as failed: drivers ask only then.
    int getRetry() override;
    int getStationId() override;
    unsigned long getDelay() override;

protected:
    /// Whether `control` may go on waiting for late replies; asked about every 50 ms.
    virtual bool mayWait() const { return true; }

    /// Is given input that is thrown away, as no read waited for it.
    /// @param isLate whether a line still had no reply
    virtual void noteStray(const char *, int, bool /*isLate*/) {}

private:
    Q_DISABLE_COPY(DeviceChannel)

    bool waitForRestOfLine();
    int take(char *buffer, int maxLength);
    qint64 restOfLineMs() const;
    void discardInput();
    qint64 latestReplyMs() const;
    void forgetOldLines();
    void letTheWireRest();

    Port &m_port;
    DriverSetting m_setting;
    int m_timeoutMs;
    qint64 m_lineSentAtMs;           // when the last line will have left the port
    std::vector<qint64> m_openLines; // the same of each line without a reply line, oldest first
    bool m_hasLineEnds;              // the last line ended in CR LF, so that its reply does
    bool m_isAnswerDue;              // nothing has come since the last line
    bool m_isHeard;                  // something came, and since then no wait ended with nothing
    qint64 m_slowestAnswerMs;        // among the last answers
    bool m_attemptFailed;
};

#endif
