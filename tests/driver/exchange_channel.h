/// A channel that writes down what the driver does.
#ifndef TESTS_DRIVER_EXCHANGE_CHANNEL_H
#define TESTS_DRIVER_EXCHANGE_CHANNEL_H

#include "drivers/abstract_device_interface.h"

#include <QtCore/QByteArray>
#include <QtCore/QVariant>

#include <cstring>
#include <vector>

/// One line of the driver's and what it then received.
struct Exchange {
    QByteArray line;
    int discards; ///< how often input was discarded since the line before
    QByteArray received;
    bool ended; ///< nothing came, the reply's last byte is LF, or there is no room for more
};

/// Where the replies come from is the derived class's. The first call that has no cause is kept in
/// `wrong`.
class ExchangeChannel : public AbstractDeviceInterface
{
public:
    ExchangeChannel(int attemptsMore, int stationId)
        : retry(attemptsMore), station(stationId), discardsAtEnd(0), broken(false)
    {}

    int read(char *buffer, int maxLength)
    {
        if (broken)
            return -1;
        if (exchanges.empty() || discardsAtEnd != 0 || exchanges.back().ended) {
            wrong = "a read that no line led to";
            return -1;
        }
        Exchange &exchange = exchanges.back();
        const int room = exchange.line.startsWith('C') ? 8 : 1538;
        if (maxLength != room - exchange.received.size())
            wrong = "a read into another room";
        const QByteArray chunk = give(maxLength);
        exchange.received += chunk;
        exchange.ended =
            chunk.isEmpty() || chunk.endsWith('\n') || exchange.received.size() >= room;
        std::memcpy(buffer, chunk.constData(), static_cast<size_t>(chunk.size()));
        return chunk.size();
    }

    int write(const char *buffer, int length)
    {
        if (!broken && !exchanges.empty() && !exchanges.back().ended)
            wrong = "a reply is left unread";
        const Exchange exchange = {QByteArray(buffer, length), discardsAtEnd, QByteArray(), false};
        exchanges.push_back(exchange);
        discardsAtEnd = 0;
        hear(exchange.line);
        return broken ? -1 : length;
    }

    int control(int code, const QVariant &value)
    {
        if (code != 12 || value.type() != QVariant::Int || value.toInt() != 0)
            wrong = "a control other than 12 with 0";
        ++discardsAtEnd;
        discard();
        return 1;
    }

    int getRetry() { return retry; }
    int getStationId() { return station; }
    unsigned long getDelay() { return 0; }

    const int retry;
    const int station;
    std::vector<Exchange> exchanges;
    int discardsAtEnd; ///< since the last line
    QByteArray wrong;

protected:
    virtual void hear(const QByteArray &line) = 0;
    virtual QByteArray
    give(int room) = 0; ///< the next chunk of what there is, at most @p room bytes
    virtual void discard() = 0;

    bool broken; ///< nothing goes or comes any more
};

#endif
