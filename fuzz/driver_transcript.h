/// What the driver sent and received, against what each reply must have led to.
#ifndef FUZZ_DRIVER_TRANSCRIPT_H
#define FUZZ_DRIVER_TRANSCRIPT_H

#include "fuzz/driver_model.h"

inline bool isErrorReply(const QByteArray &received)
{
    const QByteArray text = textOf(received);
    return text.size() == 4 && text.startsWith('E') && text.endsWith("\r\n") && text.at(1) >= '0' &&
           text.at(1) <= '9';
}

/// Follows the lines of one call and knows what each reply must have led to.
class Transcript
{
public:
    Transcript(const FuzzChannel &channel, const DriverModel &request)
        : m_channel(channel), m_request(request), m_at(0), m_firstNumber(0)
    {}

    /// One attempt. @return whether it succeeded; else the error text is set
    bool attempt()
    {
        const int brackets = m_request.perBit ? m_request.data.size() : 1;
        for (int i = 0; i < brackets; ++i) {
            if (!bracket(i))
                return false;
        }
        return true;
    }

    bool atEnd() const { return m_at == m_channel.exchanges.size(); }

    QByteArray reply; ///< to the last data line
    QByteArray error; ///< text of the last failure

private:
    bool bracket(int bit)
    {
        char digits[16];
        std::snprintf(digits, sizeof digits, " %02d\r\n", m_channel.station);
        const Exchange &open = next(1);
        fuzzSame("CR" + QByteArray(digits), open.line, "the open line");
        if (!accepted(open.received, "CC" + QByteArray(digits)))
            return false;
        const Exchange &data = next(m_request.write ? 0 : 1);
        checkDataLine(data.line, bit);
        if (!answered(data.received, m_request.wrongForm(), m_request.fits(data.received)) &&
            !isErrorReply(data.received))
            return false;
        reply = data.received;
        const Exchange &close = next(1);
        fuzzSame("CQ\r\n", close.line, "the close line");
        return accepted(close.received, "CF\r\n") && !isErrorReply(reply);
    }

    const Exchange &next(int discards)
    {
        fuzzCheck(!atEnd(), "a line is missing");
        const Exchange &exchange = m_channel.exchanges[m_at++];
        fuzzSame(discards, exchange.discards, "discards before a line");
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

    void checkDataLine(const QByteArray &line, int bit)
    {
        const bool carriesAddress = !m_request.write && !m_request.words;
        fuzzCheck(line.size() <= (carriesAddress ? 19 : 1552), "a line beyond its limit", line);
        for (int i = 0; i < line.size() - 2; ++i)
            fuzzCheck(line.at(i) >= ' ' && line.at(i) <= '~', "an unprintable byte", line);
        if (m_request.perBit) {
            checkContactLine(line, bit);
            return;
        }
        const QByteArray head = m_request.write ? "WRS " : "RDS ";
        const QByteArray tail = m_request.lineTail();
        fuzzCheck(line.startsWith(head) && line.endsWith(tail), "the line is not", head + tail);
        const QByteArray device = line.mid(4, line.size() - 4 - tail.size());
        if (!m_request.words)
            fuzzSame(m_request.address.mid(m_request.preset ? 1 : 0), device, "the device");
        for (int i = 0; m_request.words && i < device.size(); ++i)
            fuzzCheck(QByteArray("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ").contains(device.at(i)),
                      "a device with other characters", line);
    }

    void checkContactLine(const QByteArray &line, int bit)
    {
        const QByteArray head = m_request.data.at(bit) ? "ST " : "RS ";
        const QByteArray letters = m_request.address.toUpper();
        const QByteArray device = letters.startsWith("CTC") ? QByteArray("CTC") : letters.left(1);
        fuzzCheck(device == "CTC" || device == "C" || device == "T", "no contact", line);
        fuzzCheck(line.startsWith(head + device), "another contact", line);
        const int number = line.mid(3 + device.size()).trimmed().toInt();
        m_firstNumber = bit == 0 ? number : m_firstNumber;
        fuzzSame(qint64(m_firstNumber) + bit, number, "the contact's number");
        char digits[16];
        std::snprintf(digits, sizeof digits, device == "CTC" ? "%d\r\n" : "%04d\r\n", number);
        fuzzSame(head + device + QByteArray(digits), line, "the contact's line");
    }

    const FuzzChannel &m_channel;
    const DriverModel &m_request;
    size_t m_at;
    int m_firstNumber;
};

#endif
