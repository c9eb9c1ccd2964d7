/// The requests that the load programs make of the driver.
#ifndef BENCH_REQUESTS_H
#define BENCH_REQUESTS_H

#include "drivers/communicator_command.h"

#include <QtCore/QByteArray>

#include <vector>

class AbstractDeviceInterface;
class DriverInterface;

/// One kind of request: where it goes and what it carries.
struct RequestKind {
    const char *name;
    CommandKind kind;
    const char *address;   ///< one, or forms of many: the next number is put in place of each %1
    const char *replyItem; ///< item of a read's reply; null for a write
    int bytesPerItem;      ///< of a write's data
};

/// The kind words, bits, timers, write or writebits, or spread or spreadtimers, which are words and
/// timers of another address with each request; null for any other name.
const RequestKind *findRequestKind(const char *name);

/// The PLC's reply to the data line of such a request.
QByteArray readyReply(const RequestKind &kind, int items);

/// The data line of a request that is made again and again.
class RepeatedRequest
{
public:
    /// @param items items per request
    RepeatedRequest(const RequestKind &kind, int items);

    /// Makes the request once, of the address with an index. @return whether it went well
    bool make(DriverInterface *driver, AbstractDeviceInterface *channel, int i) const;

private:
    bool m_reads;
    std::vector<CommunicatorCommand> m_commands;
    QByteArray m_data;
};

/// Makes requests; the first that fails ends them with a text on stderr.
/// @return whether all went well
bool makeRequests(DriverInterface *driver, AbstractDeviceInterface *channel,
                  const RepeatedRequest &request, int count);

#endif
