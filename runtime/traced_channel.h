/// A channel that remembers, counts and on demand shows what passes through it.
#ifndef RUNTIME_TRACED_CHANNEL_H
#define RUNTIME_TRACED_CHANNEL_H

#include "drivers/abstract_device_interface.h"
#include "runtime/wire_line.h"

#include <QtCore/QByteArray>

#include <array>

class TraceLog;

/// What went over the wire for one request of a driver, all of its attempts together.
struct RequestRecord {
    int attempts = 0;      ///< attempts that sent something
    int timeOuts = 0;      ///< times that nothing more arrived
    int received = 0;      ///< bytes
    QByteArray sent;       ///< the latest line towards the PLC
    QByteArray reply;      ///< what came in answer to it
    QByteArray dataLine;   ///< the latest line that is neither an open nor a close line
    QByteArray dataReply;  ///< the first line of what came in answer to it
    QByteArray refused;    ///< the latest line that got an error reply
    QByteArray errorReply; ///< that reply
    std::array<int, EXCHANGE_ENDS> ends = {}; ///< how many exchanges ended so, by ExchangeEnd
};

/// Passes everything on to another channel. Chunks are gathered into lines for the log; a line
/// without its end is logged when the direction changes, nothing more arrives or the channel ends.
class TracedChannel : public AbstractDeviceInterface
{
public:
    /// @param channel the channel that does the work; outlives this one
    /// @param log     gets each line and outlives this channel; null for none
    TracedChannel(AbstractDeviceInterface &channel, TraceLog *log);
    ~TracedChannel() override;

    /// Begins a record.
    void beginRequest();

    /// Begins an attempt of the request, which counts as soon as it sends something.
    void beginAttempt() { m_isAttemptNew = true; }

    /// A line that has no end yet ends here, for the record and for the log.
    void endRequest();

    /// The record of the latest request.
    const RequestRecord &record() const { return m_record; }

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;

    /// Passed on; not logged, as nothing goes over the wire.
    int control(int code, const QVariant &value) override;

    int getRetry() override;
    int getStationId() override;

    /// Also begins an attempt: drivers ask before each one, and only then.
    unsigned long getDelay() override;

    /// Bytes that have passed in both directions so far.
    qint64 bytes() const { return m_bytes; }

private:
    void gather(char direction, const char *bytes, int length);
    void note(char direction);
    void endLine();
    void endExchange();

    AbstractDeviceInterface &m_channel;
    TraceLog *m_log;
    char m_direction;
    QByteArray m_line;
    qint64 m_bytes;
    RequestRecord m_record;
    bool m_inRequest;
    bool m_isAttemptNew; // nothing is sent in it yet
};

#endif
