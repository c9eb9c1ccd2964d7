/// A channel in memory that costs next to nothing.
#ifndef BENCH_READY_CHANNEL_H
#define BENCH_READY_CHANNEL_H

#include "drivers/abstract_device_interface.h"

#include <QtCore/QByteArray>

#include <cstring>

/// Answers the three lines of each exchange with replies that were made beforehand.
class ReadyChannel : public AbstractDeviceInterface
{
public:
    /// @param dataReply the reply to the line between the open line and the close line
    explicit ReadyChannel(const QByteArray &dataReply)
        : m_dataReply(dataReply), m_replies{{"CC 00\r\n", 7},
                                            {m_dataReply.constData(), m_dataReply.size()},
                                            {"CF\r\n", 4}},
          m_reply(LAST)
    {}

    int read(char *buffer, int maxLength) override
    {
        const Reply &reply = m_replies[m_reply];
        const int length = reply.length < maxLength ? reply.length : maxLength;
        std::memcpy(buffer, reply.text, static_cast<size_t>(length));
        return length;
    }

    int write(const char *, int length) override
    {
        m_reply = m_reply == LAST ? 0 : m_reply + 1;
        return length;
    }

    int control(int, const QVariant &) override { return 1; }
    int getRetry() override { return 0; }
    int getStationId() override { return 0; }
    unsigned long getDelay() override { return 0; }

private:
    enum { LAST = 2 };

    struct Reply {
        const char *text;
        int length;
    };

    const QByteArray m_dataReply;
    const Reply m_replies[LAST + 1];
    int m_reply;
};

#endif
