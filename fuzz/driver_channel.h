/// The channel of the driver's fuzz target: replies come from the input, and all is written down.
#ifndef FUZZ_DRIVER_CHANNEL_H
#define FUZZ_DRIVER_CHANNEL_H

#include "drivers/abstract_device_interface.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"

#include <QtCore/QVariant>

#include <cstring>
#include <vector>

/// What the items of a data line's reply look like; FormOk and FormAny are the writes' replies.
enum Form { FormBits, FormWords, FormNumbers, FormTimers, FormOk, FormAny };

/// One line of the driver's and what it then received.
struct Exchange {
    QByteArray line;
    int discards; ///< how often input was discarded since the line before
    QByteArray received;
};

class FuzzChannel : public AbstractDeviceInterface
{
public:
    explicit FuzzChannel(FuzzInput &input)
        : retry(static_cast<int>(input.below(5)) - 1), station(0), m_input(input),
          m_chunk(static_cast<int>(input.below(256))), m_discards(0), m_broken(false)
    {
        const int number = static_cast<int>(input.below(256));
        station = number <= 99 ? number : (number - 170) * 1000003;
    }

    int read(char *buffer, int maxLength)
    {
        fuzzCheck(maxLength > 0, "a read into no room");
        fuzzCheck(!exchanges.empty() && m_discards == 0, "a read that no line led to");
        if (m_broken)
            return -1;
        const int chunk = m_chunk > 0 ? qMin(m_chunk, maxLength) : maxLength;
        const QByteArray bytes = m_pending.left(chunk);
        m_pending.remove(0, bytes.size());
        std::memcpy(buffer, bytes.constData(), static_cast<size_t>(bytes.size()));
        exchanges.back().received += bytes;
        return bytes.size();
    }

    int write(const char *buffer, int length)
    {
        const Exchange exchange = {QByteArray(buffer, length), m_discards, QByteArray()};
        exchanges.push_back(exchange);
        m_discards = 0;
        m_pending += reply(exchange.line);
        return m_broken ? -1 : length;
    }

    int control(int code, const QVariant &value)
    {
        fuzzCheck(code == 12 && value.type() == QVariant::Int && value.toInt() == 0,
                  "a control other than 12 with 0");
        m_pending.clear();
        ++m_discards;
        return 1;
    }

    int getRetry() { return retry; }
    int getStationId() { return station; }
    unsigned long getDelay() { return 0; }

    int discardsAtEnd() const { return m_discards; }

    std::vector<Exchange> exchanges;
    int retry;
    int station;

private:
    QByteArray reply(const QByteArray &line)
    {
        const unsigned int manner = m_broken ? 0 : m_input.below(8);
        if (manner == 0)
            return QByteArray();
        m_broken = manner == 6;
        if (manner == 4 || m_broken)
            return m_broken ? QByteArray() : m_input.text();
        if (manner == 5)
            return QByteArray("E") + m_input.character() + "\r\n";
        QByteArray good = goodReply(line);
        if (manner == 2)
            good[static_cast<int>(m_input.below(256)) % good.size()] = m_input.character();
        if (manner == 3)
            good.truncate(static_cast<int>(m_input.below(256)));
        return manner == 7 ? good + m_input.text() : good;
    }

    QByteArray goodReply(const QByteArray &line)
    {
        if (line.startsWith("CR "))
            return "CC" + line.mid(2);
        if (line.startsWith("CQ"))
            return "CF\r\n";
        if (!line.startsWith("RDS "))
            return "OK\r\n";
        const Form form = static_cast<Form>(m_input.below(4));
        const int limit = static_cast<int>(m_input.size() % 1024);
        const int asked = line.mid(line.lastIndexOf(' ') + 1).trimmed().toInt();
        return items(form, qBound(1, asked, qMax(1, limit)));
    }

    QByteArray items(Form form, int count)
    {
        static const char *const SHAPES[] = {"b", "hhhh", "dddddddddd", "b,dddddddddd,dddddddddd"};
        const QByteArray shape = SHAPES[form];
        const QByteArray digits = fuzzPattern(count * (shape.size() + 1), m_input);
        QByteArray text;
        for (int i = 0; i < digits.size(); ++i) {
            const char kind =
                i % (shape.size() + 1) < shape.size() ? shape.at(i % (shape.size() + 1)) : ' ';
            const int digit = static_cast<unsigned char>(digits.at(i));
            // Half of the numbers fit 32 bits.
            if (kind == 'b' || kind == 'd')
                text += static_cast<char>('0' + digit % (kind == 'b' ? 2 : digit < 192 ? 4 : 10));
            else
                text += kind == 'h' ? "0123456789abcdefABCDEF"[digit % 22] : kind;
        }
        return text.left(text.size() - 1) + "\r\n";
    }

    FuzzInput &m_input;
    const int m_chunk; // bytes per read; 0: all there are
    QByteArray m_pending;
    int m_discards;
    bool m_broken; // nothing goes or comes any more
};

#endif
