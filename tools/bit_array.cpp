#include "tools/bit_array.h"

#include "tools/byte_order.h"

#include <cstring>
#include <limits>

namespace
{

template <typename T>
bool inside(unsigned short bit)
{
    return bit < std::numeric_limits<T>::digits;
}

template <typename T>
T withBitSet(T value, unsigned short bit)
{
    return inside<T>(bit) ? static_cast<T>(value | (1u << bit)) : value;
}

template <typename T>
T withBitCleared(T value, unsigned short bit)
{
    return inside<T>(bit) ? static_cast<T>(value & ~(1u << bit)) : value;
}

template <typename T>
bool hasBit(T value, unsigned short bit)
{
    return inside<T>(bit) && ((value >> bit) & 1u) != 0;
}

unsigned int roundedUp(unsigned int n, unsigned int unit)
{
    return n / unit + (n % unit != 0 ? 1 : 0);
}

unsigned char *bytesOf(QByteArray &a)
{
    return reinterpret_cast<unsigned char *>(a.data());
}

const unsigned char *bytesOf(const QByteArray &a)
{
    return reinterpret_cast<const unsigned char *>(a.constData());
}

void extendTo(QByteArray &a, int size)
{
    const int former = a.size();
    if (former >= size)
        return;
    a.resize(size);
    std::memset(a.data() + former, 0, static_cast<size_t>(size - former));
}

// Copies the low bits of a byte, 0 to 8 of them, to those of out from bit `shift` (0 to 7) on.
void copyBitsOfByte(unsigned char *out, unsigned int in, int shift, int count)
{
    const unsigned int used = (1u << count) - 1;
    const unsigned int mask = used << shift;
    const unsigned int bits = (in & used) << shift;
    out[0] = static_cast<unsigned char>((out[0] & ~mask) | bits);
    if (mask > 0xFF)
        out[1] = static_cast<unsigned char>((out[1] & ~(mask >> 8)) | (bits >> 8));
}

// Copies whole bytes, at least one, to the bits of out from bit `shift` (1 to 7) on.
void copyBytesShifted(unsigned char *out, const unsigned char *in, int bytes, int shift)
{
    const int below = (1 << shift) - 1;
    out[0] = static_cast<unsigned char>((out[0] & below) | in[0] << shift);
    for (int i = 1; i < bytes; ++i)
        out[i] = static_cast<unsigned char>((in[i - 1] | in[i] << 8) >> (8 - shift));
    out[bytes] = static_cast<unsigned char>((out[bytes] & ~below) | in[bytes - 1] >> (8 - shift));
}

// n is 0 to 7; zeros enter at the top of the last byte.
void shiftRightWithinBytes(unsigned char *bytes, int size, int n)
{
    if (n == 0)
        return;
    for (int j = 0; j + 1 < size; ++j)
        bytes[j] = static_cast<unsigned char>((bytes[j] | bytes[j + 1] << 8) >> n);
    bytes[size - 1] = static_cast<unsigned char>(bytes[size - 1] >> n);
}

} // namespace

unsigned char setBit(unsigned char value, unsigned short bit)
{
    return withBitSet(value, bit);
}

unsigned char clearBit(unsigned char value, unsigned short bit)
{
    return withBitCleared(value, bit);
}

bool getBit(unsigned char value, unsigned short bit)
{
    return hasBit(value, bit);
}

unsigned short setBit(unsigned short value, unsigned short bit)
{
    return withBitSet(value, bit);
}

unsigned short clearBit(unsigned short value, unsigned short bit)
{
    return withBitCleared(value, bit);
}

bool getBit(unsigned short value, unsigned short bit)
{
    return hasBit(value, bit);
}

unsigned int setBit(unsigned int value, unsigned short bit)
{
    return withBitSet(value, bit);
}

unsigned int clearBit(unsigned int value, unsigned short bit)
{
    return withBitCleared(value, bit);
}

bool getBit(unsigned int value, unsigned short bit)
{
    return hasBit(value, bit);
}

bool getBit(const QByteArray &bits, int i)
{
    return getBit(bytesOf(bits), i);
}

void setBit(QByteArray &bits, int i, bool on)
{
    extendTo(bits, i / 8 + 1);
    setBit(bytesOf(bits), i, on);
}

void CopyBits(QByteArray &dst, QByteArray &src, int dstStart, int count)
{
    if (count <= 0)
        return;
    // Holds the bits when dst and src are one array.
    const QByteArray source(src); // NOLINT(performance-unnecessary-copy-initialization)
    extendTo(dst, static_cast<int>((static_cast<qint64>(dstStart) + count - 1) / 8 + 1));
    const unsigned char *in = bytesOf(source);
    unsigned char *out = bytesOf(dst) + dstStart / 8;
    const int shift = dstStart % 8;
    const int wholeBytes = count / 8;
    if (shift == 0)
        std::memmove(out, in, static_cast<size_t>(wholeBytes));
    else if (wholeBytes > 0)
        copyBytesShifted(out, in, wholeBytes, shift);
    if (count % 8 != 0)
        copyBitsOfByte(out + wholeBytes, in[wholeBytes], shift, count % 8);
}

QByteArray ExpandBitsToBytes(const QByteArray &bits, unsigned short start, int count)
{
    if (count <= 0)
        return QByteArray();
    QByteArray expanded(count, '\0');
    char *out = expanded.data();
    const unsigned char *in = bytesOf(bits);
    for (int k = 0; k < count; ++k)
        out[k] = getBit(in, start + k) ? 1 : 0;
    return expanded;
}

void FitBitArray(QByteArray &bits, int n)
{
    const int size = n / 8 + (n % 8 != 0 ? 1 : 0);
    extendTo(bits, size);
    bits.resize(size);
}

void clearUnnecessaryBits(QByteArray &bits, int n)
{
    if (n % 8 == 0)
        return;
    unsigned char &last = bytesOf(bits)[n / 8];
    last = static_cast<unsigned char>(last & ((1u << (n % 8)) - 1));
}

void RightShiftNBits(QByteArray &bits, int n)
{
    if (bits.isEmpty())
        return;
    unsigned char *bytes = bytesOf(bits);
    const int wholeBytes = n / 8;
    const int remaining = bits.size() - wholeBytes;
    if (wholeBytes > 0)
        RotateArray<unsigned char>(bytes, wholeBytes, remaining);
    shiftRightWithinBytes(bytes, remaining, n % 8);
}

unsigned int NumOfBitsToNumOfBytes(unsigned int a, unsigned int b)
{
    return roundedUp(a + b, 8);
}

unsigned int NumOfBitsToNumOfWords(unsigned int a, unsigned int b)
{
    return roundedUp(a + b, 16);
}

unsigned int NumOfBitsToNumOfDWords(unsigned int a, unsigned int b)
{
    return roundedUp(a + b, 32);
}

unsigned int NumOfBytesToNumOfWords(unsigned int n)
{
    return roundedUp(n, 2);
}

unsigned int NumOfBytesToNumOfDWords(unsigned int n)
{
    return roundedUp(n, 4);
}

unsigned int NumOfBytesToNumOfQuadWords(unsigned int n)
{
    return roundedUp(n, 8);
}
