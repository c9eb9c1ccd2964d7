#include "tools/data_pack.h"

#include <climits>
#include <cstddef>
#include <cstring>

namespace
{

struct Item {
    char type;
    bool counted;
    size_t count; // 1 for a single item
};

// Takes the next item off the format. A count that is followed by the end of the format gives the
// type NUL, which no table holds, and leaves the format at its end.
Item takeItem(const char *&fmt)
{
    Item item = {'\0', false, 1};
    if (*fmt >= '0' && *fmt <= '9') {
        item.counted = true;
        item.count = 0;
        for (; *fmt >= '0' && *fmt <= '9'; ++fmt) {
            const size_t digit = static_cast<size_t>(*fmt - '0');
            // Compared first: ten times the count may be beyond 32 bits.
            const bool fits = item.count <= (INT_MAX - digit) / 10;
            item.count = fits ? item.count * 10 + digit : INT_MAX;
        }
    }
    item.type = *fmt;
    if (*fmt != '\0')
        ++fmt;
    return item;
}

bool isFiller(const Item &item)
{
    return item.type == 'x' || item.type == 'X';
}

// Width of one value in bytes; 0 for a character that is not an item.
size_t valueWidth(char type)
{
    switch (type) {
    case 'C':
    case 'c':
    case 'x':
    case 'X':
        return 1;
    case 'S':
    case 's':
    case 'v':
    case 'n':
        return 2;
    case 'I':
    case 'i':
    case 'L':
    case 'l':
    case 'V':
    case 'N':
        return 4;
    default:
        return 0;
    }
}

bool countAllowed(const Item &item)
{
    if (isFiller(item))
        return true;
    return item.count > 0 && item.type != '\0' && std::strchr("CcvnVN", item.type) != 0;
}

bool isBigEndianType(char type)
{
    return type == 'n' || type == 'N';
}

void storeValue(unsigned char *dst, unsigned int value, size_t width, bool bigEndian)
{
    for (size_t i = 0; i < width; ++i)
        dst[bigEndian ? width - 1 - i : i] = static_cast<unsigned char>((value >> (8 * i)) & 0xFF);
}

unsigned int loadValue(const unsigned char *src, size_t width, bool bigEndian)
{
    unsigned int value = 0;
    for (size_t i = 0; i < width; ++i)
        value |= static_cast<unsigned int>(src[bigEndian ? width - 1 - i : i]) << (8 * i);
    return value;
}

// Width and order are constant in a loop over an array: the compiler then moves whole words.

template <typename Value, bool BigEndian>
void storeArray(unsigned char *dst, const void *values, size_t count)
{
    const Value *in = static_cast<const Value *>(values);
    for (size_t k = 0; k < count; ++k)
        storeValue(dst + k * sizeof(Value), in[k], sizeof(Value), BigEndian);
}

template <typename Value, bool BigEndian>
void loadArray(void *values, const unsigned char *src, size_t count)
{
    Value *out = static_cast<Value *>(values);
    for (size_t k = 0; k < count; ++k)
        out[k] = static_cast<Value>(loadValue(src + k * sizeof(Value), sizeof(Value), BigEndian));
}

struct ArrayForm {
    void (*store)(unsigned char *dst, const void *values, size_t count);
    void (*load)(void *values, const unsigned char *src, size_t count);
};

template <typename Value, bool BigEndian>
const ArrayForm &arrayForm()
{
    static const ArrayForm form = {storeArray<Value, BigEndian>, loadArray<Value, BigEndian>};
    return form;
}

const ArrayForm &arrayForm(char type)
{
    switch (valueWidth(type)) {
    case 1:
        return arrayForm<unsigned char, false>();
    case 2:
        return isBigEndianType(type) ? arrayForm<unsigned short, true>()
                                     : arrayForm<unsigned short, false>();
    default:
        return isBigEndianType(type) ? arrayForm<unsigned int, true>()
                                     : arrayForm<unsigned int, false>();
    }
}

} // namespace

int VDataPack(unsigned char *dst, const char *fmt, va_list args)
{
    unsigned char *out = dst;
    while (*fmt != '\0') {
        const Item item = takeItem(fmt);
        const size_t width = valueWidth(item.type);
        if (item.counted && !countAllowed(item))
            return -1;
        if (width == 0)
            return 0;
        if (item.type == 'x' && item.count > 0)
            std::memset(out, 0, item.count);
        else if (!isFiller(item) && item.counted)
            arrayForm(item.type).store(out, va_arg(args, const void *), item.count);
        else if (!isFiller(item))
            storeValue(out, static_cast<unsigned int>(va_arg(args, int)), width,
                       isBigEndianType(item.type));
        out += item.count * width;
    }
    return static_cast<int>(out - dst);
}

int DataPack(unsigned char *dst, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int packed = VDataPack(dst, fmt, args);
    va_end(args);
    return packed;
}

QByteArray VByteArrayPack(const char *fmt, va_list args)
{
    QByteArray packed;
    while (*fmt != '\0') {
        const Item item = takeItem(fmt);
        const size_t width = valueWidth(item.type);
        if (width == 0 || (item.counted && (isFiller(item) || !countAllowed(item))))
            return QByteArray();
        const int start = packed.size();
        if (item.count > static_cast<size_t>(INT_MAX - start) / width)
            return QByteArray();
        packed.resize(start + static_cast<int>(item.count * width));
        unsigned char *out = reinterpret_cast<unsigned char *>(packed.data()) + start;
        if (isFiller(item))
            *out = 0;
        if (item.counted)
            arrayForm(item.type).store(out, va_arg(args, const void *), item.count);
        else if (!isFiller(item))
            storeValue(out, static_cast<unsigned int>(va_arg(args, int)), width,
                       isBigEndianType(item.type));
    }
    return packed;
}

QByteArray ByteArrayPack(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    QByteArray packed = VByteArrayPack(fmt, args);
    va_end(args);
    return packed;
}

int VDataUnpack(const unsigned char *src, const char *fmt, va_list args)
{
    const unsigned char *in = src;
    while (*fmt != '\0') {
        const Item item = takeItem(fmt);
        const size_t width = valueWidth(item.type);
        if (width == 0 || (item.counted && !countAllowed(item)))
            return -1;
        if (!isFiller(item))
            arrayForm(item.type).load(va_arg(args, void *), in, item.count);
        in += item.count * width;
    }
    return static_cast<int>(in - src);
}

int DataUnpack(const unsigned char *src, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int consumed = VDataUnpack(src, fmt, args);
    va_end(args);
    return consumed;
}
