/// @file
/// Integers to and from byte arrays, byte swapping of unit arrays and padding to whole units.
///
/// Nothing here depends on the byte order of the machine: every operation states its own. A unit is
/// 2 bytes (16 bits) or 4 bytes (32 bits), counted from byte 0. Nothing here reports an error.
#ifndef TOOLS_BYTE_ORDER_H
#define TOOLS_BYTE_ORDER_H

#include <QtCore/QByteArray>

#include <algorithm>

/// Value of the first four bytes (or fewer) of @p a, least significant first, as a signed number;
/// 0 when empty.
int QByteArrayToInt(const QByteArray &a);

/// Value of the first two bytes (or fewer) of @p a, least significant first; 0 when empty.
unsigned short QByteArrayToWord(const QByteArray &a);

/// The 16 bits of `QByteArrayToWord` as a signed value; a single byte gives 0 to 255.
short QByteArrayToShort(const QByteArray &a);

/// The 2 bytes of @p v, least significant first.
QByteArray wordToByteArray(unsigned short v);

/// The 2 bytes of @p v (two's complement), least significant first.
QByteArray shortToByteArray(short v);

/// The 4 bytes of @p v (two's complement), least significant first.
QByteArray intToByteArray(int v);

/// Appends the 2 bytes of @p v to @p a, most significant first.
void appendBigEndianUShort(QByteArray &a, unsigned short v);

/// Copies @p count 16-bit units from @p src, each with its bytes swapped.
/// Requires: @p count >= 0 and 2 * @p count bytes at @p src.
QByteArray fromBigEndianUShortArray(const unsigned char *src, int count);

/// Copies @p count 32-bit units from @p src, each with its bytes reversed.
/// Requires: @p count >= 0 and 4 * @p count bytes at @p src.
QByteArray fromBigEndianULongArray(const unsigned char *src, int count);

/// Swaps the bytes of every whole 16-bit unit of @p a in place; a trailing odd byte stays as it is.
void toLittleEndianUShortArray(QByteArray &a);

/// Reverses the bytes of every whole 32-bit unit of @p a in place; trailing bytes stay as they are.
void toLittleEndianULongArray(QByteArray &a);

/// A copy of @p a, padded with a zero byte to whole 16-bit units, each with its bytes swapped.
QByteArray toBigEndianUShortArray(const QByteArray &a);

/// A copy of @p a, padded with zero bytes to whole 32-bit units, each with its bytes reversed.
QByteArray toBigEndianULongArray(const QByteArray &a);

/// @p a padded with zero bytes to a multiple of 2 bytes; @p a itself (shared) when it is one
/// already.
QByteArray To16bitsData(const QByteArray &a);

/// @p a padded with zero bytes to a multiple of 4 bytes; @p a itself (shared) when it is one
/// already.
QByteArray To32bitsData(const QByteArray &a);

/// @p a padded with zero bytes to a multiple of 8 bytes; @p a itself (shared) when it is one
/// already.
QByteArray To64bitsData(const QByteArray &a);

/// A new array with the bytes of @p a in reverse order.
QByteArray reverseArray(const QByteArray &a);

/// Rotates the @p k + @p m elements at @p a to the left by @p k, in place and without scratch
/// space: afterwards they read a[k] .. a[k + m - 1], a[0] .. a[k - 1].
/// Requires: @p k >= 0, @p m >= 0 and @p k + @p m elements at @p a.
template <typename T>
void RotateArray(T *a, int k, int m)
{
    std::rotate(a, a + k, a + k + m);
}

/// Part of the library's interface for the runtime: always true, whatever the machine's byte order
/// is. No conversion consults it.
bool isBigEndian();

#endif
