#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"
#include "tools/tools.h"

#include <cstring>

namespace
{

const char HEX_DIGITS[] = "0123456789ABCDEF";
const char DIGIT_PAIRS[] = "00010203040506070809101112131415161718192021222324"
                           "25262728293031323334353637383940414243444546474849"
                           "50515253545556575859606162636465666768697071727374"
                           "75767778798081828384858687888990919293949596979899";
const char ZEROS[] = {'0', '0', '0', '0', '0', '0', '0', '0'}; // no format adds more than five
const unsigned int POWERS_OF_TEN[] = {1,      10,      100,      1000,      10000,
                                      100000, 1000000, 10000000, 100000000, 1000000000};

// Locale-free.
char upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The second byte of a one-character text is its terminating zero.
char upperAt(const QByteArray &text, int i)
{
    return i < text.size() ? upper(text.at(i)) : '\0';
}

bool isDecimal(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexadecimal(char c)
{
    return isDecimal(c) || (upper(c) >= 'A' && upper(c) <= 'F');
}

// The digits of a text of one to eight, up to its zero byte.
template <bool (*IsDigit)(char)>
KV_L20V_Digits shortDigits(const char *text)
{
    const char *first = text;
    while (*first == '0')
        ++first;
    const char *end = first;
    while (IsDigit(*end))
        ++end;
    const bool isShort = *end == '\0' && end != text && end - text <= 8;
    const KV_L20V_Digits digits = {isShort ? first : 0, static_cast<int>(end - first)};
    return digits;
}

// The pieces of a line. Each is put where there is room for it; the result is the place behind it.

template <size_t Size>
char *putLiteral(char *at, const char (&text)[Size])
{
    std::memcpy(at, text, Size - 1);
    return at + Size - 1;
}

char *putText(char *at, const char *text)
{
    while (*text != '\0')
        *at++ = *text++;
    return at;
}

char *putDecimal(char *at, unsigned int number, int minDigits = 1)
{
    int left = minDigits;
    while (left < 10 && number >= POWERS_OF_TEN[left])
        ++left;
    char *const end = at + left;
    char *digit = end;
    for (; left >= 2; left -= 2, number /= 100) {
        digit -= 2;
        std::memcpy(digit, DIGIT_PAIRS + 2 * (number % 100), 2);
    }
    if (left == 1)
        *--digit = static_cast<char>('0' + number);
    return end;
}

// Puts digits as "%0<digit>u" or "%0<digit>X" writes their number, with which the format begins,
// and the rest of the format.
char *putFormatted(char *at, const char *format, KV_L20V_Digits digits)
{
    std::memcpy(at, ZEROS, sizeof ZEROS);
    at += qMax(format[2] - '0' - digits.count, 0);
    for (const char *digit = digits.first; digits.count > 0; --digits.count)
        *at++ = upper(*digit++);
    return putText(at, format + 4);
}

char *putHexWordField(char *at, const unsigned char *leastFirst)
{
    at[0] = ' ';
    at[1] = HEX_DIGITS[leastFirst[1] >> 4];
    at[2] = HEX_DIGITS[leastFirst[1] & 0xF];
    at[3] = HEX_DIGITS[leastFirst[0] >> 4];
    at[4] = HEX_DIGITS[leastFirst[0] & 0xF];
    return at + 5;
}

// Puts "RDS " or "WRS ", the address as it stands, a blank and the count.
template <size_t Size>
char *putContinuous(char *at, const char (&command)[Size], const char *address, int count)
{
    at = putText(putLiteral(at, command), address);
    *at++ = ' ';
    return putDecimal(at, static_cast<unsigned int>(count));
}

// The same with a device and its number in place of the address.
template <size_t Size>
char *putWords(char *at, const char (&command)[Size], const KV_L20V_WordAddress &address, int count)
{
    at = putText(putLiteral(at, command), address.prefix);
    at = putFormatted(at, address.format, address.number);
    *at++ = ' ';
    return putDecimal(at, static_cast<unsigned int>(count));
}

// Ends the line that begins at a place. Returns its length.
int endLine(char *at, const char *start)
{
    std::memcpy(at, "\r\n", 3);
    return static_cast<int>(at - start) + 2;
}

// Whether a line has room for so many items of a length, each behind a blank, and for its end.
bool fits(qint64 characters, int itemLength, int count)
{
    const qint64 itemCharacters = itemLength + 1;
    return characters + itemCharacters * count + 2 < KV_L20V_COMMAND_BUFFER_SIZE;
}

// The same behind "WRS ", an address as it stands, a blank and the count.
bool fits(const QByteArray &address, int itemLength, int count)
{
    const qint64 size = address.size();
    return fits(4 + size + 1 + KV_L20V_DecimalDigits(count), itemLength, count);
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
    bool converted = false;
    number = NumberTextToUInt(text, textLength, device.number.base, &converted);
    return converted || device.number.base == 10 ? 1 : 0;
}

KV_L20V_Digits KV_L20V_ShortNumber(const KV_L20V_Device &device, const QByteArray &address)
{
    const char *text = address.constData();
    for (const char *letter = device.prefix; *letter != '\0'; ++letter)
        ++text;
    return device.number.base == 16 ? shortDigits<isHexadecimal>(text)
                                    : shortDigits<isDecimal>(text);
}

int KV_L20V_DecimalDigits(int number)
{
    int digits = 1;
    for (; number >= 10; number /= 10)
        ++digits;
    return digits;
}

int KV_L20V_HostLinkPackRDSWordsCmd(char *line, const KV_L20V_WordAddress &address, int count)
{
    return endLine(putWords(line, "RDS ", address, count), line);
}

int KV_L20V_HostLinkPackContinuousReadDataCmd(char *line, const QByteArray &address, int count)
{
    return endLine(putContinuous(line, "RDS ", address.constData(), count), line);
}

int KV_L20V_HostLinkPackWRSWordsCmd(char *line, const KV_L20V_WordAddress &address,
                                    const unsigned char *words, int count)
{
    char *at = putWords(line, "WRS ", address, count);
    if (!fits(at - line, KV_L20V_WORD_LENGTH, count))
        return 0;
    for (int i = 0; i < count; ++i)
        at = putHexWordField(at, words + 2 * i);
    return endLine(at, line);
}

int KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(char *line, const QByteArray &address,
                                                  const QByteArray &values)
{
    const int count = values.size() / 4;
    if (!fits(address, KV_L20V_NUMBER_LENGTH, count))
        return 0;
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(values.constData());
    char *at = putContinuous(line, "WRS ", address.constData(), count);
    for (int i = 0; i < count; ++i) {
        unsigned int value = 0;
        DataUnpack(bytes + 4 * i, "V", &value);
        *at++ = ' ';
        at = putDecimal(at, value, KV_L20V_NUMBER_LENGTH);
    }
    return endLine(at, line);
}

int KV_L20V_HostLinkPackWriteBitsCmd(char *line, const QByteArray &address, const QByteArray &bits)
{
    if (!fits(address, KV_L20V_BIT_LENGTH, bits.size()))
        return 0;
    char *at = putContinuous(line, "WRS ", address.constData(), bits.size());
    for (int i = 0; i < bits.size(); ++i) {
        at[0] = ' ';
        at[1] = bits.at(i) != 0 ? '1' : '0';
        at += 2;
    }
    return endLine(at, line);
}

int KV_L20V_HostLinkPackSetResetCmd(char *line, const char *name, int digits, int number,
                                    bool value)
{
    char *const at = putText(value ? putLiteral(line, "ST ") : putLiteral(line, "RS "), name);
    return endLine(putDecimal(at, static_cast<unsigned int>(number), digits), line);
}
