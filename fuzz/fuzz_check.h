/// What the fuzz targets share: values cut off an input, and how a target tells that one is wrong.
#ifndef FUZZ_FUZZ_CHECK_H
#define FUZZ_FUZZ_CHECK_H

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

#include <cstdio>
#include <cstdlib>
#include <vector>

/// Ends the process when @p ok is false.
inline void fuzzCheck(bool ok, const char *wrong)
{
    if (ok)
        return;
    std::fprintf(stderr, "WRONG: %s\n", wrong);
    std::abort();
}

/// Bytes on the heap with nothing behind them, so that a read or write too far is noticed.
typedef std::vector<char> ExactBytes;

inline ExactBytes exactBytes(const QByteArray &bytes)
{
    return ExactBytes(bytes.begin(), bytes.end());
}

/// Values come off the front. Numbers are counted from the character "0" on, so that an input can
/// be written by hand; an input that is used up goes on with "0".
class FuzzInput
{
public:
    FuzzInput(const unsigned char *bytes, size_t size) : m_at(bytes), m_end(bytes + size) {}

    bool atEnd() const { return m_at == m_end; }

    char character() { return atEnd() ? '0' : static_cast<char>(*m_at++); }

    /// A number from 0 to @p limit - 1, of one byte. Requires: 1 <= @p limit <= 256.
    unsigned int below(unsigned int limit)
    {
        return static_cast<unsigned char>(character() - '0') % limit;
    }

    /// Mostly small, now and then anything.
    quint32 number()
    {
        const quint32 first = below(256);
        quint32 value = first < 224 ? first : 0;
        for (quint32 more = first < 224 ? 0 : 1 + first % 4; more > 0; --more)
            value = value << 8 | below(256);
        return value;
    }

    /// The bytes up to the next "|", which is skipped.
    QByteArray text()
    {
        QByteArray taken;
        while (!atEnd() && *m_at != '|')
            taken.append(character());
        character();
        return taken;
    }

    QByteArray rest()
    {
        const QByteArray taken(reinterpret_cast<const char *>(m_at),
                               static_cast<int>(m_end - m_at));
        m_at = m_end;
        return taken;
    }

private:
    const unsigned char *m_at;
    const unsigned char *m_end;
};

/// The entry point that the fuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size);

#endif
