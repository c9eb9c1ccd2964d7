/// Follows what the driver sent and received, against what each reply must have led to.
#ifndef TESTS_DRIVER_DRIVER_ORACLE_H
#define TESTS_DRIVER_DRIVER_ORACLE_H

#include "tests/driver/driver_model.h"
#include "tests/driver/exchange_channel.h"

/// The first thing that is wrong is kept in `wrong`.
class DriverOracle
{
public:
    DriverOracle(const ExchangeChannel &channel, const DriverModel &request)
        : success(false), wrong(channel.wrong), m_channel(channel), m_request(request), m_at(0)
    {}

    /// All attempts, which must be all that was sent.
    void follow()
    {
        int attempts = 0;
        do {
            success = attempt();
        } while (!success && wrong.isEmpty() && attempts++ < m_channel.retry);
        check(m_at == m_channel.exchanges.size() && m_channel.discardsAtEnd == 0,
              "lines or discards without a cause");
    }

    /// What the call has to return: the data in hexadecimal, or 1.
    QByteArray result() const
    {
        return !success ? "" : m_request.write ? "1" : m_request.decoded(m_reply).toHex();
    }

    bool success;
    QByteArray error; ///< text of the last failure
    QByteArray wrong;

private:
    bool attempt()
    {
        const int brackets = m_request.perBit ? m_request.data.size() : 1;
        for (int i = 0; i < brackets; ++i) {
            if (!bracket(i))
                return false;
        }
        return true;
    }

    bool bracket(int bit)
    {
        char digits[16];
        std::snprintf(digits, sizeof digits, " %02d\r\n", m_channel.station);
        const Exchange open = next(1);
        check(open.line == "CR" + QByteArray(digits), "the open line", open.line);
        if (!accepted(open.received, "CC" + QByteArray(digits)))
            return false;
        const Exchange data = next(m_request.write ? 0 : 1);
        check(data.line == m_request.line(bit), "the data line", data.line);
        if (!answered(data.received, m_request.wrongForm(), m_request.fits(data.received)) &&
            !isErrorReply(data.received))
            return false;
        m_reply = data.received;
        const Exchange close = next(1);
        check(close.line == "CQ\r\n", "the close line", close.line);
        return accepted(close.received, "CF\r\n") && !isErrorReply(m_reply);
    }

    void check(bool right, const char *what, const QByteArray &detail = QByteArray())
    {
        if (!right && wrong.isEmpty())
            wrong = what + (": " + detail);
    }

    Exchange next(int discards)
    {
        check(m_at < m_channel.exchanges.size(), "a line is missing");
        if (!wrong.isEmpty())
            return Exchange();
        const Exchange &exchange = m_channel.exchanges[m_at++];
        check(exchange.discards == discards, "discards before a line", exchange.line);
        return exchange;
    }

    bool accepted(const QByteArray &received, const QByteArray &expected)
    {
        return answered(received, "invalid response", received.startsWith(expected));
    }

    bool answered(const QByteArray &received, const char *wrongForm, bool right)
    {
        if (!received.isEmpty() && right && !isErrorReply(received))
            return true;
        error = received.isEmpty()       ? QByteArray("PLC no response")
                : isErrorReply(received) ? "Response During an Error:" + textOf(received)
                                         : QByteArray(wrongForm);
        return false;
    }

    const ExchangeChannel &m_channel;
    const DriverModel &m_request;
    QByteArray m_reply; // to the last data line
    size_t m_at;
};

#endif
