#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"

#include "tools/tools.h"

namespace
{

const int HEX_WORD_DIGITS = 4;
const int DEC10_DIGITS = 10;
const int TIMER_COUNTER_LENGTH = 23;
const quint64 UINT32_LIMIT = 0xFFFFFFFFu;

// The ten-digit number at a position of the reply; 0 beyond its end.
quint32 dec10At(const char *rsp, int length, int position)
{
    if (position > length - DEC10_DIGITS)
        return 0;
    quint64 value = 0;
    for (int i = 0; i < DEC10_DIGITS; ++i)
        value = value * 10 + static_cast<quint64>(rsp[position + i] - '0');
    return static_cast<quint32>(qMin(value, UINT32_LIMIT));
}

// The value of each character as a hexadecimal digit; 16 for one that is none.
// clang-format off
const unsigned char HEX_VALUE[256] = {
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
     0,  1,  2,  3,  4,  5,  6,  7,  8,  9, 16, 16, 16, 16, 16, 16,
    16, 10, 11, 12, 13, 14, 15, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 10, 11, 12, 13, 14, 15, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
    16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
};
// clang-format on

unsigned int hexValue(char c)
{
    return HEX_VALUE[static_cast<unsigned char>(c)];
}

bool isHexWord(const char *item)
{
    return (hexValue(item[0]) | hexValue(item[1]) | hexValue(item[2]) | hexValue(item[3])) < 16;
}

bool isDec10(const char *item)
{
    unsigned int above = 0;
    for (int i = 0; i < DEC10_DIGITS; ++i)
        above |= static_cast<unsigned char>(item[i] - '0') > 9;
    return above == 0;
}

bool isBit(const char *item)
{
    return *item == '0' || *item == '1';
}

bool isTimerCounter(const char *item)
{
    return isBit(item) && item[1] == ',' && isDec10(item + 2) && item[12] == ',' &&
           isDec10(item + 13);
}

// Items of one length with single blanks between them, and CR LF behind the last.
template <int ItemLength, bool (*IsItem)(const char *)>
bool areItems(const char *rsp, int length)
{
    const int stride = ItemLength + 1;
    if (length <= stride || (length - 1) % stride != 0)
        return false;
    const char *const last = rsp + length - 1 - stride;
    for (; rsp < last; rsp += stride) {
        if (!IsItem(rsp) || rsp[ItemLength] != ' ')
            return false;
    }
    return IsItem(rsp) && rsp[ItemLength] == '\r' && rsp[ItemLength + 1] == '\n';
}

} // namespace

bool isCertainlyHexWords(const char *rsp, int length)
{
    return areItems<HEX_WORD_DIGITS, isHexWord>(rsp, length);
}

bool isCertainlyDec10(const char *rsp, int length)
{
    return areItems<DEC10_DIGITS, isDec10>(rsp, length);
}

bool isCertainlyTimerCounter(const char *rsp, int length)
{
    return areItems<TIMER_COUNTER_LENGTH, isTimerCounter>(rsp, length);
}

bool isCertainlyBits(const char *rsp, int length)
{
    return areItems<1, isBit>(rsp, length);
}

int hexWordsRspToByteArray(const char *rsp, int length, QByteArray &target)
{
    const int room = target.size() / 2;
    char *out = target.data();
    int stored = 0;
    for (int at = 0; stored < room && at + HEX_WORD_DIGITS <= length; at += HEX_WORD_DIGITS + 1) {
        const char *const digits = rsp + at;
        out[2 * stored] = static_cast<char>(hexValue(digits[2]) << 4 | hexValue(digits[3]));
        out[2 * stored + 1] = static_cast<char>(hexValue(digits[0]) << 4 | hexValue(digits[1]));
        ++stored;
    }
    return stored;
}

QByteArray dec10RspToByteArray(const char *rsp, int length, const Dec10Layout &layout, int count)
{
    QByteArray values(4 * count, '\0');
    char *out = values.data();
    int position = layout.first;
    for (int k = 0; k < count && position < length; ++k, position += layout.stride, out += 4) {
        const quint32 value = dec10At(rsp, length, position);
        for (int byte = 0; byte < 4; ++byte)
            out[byte] = static_cast<char>((value >> (8 * byte)) & 0xFF);
    }
    return values;
}

QByteArray digitsRspToBits(const char *rsp, int length, int stride, int count)
{
    QByteArray bits(static_cast<int>(NumOfBitsToNumOfBytes(0, static_cast<unsigned int>(count))),
                    '\0');
    unsigned char *out = reinterpret_cast<unsigned char *>(bits.data());
    int position = 0;
    for (int i = 0; i < count && position < length; ++i, position += stride) {
        const char digit = rsp[position];
        if (digit == '\r' || digit == '\n')
            break;
        out[i / 8] = static_cast<unsigned char>(out[i / 8] | ((digit != '0') << (i % 8)));
    }
    return bits;
}
