#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"

#include "tools/tools.h"

namespace
{

const int HEX_WORD_DIGITS = 4;
const int DEC10_DIGITS = 10;
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

} // namespace

int hexWordsRspToByteArray(const char *rsp, int length, QByteArray &target)
{
    const int room = target.size() / 2;
    char *out = target.data();
    int stored = 0;
    for (int at = 0; stored < room && at + HEX_WORD_DIGITS <= length; at += HEX_WORD_DIGITS + 1) {
        const unsigned int word = HexToUInt(rsp + at, HEX_WORD_DIGITS);
        out[2 * stored] = static_cast<char>(word & 0xFF);
        out[2 * stored + 1] = static_cast<char>(word >> 8);
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
        setBit(out, i, digit != '0');
    }
    return bits;
}
