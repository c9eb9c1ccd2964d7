/// Cuts the values that a fuzz target works with off a fuzzer's input.
#ifndef FUZZ_FUZZ_INPUT_H
#define FUZZ_FUZZ_INPUT_H

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

#include <cstddef>

/// Values come off the front. Numbers are counted from the character "0" on, so that an input can
/// be written by hand; an input that is used up goes on with "0".
class FuzzInput
{
public:
    FuzzInput(const unsigned char *bytes, size_t size) : m_at(bytes), m_end(bytes + size) {}

    bool atEnd() const { return m_at == m_end; }
    int left() const { return static_cast<int>(m_end - m_at); }

    char character() { return atEnd() ? '0' : static_cast<char>(*m_at++); }

    /// A number from 0 to @p limit - 1, of one byte. Requires: 1 <= @p limit <= 256.
    unsigned int below(unsigned int limit)
    {
        return static_cast<unsigned char>(character() - '0') % limit;
    }

    quint32 number()
    {
        quint32 value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | below(256);
        return value;
    }

    /// Mostly small, now and then anything.
    quint32 size()
    {
        const unsigned int value = below(256);
        if (value < 240)
            return value;
        return value < 252 ? value << 8 | below(256) : number();
    }

    /// Up to @p length bytes.
    QByteArray bytes(int length)
    {
        const QByteArray taken(reinterpret_cast<const char *>(m_at), qMin(length, left()));
        m_at += taken.size();
        return taken;
    }

    /// The bytes up to the next "|", which is skipped.
    QByteArray text()
    {
        QByteArray taken;
        while (!atEnd() && *m_at != '|')
            taken.append(character());
        if (!atEnd())
            ++m_at;
        return taken;
    }

    QByteArray rest() { return bytes(left()); }

private:
    const unsigned char *m_at;
    const unsigned char *m_end;
};

/// Bytes that look random and depend on one input byte only.
inline QByteArray fuzzPattern(int length, FuzzInput &input)
{
    QByteArray pattern(length, '\0');
    quint32 state = input.below(256);
    for (int i = 0; i < length && state != 0; ++i) {
        state = state * 1664525u + 1013904223u;
        pattern[i] = static_cast<char>((state >> 24) & (i % 3 == 0 ? 0x01 : 0xFF));
    }
    return pattern;
}

#endif
