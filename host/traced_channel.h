/// A channel that shows what passes through it.
#ifndef HOST_TRACED_CHANNEL_H
#define HOST_TRACED_CHANNEL_H

#include "drivers/abstract_device_interface.h"

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>

class QTextStream;

/// Prints each line that goes out (>) or comes in (<) through another channel, such as
/// `0.001250 +0.000310 > CR 00\r\n`: seconds since the trace began, seconds since the line before,
/// direction, text with escapes. Chunks are gathered into lines; a line without its end is printed
/// when the direction changes, nothing more arrives or the trace ends.
class TracedChannel : public AbstractDeviceInterface
{
public:
    /// @param channel the channel that does the work
    /// @param out     where to print; both outlive the trace
    TracedChannel(AbstractDeviceInterface &channel, QTextStream &out);
    ~TracedChannel() override;

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;

    /// Passed on; not printed, as nothing goes over the line.
    int control(int code, const QVariant &value) override;

    int getRetry() override;
    int getStationId() override;
    unsigned long getDelay() override;

    /// Number of lines sent and received so far, unfinished ones not counted.
    int requests() const { return m_requests; }
    int replies() const { return m_replies; }

private:
    void gather(char direction, const char *bytes, int length);
    void printLine();

    AbstractDeviceInterface &m_channel;
    QTextStream &m_out;
    QElapsedTimer m_clock;
    qint64 m_previousNs;
    char m_direction;
    QByteArray m_line;
    int m_requests;
    int m_replies;
};

#endif
