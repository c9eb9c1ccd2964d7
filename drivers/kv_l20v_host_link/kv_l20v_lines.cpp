#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "tools/tools.h"

#include <cstring>

namespace
{

const char HEX_DIGITS[] = "0123456789ABCDEF";
const char DIGIT_PAIRS[] = "00010203040506070809101112131415161718192021222324"
                           "25262728293031323334353637383940414243444546474849"
                           "50515253545556575859606162636465666768697071727374"
                           "75767778798081828384858687888990919293949596979899";
const unsigned int POWERS_OF_TEN[] = {1,      10,      100,      1000,      10000,
                                      100000, 1000000, 10000000, 100000000, 1000000000};

// Locale-free; the second byte of a one-character text is its terminating zero.
char upperAt(const QByteArray &text, int i)
{
    const char c = i < text.size() ? text.at(i) : '\0';
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The value of a digit; not below Base for another character.
template <unsigned int Base>
unsigned int valueOf(char c)
{
    const unsigned int digit = static_cast<unsigned char>(c - '0');
    if (digit <= 9 || Base == 10)
        return digit;
    const unsigned int letter = static_cast<unsigned char>((c | 0x20) - 'a');
    return letter + 10;
}

// The number of a text of one to eight digits, up to its zero byte.
template <unsigned int Base>
KV_L20V_Number parseShort(const char *text)
{
    const char *at = text;
    unsigned int value = 0;
    for (unsigned int digit = 0; (digit = valueOf<Base>(*at)) < Base; ++at)
        value = value * Base + digit;
    const KV_L20V_Number number = {value, *at == '\0' && at != text && at - text <= 8};
    return number;
}

// Writes one line into a bounded buffer; from the first part that does not fit on, nothing is
// written.
class LineWriter
{
public:
    // Requires: size > 0.
    LineWriter(char *dst, int size) : m_start(dst), m_at(dst), m_room(size - 1) {}

    bool fits() const { return m_room >= 0; }

    void character(char c)
    {
        if (claim(1))
            *m_at++ = c;
    }

    template <size_t Size>
    void literal(const char (&text)[Size])
    {
        if (claim(static_cast<int>(Size) - 1)) {
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
            hexadecimal(number, minDigits);
        else
            decimal(number, minDigits);
        text(format + 4);
    }

    void decimal(unsigned int number, int minDigits = 1)
    {
        int left = minDigits;
        while (left < 10 && number >= POWERS_OF_TEN[left])
            ++left;
        if (!claim(left))
            return;
        m_at += left;
        char *digit = m_at;
        for (; left >= 2; left -= 2, number /= 100) {
            digit -= 2;
            std::memcpy(digit, DIGIT_PAIRS + 2 * (number % 100), 2);
        }
        if (left == 1)
            *--digit = static_cast<char>('0' + number);
    }

    void hexadecimal(unsigned int number, int minDigits)
    {
        int left = minDigits;
        while (left < 8 && number >> 4 * left != 0)
            ++left;
        if (!claim(left))
            return;
        m_at += left;
        for (char *digit = m_at; left > 0; --left, number >>= 4)
            *--digit = HEX_DIGITS[number & 0xF];
    }

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
        if (!fits())
            return 0;
        *m_at = '\0';
        return static_cast<int>(m_at - m_start);
    }

private:
    bool claim(int length)
    {
        m_room -= length;
        return fits();
    }

    char *const m_start;
    char *m_at;
    int m_room; // left for characters before the terminating zero; below 0 once one did not fit
};

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
    bool converted = false;
    number = NumberTextToUInt(text, textLength, device.number.base, &converted);
    return converted || device.number.base == 10 ? 1 : 0;
}

KV_L20V_Number KV_L20V_ShortNumber(const KV_L20V_Device &device, const QByteArray &address)
{
    const char *text = address.constData();
    for (const char *letter = device.prefix; *letter != '\0'; ++letter)
        ++text;
    return device.number.base == 16 ? parseShort<16>(text) : parseShort<10>(text);
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
