/// @file
/// Bits of scalars, packed bit arrays, and conversions between counts of bits and larger units.
///
/// In a scalar bit n has the weight 2^n. In a bit array bit i lies in byte i / 8 with the weight
/// 2^(i mod 8), so that the array reads as one little-endian number. Nothing here reports an error.
#ifndef TOOLS_BIT_ARRAY_H
#define TOOLS_BIT_ARRAY_H

#include <QtCore/QByteArray>

/// @name Scalars
/// Set, clear or read one bit of @p value. A bit number at or above the width of the type changes
/// nothing: `setBit` and `clearBit` give the value unchanged, `getBit` gives false.
/// @{
unsigned char setBit(unsigned char value, unsigned short bit); ///< an 8-bit value with the bit set
unsigned char clearBit(unsigned char value,
                       unsigned short bit);           ///< an 8-bit value with the bit cleared
bool getBit(unsigned char value, unsigned short bit); ///< a bit of an 8-bit value
unsigned short setBit(unsigned short value,
                      unsigned short bit); ///< a 16-bit value with the bit set
unsigned short clearBit(unsigned short value,
                        unsigned short bit);           ///< a 16-bit value with the bit cleared
bool getBit(unsigned short value, unsigned short bit); ///< a bit of a 16-bit value
unsigned int setBit(unsigned int value, unsigned short bit); ///< a 32-bit value with the bit set
unsigned int clearBit(unsigned int value,
                      unsigned short bit);           ///< a 32-bit value with the bit cleared
bool getBit(unsigned int value, unsigned short bit); ///< a bit of a 32-bit value
/// @}

/// Bit @p i of the array. Requires: 0 <= @p i < 8 * size.
bool getBit(const QByteArray &bits, int i);

/// Bit @p i of the buffer. Requires: @p i >= 0 and the buffer holds that bit.
inline bool getBit(const unsigned char *bits, int i)
{
    const unsigned int bit = static_cast<unsigned int>(i);
    return ((bits[bit / 8] >> (bit % 8)) & 1) != 0;
}

/// Makes bit @p i of the array 1 or 0 and leaves all others. A bit beyond the end extends the array
/// with zero bytes up to that bit. Requires: @p i >= 0.
void setBit(QByteArray &bits, int i, bool on);

/// Makes bit @p i of the buffer 1 or 0 and leaves all others.
/// Requires: @p i >= 0 and the buffer holds that bit.
inline void setBit(unsigned char *bits, int i, bool on)
{
    const unsigned int bit = static_cast<unsigned int>(i);
    const unsigned int mask = 1u << (bit % 8);
    const unsigned int others = bits[bit / 8] & ~mask;
    bits[bit / 8] = static_cast<unsigned char>(on ? others | mask : others);
}

/// Copies the first @p count bits of @p src to @p dst from bit @p dstStart on; a count of 0 or less
/// does nothing. @p dst is extended with zero bytes where it is too short. When both are one array,
/// the bits are those that it held before.
/// Requires: @p dstStart >= 0 and @p count <= 8 * size of @p src.
void CopyBits(QByteArray &dst, QByteArray &src, int dstStart, int count);

/// One byte (1 or 0) for each of the @p count bits from bit @p start on; empty for a count of 0 or
/// less. Requires: the bits lie inside the array.
QByteArray ExpandBitsToBytes(const QByteArray &bits, unsigned short start, int count);

/// Resizes the array to hold exactly @p n bits: ceil(n / 8) bytes. Added bytes are zero.
/// Requires: @p n >= 0.
void FitBitArray(QByteArray &bits, int n);

/// Clears the bits of byte @p n / 8 from bit @p n on; nothing when @p n is a multiple of 8.
/// Requires: @p n >= 0 and the array holds byte @p n / 8.
void clearUnnecessaryBits(QByteArray &bits, int n);

/// Shifts the array toward bit 0 by @p n bits, in place. For @p n below 8 zeros enter at the top.
/// For @p n of 8 and more the last n / 8 bytes hold the array's former first n / 8 bytes
/// afterwards. An empty array stays empty.
/// Requires: @p n >= 0, and @p n < 8 * size when @p n >= 8.
void RightShiftNBits(QByteArray &bits, int n);

/// @name Size arithmetic
/// A partial unit counts as a whole one. The bit forms take the offset at which a run starts in its
/// first unit and the length of the run, in bits; their sum is taken modulo 2^32.
/// @{
unsigned int NumOfBitsToNumOfBytes(unsigned int a, unsigned int b);  ///< units of 8 bits
unsigned int NumOfBitsToNumOfWords(unsigned int a, unsigned int b);  ///< units of 16 bits
unsigned int NumOfBitsToNumOfDWords(unsigned int a, unsigned int b); ///< units of 32 bits
unsigned int NumOfBytesToNumOfWords(unsigned int n);                 ///< units of 2 bytes
unsigned int NumOfBytesToNumOfDWords(unsigned int n);                ///< units of 4 bytes
unsigned int NumOfBytesToNumOfQuadWords(unsigned int n);             ///< units of 8 bytes
/// @}

#endif
