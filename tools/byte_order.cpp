#include "tools/byte_order.h"

namespace
{

unsigned int littleEndianValue(const QByteArray &a, int maxBytes)
{
    const int n = std::min(a.size(), maxBytes);
    unsigned int value = 0;
    for (int i = 0; i < n; ++i)
        value |= static_cast<unsigned int>(static_cast<unsigned char>(a.at(i))) << (8 * i);
    return value;
}

QByteArray littleEndianBytes(unsigned int value, int bytes)
{
    QByteArray a(bytes, '\0');
    char *out = a.data();
    for (int i = 0; i < bytes; ++i)
        out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    return a;
}

template <int Width>
void swapUnits(char *bytes, int size)
{
    for (char *unit = bytes; size >= Width; size -= Width, unit += Width)
        std::reverse(unit, unit + Width);
}

QByteArray paddedTo(const QByteArray &a, int unit)
{
    const int partial = a.size() % unit;
    if (partial == 0)
        return a;
    QByteArray padded;
    padded.reserve(a.size() + unit - partial);
    padded.append(a);
    padded.append(QByteArray(unit - partial, '\0'));
    return padded;
}

template <int Width>
QByteArray swappedCopy(const unsigned char *src, int count)
{
    QByteArray a(reinterpret_cast<const char *>(src), Width * count);
    swapUnits<Width>(a.data(), a.size());
    return a;
}

template <int Width>
QByteArray paddedAndSwapped(const QByteArray &a)
{
    QByteArray swapped = paddedTo(a, Width);
    swapUnits<Width>(swapped.data(), swapped.size());
    return swapped;
}

} // namespace

int QByteArrayToInt(const QByteArray &a)
{
    return static_cast<int>(littleEndianValue(a, 4));
}

unsigned short QByteArrayToWord(const QByteArray &a)
{
    return static_cast<unsigned short>(littleEndianValue(a, 2));
}

short QByteArrayToShort(const QByteArray &a)
{
    return static_cast<short>(QByteArrayToWord(a));
}

QByteArray wordToByteArray(unsigned short v)
{
    return littleEndianBytes(v, 2);
}

QByteArray shortToByteArray(short v)
{
    return littleEndianBytes(static_cast<unsigned short>(v), 2);
}

QByteArray intToByteArray(int v)
{
    return littleEndianBytes(static_cast<unsigned int>(v), 4);
}

void appendBigEndianUShort(QByteArray &a, unsigned short v)
{
    a.append(static_cast<char>(v >> 8));
    a.append(static_cast<char>(v & 0xFF));
}

QByteArray fromBigEndianUShortArray(const unsigned char *src, int count)
{
    return swappedCopy<2>(src, count);
}

QByteArray fromBigEndianULongArray(const unsigned char *src, int count)
{
    return swappedCopy<4>(src, count);
}

void toLittleEndianUShortArray(QByteArray &a)
{
    swapUnits<2>(a.data(), a.size());
}

void toLittleEndianULongArray(QByteArray &a)
{
    swapUnits<4>(a.data(), a.size());
}

QByteArray toBigEndianUShortArray(const QByteArray &a)
{
    return paddedAndSwapped<2>(a);
}

QByteArray toBigEndianULongArray(const QByteArray &a)
{
    return paddedAndSwapped<4>(a);
}

QByteArray To16bitsData(const QByteArray &a)
{
    return paddedTo(a, 2);
}

QByteArray To32bitsData(const QByteArray &a)
{
    return paddedTo(a, 4);
}

QByteArray To64bitsData(const QByteArray &a)
{
    return paddedTo(a, 8);
}

QByteArray reverseArray(const QByteArray &a)
{
    QByteArray reversed(a);
    std::reverse(reversed.data(), reversed.data() + reversed.size());
    return reversed;
}

bool isBigEndian()
{
    return true;
}
