#include "plain_forms.h"

#include <cstring>
#include <zlib.h>

PlainCrcTable plainReflectedTable(unsigned int polynomial)
{
    PlainCrcTable table;
    for (unsigned int i = 0; i < 256; ++i) {
        table.entry[i] = i;
        for (int bit = 0; bit < 8; ++bit)
            table.entry[i] = (table.entry[i] >> 1) ^ ((table.entry[i] & 1) != 0 ? polynomial : 0);
    }
    return table;
}

PlainCrcTable plainCcittTable()
{
    PlainCrcTable table;
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int r = i << 8;
        for (int bit = 0; bit < 8; ++bit)
            r = (r << 1) ^ ((r & 0x8000) != 0 ? 0x1021 : 0);
        table.entry[i] = r & 0xFFFF;
    }
    return table;
}

unsigned short plainReflected16(const PlainCrcTable &table, const unsigned char *data, int length)
{
    unsigned int crc = 0;
    for (int i = 0; i < length; ++i)
        crc = (crc >> 8) ^ table.entry[(crc ^ data[i]) & 0xFF];
    return static_cast<unsigned short>(crc);
}

unsigned short plainCcitt(const PlainCrcTable &table, const unsigned char *data, int length)
{
    unsigned int crc = 0;
    for (int i = 0; i < length; ++i)
        crc = ((crc << 8) & 0xFFFF) ^ table.entry[(crc >> 8) ^ data[i]];
    return static_cast<unsigned short>(crc);
}

unsigned int plainReflected32(const PlainCrcTable &table, const unsigned char *data, int length)
{
    unsigned int crc = 0xFFFFFFFFu;
    for (int i = 0; i < length; ++i)
        crc = (crc >> 8) ^ table.entry[(crc ^ data[i]) & 0xFF];
    return crc;
}

unsigned short plainSick(const unsigned char *data, int length)
{
    unsigned int crc = 0;
    unsigned int previous = 0;
    for (int i = 0; i < length; ++i) {
        crc = ((crc << 1) ^ ((crc & 0x8000) != 0 ? 0x8005 : 0)) & 0xFFFF;
        crc ^= data[i] | previous << 8;
        previous = data[i];
    }
    return static_cast<unsigned short>(crc);
}

unsigned int plainSum(const unsigned char *data, int length)
{
    unsigned int sum = 0;
    for (int i = 0; i < length; ++i)
        sum += data[i];
    return sum;
}

unsigned int plainXor(const unsigned char *data, int length)
{
    unsigned char check = 0;
    for (int i = 0; i < length; ++i)
        check = static_cast<unsigned char>(check ^ data[i]);
    return check;
}

void plainCopyBits(unsigned char *target, const unsigned char *source, int length, int shift)
{
    if (shift == 0) {
        std::memcpy(target, source, static_cast<unsigned int>(length));
        return;
    }
    unsigned int carried = target[0] & ((1u << shift) - 1);
    for (int i = 0; i < length; ++i) {
        carried |= static_cast<unsigned int>(source[i]) << shift;
        target[i] = static_cast<unsigned char>(carried & 0xFF);
        carried >>= 8;
    }
    const unsigned int kept = target[length] & ~((1u << shift) - 1);
    target[length] = static_cast<unsigned char>(kept | carried);
}

void plainExpandBits(unsigned char *target, const unsigned char *source, int bits)
{
    for (int i = 0; i < bits; ++i)
        target[i] = (source[i / 8] >> (i % 8)) & 1;
}

unsigned int plainCountBits(const unsigned char *bits, int count)
{
    unsigned int ones = 0;
    for (int i = 0; i < count; ++i)
        ones += (bits[i / 8] >> (i % 8)) & 1;
    return ones;
}

void plainSetBits(unsigned char *bits, int count)
{
    for (int i = 0; i < count; ++i) {
        const unsigned int mask = 1u << (i % 8);
        const unsigned int cleared = bits[i / 8] & ~mask;
        bits[i / 8] = static_cast<unsigned char>(i % 3 == 0 ? cleared | mask : cleared);
    }
}

void plainShiftRight(unsigned char *data, int length, int bits)
{
    const int bytes = bits / 8;
    const int shift = bits % 8;
    for (int i = 0; i < length; ++i) {
        const unsigned int low = i + bytes < length ? data[i + bytes] : 0;
        const unsigned int high = i + bytes + 1 < length ? data[i + bytes + 1] : 0;
        data[i] = static_cast<unsigned char>((low | high << 8) >> shift);
    }
}

void plainSwap16(unsigned char *target, const unsigned char *source, int length)
{
    for (int i = 0; i + 1 < length; i += 2) {
        const unsigned char first = source[i];
        target[i] = source[i + 1];
        target[i + 1] = first;
    }
}

void plainSwap32(unsigned char *target, const unsigned char *source, int length)
{
    for (int i = 0; i + 3 < length; i += 4) {
        const unsigned char bytes[4] = {source[i], source[i + 1], source[i + 2], source[i + 3]};
        target[i] = bytes[3];
        target[i + 1] = bytes[2];
        target[i + 2] = bytes[1];
        target[i + 3] = bytes[0];
    }
}

void plainReverse(unsigned char *target, const unsigned char *source, int length)
{
    for (int i = 0; i < length; ++i)
        target[i] = source[length - 1 - i];
}

void plainRotate(unsigned char *data, int length, int by, unsigned char *scratch)
{
    for (int i = 0; i < by; ++i)
        scratch[i] = data[i];
    for (int i = by; i < length; ++i)
        data[i - by] = data[i];
    for (int i = 0; i < by; ++i)
        data[length - by + i] = scratch[i];
}

void plainStore16(unsigned char *target, const unsigned short *values, int count)
{
    for (int i = 0; i < count; ++i) {
        target[2 * i] = static_cast<unsigned char>(values[i] & 0xFF);
        target[2 * i + 1] = static_cast<unsigned char>(values[i] >> 8);
    }
}

void plainStore32(unsigned char *target, const unsigned int *values, int count)
{
    for (int i = 0; i < count; ++i) {
        for (int byte = 0; byte < 4; ++byte)
            target[4 * i + byte] = static_cast<unsigned char>((values[i] >> (8 * byte)) & 0xFF);
    }
}

void plainLoad16(unsigned short *values, const unsigned char *source, int count)
{
    for (int i = 0; i < count; ++i)
        values[i] = static_cast<unsigned short>(source[2 * i] | source[2 * i + 1] << 8);
}

unsigned int zlibCrc32(const unsigned char *data, int length)
{
    return static_cast<unsigned int>(crc32(0, data, static_cast<uInt>(length)));
}
