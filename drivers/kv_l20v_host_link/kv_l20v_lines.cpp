#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"

#include "tools/tools.h"

#include <cstdio>

namespace
{

const char HEX_DIGITS[] = "0123456789ABCDEF";

// Locale-free; the second byte of a one-character text is its terminating zero.
char upperAt(const QByteArray &text, int i)
{
    const char c = i < text.size() ? text.at(i) : '\0';
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Writes one line into a bounded buffer; what does not fit is dropped and remembered.
class LineWriter
{
public:
    LineWriter(char *dst, int size) : m_dst(dst), m_room(size - 1), m_length(0), m_fits(size > 0) {}

    bool fits() const { return m_fits; }

    void character(char c)
    {
        if (m_length >= m_room)
            m_fits = false;
        else
            m_dst[m_length++] = c;
    }

    void text(const char *s)
    {
        for (; *s != '\0'; ++s)
            character(*s);
    }

    // A printf format with one conversion "%0<width>u" or "%0<width>X"; a format of another shape
    // goes the slow way.
    void formatted(const char *format, unsigned int number)
    {
        const bool known = format[0] == '%' && format[1] == '0' && isDigit(format[2]) &&
                           (format[3] == 'u' || format[3] == 'X');
        if (known) {
            const int width = format[2] - '0';
            digits(number, format[3] == 'u' ? 10 : 16, width);
            text(format + 4);
            return;
        }
        const int room = m_room - m_length + 1;
        const int written =
            m_fits ? std::snprintf(m_dst + m_length, static_cast<size_t>(room), format, number)
                   : -1;
        if (written < 0 || written >= room)
            m_fits = false;
        else
            m_length += written;
    }

    void decimal(unsigned int number, int minDigits = 1) { digits(number, 10, minDigits); }

    void hexByte(unsigned char byte)
    {
        character(HEX_DIGITS[byte >> 4]);
        character(HEX_DIGITS[byte & 0xF]);
    }

    int end()
    {
        text("\r\n");
        if (m_fits)
            m_dst[m_length] = '\0';
        return m_fits ? m_length : 0;
    }

private:
    void digits(unsigned int number, unsigned int base, int minDigits)
    {
        char reversed[10];
        int n = 0;
        do {
            reversed[n++] = HEX_DIGITS[number % base];
            number /= base;
        } while (number != 0);
        for (int zeros = n; zeros < minDigits; ++zeros)
            character('0');
        while (n > 0)
            character(reversed[--n]);
    }

    char *m_dst;
    int m_room; // without the terminating zero
    int m_length;
    bool m_fits;
};

enum PrefixForm {
    UnknownPrefix,
    OneLetter,
    OneLetterHex,
    TwoLetters,
    TwoLettersHex,
    ThreeLetters,
    FourLetters
};

PrefixForm prefixForm(char c0, char c1)
{
    switch (c0) {
    case 'A':
    case 'T':
    case 'Z':
        return isDigit(c1) ? OneLetter : TwoLetters;
    case 'B':
    case 'W':
        return OneLetterHex;
    case 'C':
        if (c1 == 'T')
            return ThreeLetters;
        return isDigit(c1) ? OneLetter : TwoLetters;
    case 'D':
    case 'E':
    case 'F':
    case 'L':
    case 'M':
        return TwoLetters;
    case 'P':
        return FourLetters;
    case 'R':
        return OneLetter;
    case 'V':
        if (c1 == 'M')
            return TwoLetters;
        return c1 == 'B' ? TwoLettersHex : UnknownPrefix;
    default:
        return UnknownPrefix;
    }
}

} // namespace

int KV_L20V_ParseAddress(const QByteArray &address, QByteArray &prefix, unsigned int &number)
{
    const char c0 = upperAt(address, 0);
    const char c1 = upperAt(address, 1);
    const PrefixForm form = prefixForm(c0, c1);
    int length = 1;
    const int before = prefix.size();
    prefix.append(c0);
    if (form == UnknownPrefix)
        return 0;
    if (form == TwoLetters || form == TwoLettersHex || form == ThreeLetters) {
        prefix.append(c1);
        length = 2;
    }
    if (form == ThreeLetters)
        length = 3;
    if (form == FourLetters)
        length = 4;
    length = qMin(length, address.size());
    for (int i = prefix.size() - before; i < length; ++i)
        prefix.append(address.at(i));
    const bool hexadecimal = form == OneLetterHex || form == TwoLettersHex;
    bool converted = false;
    number = NumberTextToUInt(address.constData() + length, address.size() - length,
                              hexadecimal ? 16 : 10, &converted);
    return converted || !hexadecimal ? 1 : 0;
}

bool KV_L20V_HexWordDataFormat(const QByteArray &address)
{
    const char second = upperAt(address, 1);
    switch (upperAt(address, 0)) {
    case 'B':
    case 'R':
    case 'W':
    case 'Z':
        return true;
    case 'C':
        return second == 'R' || second == 'M';
    case 'D':
    case 'E':
    case 'F':
    case 'T':
        return second == 'M';
    case 'L':
    case 'M':
        return second == 'R';
    case 'V':
        return second == 'B' || second == 'M';
    default:
        return false;
    }
}

bool KV_L20V_Dec10DataFormat(const QByteArray &address)
{
    const char first = upperAt(address, 0);
    const char second = upperAt(address, 1);
    return first == 'A' || ((first == 'C' || first == 'T') && (second == 'C' || second == 'S'));
}

bool KV_L20V_TimerCounterBits(const QByteArray &address)
{
    const char first = upperAt(address, 0);
    if (first != 'C' && first != 'T')
        return false;
    const bool numbered = address.size() > 1 && isDigit(address.at(1));
    return numbered || (first == 'C' && qstrncmp(address.constData() + 1, "TC", 2) == 0);
}

bool KV_L20V_BitRunDevice(const QByteArray &address)
{
    if (address.isEmpty())
        return false;
    const char second = address.size() > 1 ? address.at(1) : '\0';
    switch (address.at(0)) {
    case 'B':
    case 'L':
    case 'M':
    case 'R':
        return true;
    case 'V':
        return second == 'B';
    case 'C':
        return second == 'R';
    default:
        return false;
    }
}

bool KV_L20V_HasSetResetLine(const QByteArray &prefix)
{
    const char first = upperAt(prefix, 0);
    return first == 'C' || first == 'T';
}

int KV_L20V_HostLinkPackRDSWordsCmd(char *dst, int size, const char *prefix, unsigned int number,
                                    const char *format, unsigned int words)
{
    LineWriter line(dst, size);
    line.text("RDS ");
    line.text(prefix);
    line.formatted(format, number);
    line.character(' ');
    line.decimal(words);
    return line.end();
}

int KV_L20V_HostLinkPackContinuousReadDataCmd(char *dst, int size, const char *address,
                                              unsigned int count)
{
    LineWriter line(dst, size);
    line.text("RDS ");
    line.text(address);
    line.character(' ');
    line.decimal(count);
    return line.end();
}

int KV_L20V_HostLinkPackWRSWordsCmd(char *dst, int size, const char *prefix, unsigned int number,
                                    const char *format, const unsigned char *words, int count)
{
    LineWriter line(dst, size);
    line.text("WRS ");
    line.text(prefix);
    line.formatted(format, number);
    line.character(' ');
    line.decimal(static_cast<unsigned int>(count));
    for (int i = 0; i < count && line.fits(); ++i) {
        line.character(' ');
        line.hexByte(words[2 * i + 1]);
        line.hexByte(words[2 * i]);
    }
    return line.end();
}

int KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(char *dst, int size, const char *address,
                                                  const QByteArray &values)
{
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(values.constData());
    LineWriter line(dst, size);
    line.text("WRS ");
    line.text(address);
    line.character(' ');
    line.decimal(static_cast<unsigned int>(values.size() / 4));
    for (int i = 0; i + 4 <= values.size() && line.fits(); i += 4) {
        unsigned int value = 0;
        DataUnpack(bytes + i, "V", &value);
        line.character(' ');
        line.decimal(value, 10);
    }
    return line.end();
}

int KV_L20V_HostLinkPackWriteBitsCmd(char *dst, int size, const char *address,
                                     const QByteArray &bits)
{
    LineWriter line(dst, size);
    line.text("WRS ");
    line.text(address);
    line.character(' ');
    line.decimal(static_cast<unsigned int>(bits.size()));
    for (int i = 0; i < bits.size() && line.fits(); ++i) {
        line.character(' ');
        line.character(bits.at(i) != 0 ? '1' : '0');
    }
    return line.end();
}

int KV_L20V_HostLinkPackSetResetCmd(char *dst, int size, const QByteArray &prefix, int number,
                                    bool value)
{
    const bool ctc =
        upperAt(prefix, 0) == 'C' && upperAt(prefix, 1) == 'T' && upperAt(prefix, 2) == 'C';
    const char letter[] = {upperAt(prefix, 0), '\0'};
    LineWriter line(dst, size);
    line.text(value ? "ST " : "RS ");
    line.text(ctc ? "CTC" : letter);
    line.decimal(static_cast<unsigned int>(number), ctc ? 1 : 4);
    return line.end();
}
