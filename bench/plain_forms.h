/// The plain byte-at-a-time forms that the tools library is measured beside: what one would write
/// on the spot, with tables that are ready.
#ifndef BENCH_PLAIN_FORMS_H
#define BENCH_PLAIN_FORMS_H

/// A CRC's table for one polynomial.
struct PlainCrcTable {
    unsigned int entry[256];
};

PlainCrcTable plainReflectedTable(unsigned int polynomial);
PlainCrcTable plainCcittTable();

unsigned short plainReflected16(const PlainCrcTable &table, const unsigned char *data, int length);
unsigned short plainCcitt(const PlainCrcTable &table, const unsigned char *data, int length);
unsigned int plainReflected32(const PlainCrcTable &table, const unsigned char *data, int length);
unsigned short plainSick(const unsigned char *data, int length);

unsigned int plainSum(const unsigned char *data, int length);
unsigned int plainXor(const unsigned char *data, int length);

/// Requires: room for one byte more at @p target. @p shift is 0 to 7.
void plainCopyBits(unsigned char *target, const unsigned char *source, int length, int shift);
void plainExpandBits(unsigned char *target, const unsigned char *source, int bits);
unsigned int plainCountBits(const unsigned char *bits, int count);
void plainSetBits(unsigned char *bits, int count);
/// @p bits is below 8 * @p length.
void plainShiftRight(unsigned char *data, int length, int bits);

void plainSwap16(unsigned char *target, const unsigned char *source, int length);
void plainSwap32(unsigned char *target, const unsigned char *source, int length);
void plainReverse(unsigned char *target, const unsigned char *source, int length);
/// Rotates to the left, through @p scratch of @p by bytes.
void plainRotate(unsigned char *data, int length, int by, unsigned char *scratch);

void plainStore16(unsigned char *target, const unsigned short *values, int count);
void plainStore32(unsigned char *target, const unsigned int *values, int count);
void plainLoad16(unsigned short *values, const unsigned char *source, int count);

/// The CRC-32 of zlib, whose header names types that ours name too.
unsigned int zlibCrc32(const unsigned char *data, int length);

#endif
