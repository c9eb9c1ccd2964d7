#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"

#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"

#include <QtCore/QByteArray>

namespace
{

const quint64 UINT32_LIMIT = 0xFFFFFFFFu;

// The value of each character as a hexadecimal digit; for another character, a value that stays
// above every word wherever its digit stands.
const quint32 XX = 0x10000;
// clang-format off
const quint32 HEX_VALUE[256] = {
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
     0,  1,  2,  3,  4,  5,  6,  7,  8,  9, XX, XX, XX, XX, XX, XX,
    XX, 10, 11, 12, 13, 14, 15, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, 10, 11, 12, 13, 14, 15, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
    XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX, XX,
};
// clang-format on

quint32 hexValue(char c)
{
    return HEX_VALUE[static_cast<unsigned char>(c)];
}

// Ten digits as a number. @return whether they are digits
bool parseNumber(const char *digits, quint32 *value)
{
    bool good = true;
    quint64 number = 0;
    for (int i = 0; i < 10; ++i) {
        const unsigned int digit = static_cast<unsigned char>(digits[i] - '0');
        good = good && digit <= 9;
        number = number * 10 + digit;
    }
    *value = static_cast<quint32>(qMin(number, UINT32_LIMIT));
    return good;
}

// The kinds of items: their length, and their value. `parse` tells whether an item is good.

struct HexWord {
    enum { LENGTH = KV_L20V_WORD_LENGTH };

    static bool parse(const char *item, quint32 *value)
    {
        *value = hexValue(item[0]) << 12 | hexValue(item[1]) << 8 | hexValue(item[2]) << 4 |
                 hexValue(item[3]);
        return *value <= 0xFFFF;
    }
};

struct Number {
    enum { LENGTH = KV_L20V_NUMBER_LENGTH };

    static bool parse(const char *item, quint32 *value) { return parseNumber(item, value); }
};

struct BitDigit {
    enum { LENGTH = KV_L20V_BIT_LENGTH };

    static bool parse(const char *item, quint32 *value)
    {
        *value = static_cast<unsigned char>(*item - '0');
        return *value <= 1;
    }
};

// A contact and two numbers, of which PART (0, 1, 2) is the value.
template <int PART>
struct TimerItem {
    enum { LENGTH = KV_L20V_TIMER_ITEM_LENGTH };

    static bool parse(const char *item, quint32 *value)
    {
        quint32 parts[3];
        const bool good = BitDigit::parse(item, &parts[0]) && item[1] == ',' &&
                          parseNumber(item + 2, &parts[1]) && item[12] == ',' &&
                          parseNumber(item + 13, &parts[2]);
        if (good)
            *value = parts[PART];
        return good;
    }
};

// Where the value of an item with an index goes.

void storeWord(char *out, size_t index, quint32 value)
{
    out[2 * index] = static_cast<char>(value & 0xFF);
    out[2 * index + 1] = static_cast<char>(value >> 8 & 0xFF);
}

void storeUInt32(char *out, size_t index, quint32 value)
{
    storeWord(out, 2 * index, value);
    storeWord(out, 2 * index + 1, value >> 16);
}

void storeBit(char *out, size_t index, quint32 value)
{
    char &byte = out[index / 8];
    byte = static_cast<char>(static_cast<unsigned char>(byte) | value << (index % 8));
}

template <class Item, void (*Store)(char *out, size_t index, quint32 value)>
int decodeItems(const char *rsp, int length, int count, char *out)
{
    const int stride = Item::LENGTH + 1;
    const int items = (length - 1) / stride;
    if (items < 1 || length != items * stride + 1 || rsp[length - 2] != '\r' ||
        rsp[length - 1] != '\n')
        return -1;
    const int stored = qMin(items, count);
    const size_t last = static_cast<size_t>(items - 1);
    for (size_t i = 0;; ++i, rsp += stride) {
        quint32 value = 0;
        if (!Item::parse(rsp, &value))
            return -1;
        if (i < static_cast<size_t>(stored))
            Store(out, i, value);
        if (i == last)
            return stored;
        if (rsp[Item::LENGTH] != ' ')
            return -1;
    }
}

} // namespace

int KV_L20V_HexWordsOf(const char *rsp, int length, int count, char *out)
{
    return decodeItems<HexWord, storeWord>(rsp, length, count, out);
}

int KV_L20V_NumbersOf(const char *rsp, int length, int count, char *out)
{
    return decodeItems<Number, storeUInt32>(rsp, length, count, out);
}

int KV_L20V_CurrentsOf(const char *rsp, int length, int count, char *out)
{
    return decodeItems<TimerItem<1>, storeUInt32>(rsp, length, count, out);
}

int KV_L20V_PresetsOf(const char *rsp, int length, int count, char *out)
{
    return decodeItems<TimerItem<2>, storeUInt32>(rsp, length, count, out);
}

int KV_L20V_BitsOf(const char *rsp, int length, int count, char *out)
{
    return decodeItems<BitDigit, storeBit>(rsp, length, count, out);
}

int KV_L20V_ContactsOf(const char *rsp, int length, int count, char *out)
{
    return decodeItems<TimerItem<0>, storeBit>(rsp, length, count, out);
}
