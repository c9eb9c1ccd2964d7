#include "tools/plc_address.h"

#include <cctype>
#include <climits>

namespace
{

bool isSymbolCharacter(char c)
{
    return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// -1 when the character is not a hexadecimal digit.
int hexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

bool isDigitOfBase(char c, int base)
{
    const int value = hexDigitValue(c);
    return value >= 0 && value < base;
}

bool isBlank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

} // namespace

QByteArray ExtractPrefixSymbol(const QByteArray &address)
{
    int length = 0;
    while (length < address.size() && isSymbolCharacter(address.at(length)))
        ++length;
    return address.left(length);
}

QByteArray ExtractPrefixSymbol(const QString &address)
{
    return ExtractPrefixSymbol(address.toLatin1());
}

int ExtractPLCDeviceAddress(const QByteArray &address, int base)
{
    if (base != 8 && base != 10 && base != 16)
        return -1;
    int start = 0;
    while (start < address.size() && !isDigitOfBase(address.at(start), base))
        ++start;
    const unsigned int number =
        NumberTextToUInt(address.constData() + start, address.size() - start, base);
    return number <= INT_MAX ? static_cast<int>(number) : 0;
}

int ExtractPLCDeviceAddress(const QString &address, int base)
{
    return ExtractPLCDeviceAddress(address.toLatin1(), base);
}

unsigned int HexToUInt(const char *text, int length)
{
    if (length < 1)
        return 0;
    if (text[0] == '0') {
        const bool prefixed = length > 1 && (text[1] == 'x' || text[1] == 'X');
        text += prefixed ? 2 : 1;
        length -= prefixed ? 2 : 1;
    }
    unsigned int value = 0;
    for (; length > 0 && *text != '\0'; ++text, --length) {
        const int digit = hexDigitValue(*text);
        if (digit < 0)
            return 0;
        value = value * 16 + static_cast<unsigned int>(digit);
    }
    return value;
}

unsigned int NumberTextToUInt(const QByteArray &text, int base, bool *ok)
{
    return NumberTextToUInt(text.constData(), text.size(), base, ok);
}

unsigned int NumberTextToUInt(const char *text, int length, int base, bool *ok)
{
    const char *const end = text + qstrnlen(text, static_cast<uint>(length));
    while (text < end && isBlank(*text))
        ++text;
    if (text < end && *text == '+')
        ++text;
    if (base == 16 && end - text > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text += 2;
    bool good = text < end;
    quint64 value = 0;
    for (; good && text < end; ++text) {
        const int digit = hexDigitValue(*text);
        value = value * static_cast<unsigned int>(base) + static_cast<unsigned int>(digit);
        good = digit >= 0 && digit < base && value <= UINT_MAX;
    }
    if (ok)
        *ok = good;
    return good ? static_cast<unsigned int>(value) : 0;
}
