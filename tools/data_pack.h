/// @file
/// A small format language that describes the layout of a binary frame, one character per item.
///
/// A format is a row of items without separators. An item is a type character, or a decimal count
/// (one or more digits) and a type character:
///
/// | type      | bytes | order | single: packs / unpacks through | counted (k): array of       |
/// |-----------|-------|-------|---------------------------------|-----------------------------|
/// | C c       | 1     |       | int / unsigned char *           | unsigned char               |
/// | S s       | 2     | LE    | int / unsigned short *          | not allowed                 |
/// | v         | 2     | LE    | int / unsigned short *          | unsigned short              |
/// | n         | 2     | BE    | int / unsigned short *          | unsigned short              |
/// | I i L l   | 4     | LE    | int / unsigned int *            | not allowed                 |
/// | V         | 4     | LE    | int / unsigned int *            | unsigned int                |
/// | N         | 4     | BE    | int / unsigned int *            | unsigned int                |
/// | x         | 1     |       | a zero byte / skips             | k zero bytes / skips k      |
/// | X         | 1     |       | skips a byte / skips            | skips k bytes / skips k     |
///
/// LE is least significant byte first, BE most significant first, on every machine. Every item but
/// the fillers x and X takes one argument: a value, or a pointer for counted items and for
/// unpacking. A count of 0 is an error except before x and X, where it does nothing. A count above
/// 2147483647 is taken as 2147483647.
#ifndef TOOLS_DATA_PACK_H
#define TOOLS_DATA_PACK_H

#include <QtCore/QByteArray>

#include <cstdarg>

/// @name Packing into a buffer
/// Packs the arguments into @p dst. Bytes that X skips keep their former value.
/// Requires: @p dst has room for the bytes that @p fmt describes.
/// @return the number of bytes from @p dst to the end of the last item; 0 when a character is not
///         an item; -1 when a count is 0 or stands before a type that takes none. Bytes that were
///         packed before the fault stay in @p dst.
/// @{
int VDataPack(unsigned char *dst, const char *fmt, va_list args); ///< arguments as a list
int DataPack(unsigned char *dst, const char *fmt, ...);           ///< arguments one by one
/// @}

/// @name Packing into a new array
/// Packs the arguments into an array that grows item by item. A single X adds a zero byte.
/// @return the array; empty on every fault. Counted x and X are faults here too, and so is an array
///         beyond 2147483647 bytes.
/// @{
QByteArray VByteArrayPack(const char *fmt, va_list args); ///< arguments as a list
QByteArray ByteArrayPack(const char *fmt, ...);           ///< arguments one by one
/// @}

/// @name Unpacking
/// Reads items from @p src and stores each through its pointer argument.
/// Requires: @p src holds the bytes that @p fmt describes.
/// @return the number of bytes consumed, or -1 on every fault; what was stored before it stays.
/// @{
int VDataUnpack(const unsigned char *src, const char *fmt, va_list args); ///< as a list
int DataUnpack(const unsigned char *src, const char *fmt, ...);           ///< one by one
/// @}

#endif
