/// The channel of the driver's fuzz target: replies come from the input.
#ifndef FUZZ_DRIVER_CHANNEL_H
#define FUZZ_DRIVER_CHANNEL_H

#include "fuzz/fuzz_input.h"
#include "tests/driver/driver_model.h"
#include "tests/driver/exchange_channel.h"

inline int fuzzStation(FuzzInput &input)
{
    const int number = static_cast<int>(input.below(256));
    return number <= 99 ? number : (number - 170) * 1000003;
}

class FuzzChannel : public ExchangeChannel
{
public:
    FuzzChannel(FuzzInput &input, int retries, int chunk, int stationId)
        : ExchangeChannel(retries, stationId), m_input(input), m_chunk(chunk)
    {}

protected:
    void hear(const QByteArray &line) { m_pending += reply(line); }
    void discard() { m_pending.clear(); }
    QByteArray give(int room)
    {
        const QByteArray bytes = m_pending.left(m_chunk > 0 ? qMin(m_chunk, room) : room);
        m_pending.remove(0, bytes.size());
        return bytes;
    }

private:
    QByteArray reply(const QByteArray &line)
    {
        const unsigned int manner = broken ? 0 : m_input.below(8);
        if (manner == 0)
            return QByteArray();
        broken = manner == 6;
        if (manner == 4 || broken)
            return broken ? QByteArray() : m_input.text();
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
        const QByteArray shape = ITEM_SHAPES[form];
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
};

#endif
