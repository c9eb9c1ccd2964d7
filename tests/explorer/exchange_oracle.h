/// The order of an exchange: what the driver has to send, to make of each reply, and to say.
#ifndef TESTS_EXPLORER_EXCHANGE_ORACLE_H
#define TESTS_EXPLORER_EXCHANGE_ORACLE_H

#include "drivers/communicator_command.h"
#include "testkit/forwarding_channel.h"

#include <QtCore/QRegExp>
#include <QtCore/QVariant>

#include <vector>

/// One line of the driver's and what it then received.
struct Exchange {
    QByteArray line;
    int discards; ///< since the line before
    QByteArray received;
};

/// Writes down what passes to another channel. The first call without a cause is kept in `wrong`.
class ExchangeRecorder : public ForwardingChannel
{
public:
    explicit ExchangeRecorder(AbstractDeviceInterface &channel)
        : ForwardingChannel(channel), discards(0), m_ended(true)
    {}

    int read(char *buffer, int maxLength) override
    {
        if (m_ended || exchanges.empty()) {
            wrong = "a read that no line led to";
            return 0;
        }
        QByteArray &received = exchanges.back().received;
        const int room = exchanges.back().line.startsWith('C') ? 8 : 1538;
        if (maxLength != room - received.size())
            wrong = "a read into another room";
        const int length = ForwardingChannel::read(buffer, maxLength);
        received.append(buffer, length);
        m_ended = length <= 0 || received.endsWith('\n') || received.size() == room;
        return length;
    }

    int write(const char *buffer, int length) override
    {
        if (!m_ended)
            wrong = "a reply is left unread";
        const Exchange exchange = {QByteArray(buffer, length), discards, QByteArray()};
        exchanges.push_back(exchange);
        discards = 0;
        m_ended = false;
        return ForwardingChannel::write(buffer, length);
    }

    int control(int code, const QVariant &value) override
    {
        if (code != 12 || value.type() != QVariant::Int || value.toInt() != 0)
            wrong = "a control other than 12 with 0";
        ++discards;
        return ForwardingChannel::control(code, value);
    }

    std::vector<Exchange> exchanges;
    int discards; ///< since the last line
    QByteArray wrong;

private:
    bool m_ended;
};

/// A request of the driver, known by its lines.
struct ExplorerRequest {
    const char *name;
    CommandKind kind;
    uint count;
    const char *address;
    const char *data;      ///< what to write, in hexadecimal; null for a read
    const char *lines;     ///< the data lines, separated by "|"
    const char *form;      ///< pattern of the replies to them; empty for any
    const char *wrongForm; ///< what is said of other replies
    const char *result;    ///< of a sound reply: data in hexadecimal, or 1
};

/// Follows the exchanges of a request: success, text and every line must be what the replies led to.
class ExchangeOracle
{
public:
    ExchangeOracle(const ExplorerRequest &request, const ExchangeRecorder &recorder, int retries)
        : success(false), wrong(recorder.wrong), m_request(request), m_recorder(recorder), m_at(0)
    {
        do {
            success = attempt();
        } while (!success && wrong.isEmpty() && retries-- > 0);
        check(m_at == recorder.exchanges.size() && recorder.discards == 0,
              "lines or discards without a cause");
    }

    bool success;
    QByteArray text;  ///< of the last failure
    QByteArray wrong; ///< the first thing that is; empty for nothing
    QByteArray reply; ///< to the last data line

private:
    bool attempt()
    {
        for (const QByteArray &line : QByteArray(m_request.lines).split('|')) {
            if (!bracket(line + "\r\n"))
                return false;
        }
        return true;
    }

    bool bracket(const QByteArray &line)
    {
        if (!answered(next("CR 07\r\n", 1), "invalid response", "CC 07\r\n"))
            return false;
        reply = next(line, m_request.data ? 0 : 1);
        const bool isOpen = answered(reply, m_request.wrongForm, 0);
        if (!isOpen && !isRefusal(reply))
            return false;
        return answered(next("CQ\r\n", 1), "invalid response", "CF\r\n") && isOpen;
    }

    void check(bool right, const QByteArray &what)
    {
        if (!right && wrong.isEmpty())
            wrong = what;
    }

    QByteArray next(const QByteArray &line, int discards)
    {
        check(m_at < m_recorder.exchanges.size(), "no " + line);
        if (!wrong.isEmpty())
            return QByteArray();
        const Exchange &exchange = m_recorder.exchanges[m_at++];
        check(exchange.line == line, exchange.line + " instead of " + line);
        check(exchange.discards == discards, "discards before " + line);
        return exchange.received;
    }

    static bool isRefusal(const QByteArray &received)
    {
        static const QRegExp form(QLatin1String("E\\d\r\n"));
        return form.exactMatch(QLatin1String(received.constData()));
    }

    // A reply's text ends at its first zero byte.
    bool answered(const QByteArray &received, const char *wrongForm, const char *beginning)
    {
        const QRegExp form(QLatin1String(m_request.form));
        const bool right =
            beginning ? received.startsWith(beginning)
                      : form.isEmpty() || form.exactMatch(QLatin1String(received.constData()));
        if (!received.isEmpty() && right && !isRefusal(received))
            return true;
        text = received.isEmpty() ? QByteArray("PLC no response")
               : isRefusal(received)
                   ? "Response During an Error:" + QByteArray(received.constData())
                   : QByteArray(wrongForm);
        return false;
    }

    const ExplorerRequest &m_request;
    const ExchangeRecorder &m_recorder;
    size_t m_at;
};

#endif
