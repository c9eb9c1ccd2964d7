/// How a fuzz target tells that something is wrong.
#ifndef FUZZ_FUZZ_CHECK_H
#define FUZZ_FUZZ_CHECK_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdio>
#include <cstdlib>

inline QByteArray fuzzEscaped(const QByteArray &bytes)
{
    QByteArray text;
    for (int i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        if (c >= 0x20 && c <= 0x7E)
            text += c;
        else
            text += "\\x" + bytes.mid(i, 1).toHex();
    }
    return text;
}

/// Ends the process when @p ok is false, with what is wrong in one line.
inline void fuzzCheck(bool ok, const char *wrong, const QByteArray &detail = QByteArray())
{
    if (ok)
        return;
    std::fprintf(stderr, "WRONG: %s: \"%s\"\n", wrong, fuzzEscaped(detail).constData());
    std::abort();
}

/// Ends the process when the two differ.
inline void fuzzSame(const QByteArray &expected, const QByteArray &got, const char *what)
{
    if (expected == got)
        return;
    std::fprintf(stderr, "WRONG: %s\n  expected \"%s\"\n  got      \"%s\"\n", what,
                 fuzzEscaped(expected).constData(), fuzzEscaped(got).constData());
    std::abort();
}

inline void fuzzSame(qint64 expected, qint64 got, const char *what)
{
    if (expected != got)
        fuzzSame(QByteArray::number(expected), QByteArray::number(got), what);
}

/// The entry point that the fuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size);

#endif
