// Addresses and numbers in text against plain readings of them.
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"
#include "tools/plc_address.h"

#include <climits>
#include <cstring>
#include <vector>

namespace
{

bool isOneOf(const char *characters, char c)
{
    return c != '\0' && std::strchr(characters, c);
}

int valueOf(char digit)
{
    static const char DIGITS[] = "0123456789abcdef0123456789ABCDEF";
    const char *at = digit == '\0' ? 0 : std::strchr(DIGITS, digit);
    return at ? static_cast<int>(at - DIGITS) % 16 : 99;
}

// The digits from a position on, all of them; -1 when there are none, others or too great a number.
qint64 wholeNumber(const QByteArray &text, int at, int base, qint64 most)
{
    if (base == 16 && at + 1 < text.size() && text.at(at) == '0' && (text.at(at + 1) | 0x20) == 'x')
        at += 2;
    qint64 value = at < text.size() ? 0 : -1;
    for (; at < text.size(); ++at) {
        const int digit = valueOf(text.at(at));
        if (digit >= base)
            return -1;
        value = qMin(value * base + digit, Q_INT64_C(1) << 40);
    }
    return value > most ? -1 : value;
}

QByteArray beforeNul(const QByteArray &text)
{
    return text.contains('\0') ? text.left(text.indexOf('\0')) : text;
}

qint64 plainNumber(const QByteArray &whole, int base)
{
    const QByteArray text = beforeNul(whole);
    int at = 0;
    while (at < text.size() && isOneOf(" \t\n\v\f\r", text.at(at)))
        ++at;
    if (at < text.size() && text.at(at) == '+')
        ++at;
    return wholeNumber(text, at, base, UINT_MAX);
}

void checkNumbers(const QByteArray &text)
{
    const int bases[] = {8, 10, 16};
    for (int base : bases) {
        bool ok = false;
        const qint64 expected = plainNumber(text, base);
        fuzzSame(qMax<qint64>(expected, 0), NumberTextToUInt(text, base, &ok), "the number");
        fuzzSame(expected >= 0, ok, "whether it is a number");
        int at = 0;
        while (at < text.size() && valueOf(text.at(at)) >= base)
            ++at;
        const QByteArray number = beforeNul(text.mid(at));
        fuzzSame(qMax<qint64>(wholeNumber(number, 0, base, INT_MAX), 0),
                 ExtractPLCDeviceAddress(text, base), "the device number");
    }
    fuzzSame(-1, ExtractPLCDeviceAddress(text, text.size() % 8), "a number of no base");
}

void checkHexadecimal(const std::vector<char> &bytes, int length)
{
    const QByteArray text =
        beforeNul(QByteArray(bytes.data(), qBound(0, length, static_cast<int>(bytes.size()))));
    const bool prefixed = text.startsWith("0x") || text.startsWith("0X");
    quint64 expected = 0;
    for (int i = prefixed ? 2 : 0; i < text.size(); ++i) {
        const int digit = valueOf(text.at(i));
        if (digit > 15) {
            expected = 0;
            break;
        }
        expected = (expected * 16 + static_cast<quint64>(digit)) & 0xFFFFFFFFu;
    }
    fuzzSame(static_cast<qint64>(expected), HexToUInt(bytes.data(), length), "the hex text");
}

void checkPrefix(const QByteArray &text)
{
    int length = 0;
    while (
        length < text.size() &&
        QByteArray("abcdefghijklmnopqrstuvwxyz_").contains(QByteArray(text).toLower().at(length)))
        ++length;
    fuzzSame(text.left(length), ExtractPrefixSymbol(text), "the symbol");
    fuzzSame(text.left(length),
             ExtractPrefixSymbol(QString::fromLatin1(text.constData(), text.size())),
             "the text's symbol");
}

char upper(const QByteArray &text, int i)
{
    const char c = i < text.size() ? text.at(i) : '\0';
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

void checkParsing(const QByteArray &text)
{
    const char first = upper(text, 0);
    const char second = upper(text, 1);
    const bool numbered = second >= '0' && second <= '9';
    const QByteArray two = QByteArray(1, first) + second;
    QByteArray prefix(1, first);
    if (isOneOf("DEFLM", first) || two == "VM" || two == "VB" ||
        (isOneOf("ACTZ", first) && !numbered))
        prefix = two;
    if (two == "CT")
        prefix += text.mid(2, 1);
    if (first == 'P')
        prefix += text.mid(1, 3);
    const bool known =
        first != '\0' && (isOneOf("ABCDEFLMPRTWZ", first) || two == "VM" || two == "VB");
    const bool hexadecimal = first == 'B' || first == 'W' || two == "VB";
    const int length = first == 'P' ? 4 : two == "CT" ? 3 : prefix.size();
    const qint64 number = plainNumber(text.mid(length), hexadecimal ? 16 : 10);
    QByteArray gotPrefix;
    unsigned int gotNumber = 4711;
    const int parsed = KV_L20V_ParseAddress(text, gotPrefix, gotNumber);
    fuzzSame(known && (!hexadecimal || number >= 0), parsed, "whether it is an address");
    fuzzSame(known ? qMax<qint64>(number, 0) : 4711, gotNumber, "the address's number");
    fuzzSame(known ? prefix : QByteArray(1, first), gotPrefix, "the address's prefix");
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    const int length = static_cast<int>(input.below(64)) - 2;
    const QByteArray rest = input.rest();
    const std::vector<char> copy(rest.begin(), rest.end()); // nothing behind its end
    const QByteArray text = QByteArray::fromRawData(copy.data(), static_cast<int>(copy.size()));
    checkNumbers(text);
    checkPrefix(text);
    checkParsing(text);
    if (length <= rest.size())
        checkHexadecimal(copy, length);
    return 0;
}
