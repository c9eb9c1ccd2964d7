#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "tools/tools.h"

#include <cstring>

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
    // Requires: size > 0.
    LineWriter(char *dst, int size) : m_start(dst), m_at(dst), m_last(dst + size - 1), m_fits(true)
    {}

    bool fits() const { return m_fits; }

    void character(char c)
    {
        if (claim(1))
            *m_at++ = c;
    }

    template <size_t Size>
    void literal(const char (&text)[Size])
    {
        if (claim(Size - 1)) {
            std::memcpy(m_at, text, Size - 1);
            m_at += Size - 1;
        }
    }

    void text(const char *s)
    {
        for (; *s != '\0'; ++s)
            character(*s);
    }

    // Requires: the format begins with its only conversion, "%0<digit>u" or "%0<digit>X".
    void formatted(const char *format, unsigned int number)
    {
        const int minDigits = format[2] - '0';
        if (format[3] == 'X')
            digits<16>(number, minDigits);
        else
            digits<10>(number, minDigits);
        text(format + 4);
    }

    void decimal(unsigned int number, int minDigits = 1) { digits<10>(number, minDigits); }

    void hexWordField(const unsigned char *leastFirst)
    {
        if (!claim(5))
            return;
        *m_at++ = ' ';
        *m_at++ = HEX_DIGITS[leastFirst[1] >> 4];
        *m_at++ = HEX_DIGITS[leastFirst[1] & 0xF];
        *m_at++ = HEX_DIGITS[leastFirst[0] >> 4];
        *m_at++ = HEX_DIGITS[leastFirst[0] & 0xF];
    }

    int end()
    {
        literal("\r\n");
        if (m_fits)
            *m_at = '\0';
        return m_fits ? static_cast<int>(m_at - m_start) : 0;
    }

private:
    bool claim(int length)
    {
        m_fits = m_fits && m_last - m_at >= length;
        return m_fits;
    }

    template <unsigned int Base>
    void digits(unsigned int number, int minDigits)
    {
        char reversed[10];
        int n = 0;
        do {
            reversed[n++] = HEX_DIGITS[number % Base];
            number /= Base;
        } while (number != 0 || n < minDigits);
        if (!claim(n))
            return;
        while (n > 0)
            *m_at++ = reversed[--n];
    }

    char *const m_start;
    char *m_at;
    char *const m_last; // the place of the terminating zero
    bool m_fits;
};

// One to nine digits, as nearly every number has, without a look at blanks, signs and limits.
// @return whether the text is that
bool parseShortDecimal(const char *text, int length, unsigned int *number)
{
    if (length < 1 || length > 9)
        return false;
    unsigned int value = 0;
    for (int i = 0; i < length; ++i) {
        if (!isDigit(text[i]))
            return false;
        value = value * 10 + static_cast<unsigned int>(text[i] - '0');
    }
    *number = value;
    return true;
}

} // namespace

int KV_L20V_ParseAddress(const QByteArray &address, QByteArray &prefix, unsigned int &number)
{
    const KV_L20V_Device &device = KV_L20V_DeviceOf(address);
    const int letters = static_cast<int>(std::strlen(device.prefix));
    if (letters == 0) {
        prefix.append(upperAt(address, 0));
        return 0;
    }
    const int length = qMin(letters, address.size());
    // Of the four letters of PCTC the first one alone is put into upper case.
    char name[4] = {upperAt(address, 0), upperAt(address, 1), '\0', '\0'};
    for (int i = letters == 4 ? 1 : 2; i < length; ++i)
        name[i] = address.at(i);
    prefix.append(name, letters > 2 ? length : letters);
    const char *const text = address.constData() + length;
    const int textLength = address.size() - length;
    const bool decimal = device.number.base == 10;
    if (decimal && parseShortDecimal(text, textLength, &number))
        return 1;
    bool converted = false;
    number = NumberTextToUInt(text, textLength, device.number.base, &converted);
    return converted || decimal ? 1 : 0;
}

bool KV_L20V_HexWordDataFormat(const QByteArray &address)
{
    return KV_L20V_DeviceOf(address).forms.read == KV_L20V_HexWords;
}

int KV_L20V_HostLinkPackRDSWordsCmd(char *dst, int size, const char *prefix, unsigned int number,
                                    const char *format, unsigned int words)
{
    LineWriter line(dst, size);
    line.literal("RDS ");
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
    line.literal("RDS ");
    line.text(address);
    line.character(' ');
    line.decimal(count);
    return line.end();
}

int KV_L20V_HostLinkPackWRSWordsCmd(char *dst, int size, const char *prefix, unsigned int number,
                                    const char *format, const unsigned char *words, int count)
{
    LineWriter line(dst, size);
    line.literal("WRS ");
    line.text(prefix);
    line.formatted(format, number);
    line.character(' ');
    line.decimal(static_cast<unsigned int>(count));
    for (int i = 0; i < count && line.fits(); ++i)
        line.hexWordField(words + 2 * i);
    return line.end();
}

int KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(char *dst, int size, const char *address,
                                                  const QByteArray &values)
{
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(values.constData());
    LineWriter line(dst, size);
    line.literal("WRS ");
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
    line.literal("WRS ");
    line.text(address);
    line.character(' ');
    line.decimal(static_cast<unsigned int>(bits.size()));
    for (int i = 0; i < bits.size() && line.fits(); ++i) {
        if (bits.at(i) != 0)
            line.literal(" 1");
        else
            line.literal(" 0");
    }
    return line.end();
}

int KV_L20V_HostLinkPackSetResetCmd(char *dst, int size, const char *name, int digits, int number,
                                    bool value)
{
    LineWriter line(dst, size);
    line.text(value ? "ST " : "RS ");
    line.text(name);
    line.decimal(static_cast<unsigned int>(number), digits);
    return line.end();
}
