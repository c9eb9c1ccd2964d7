/// @file
/// Check values over a whole buffer. A length below 1 gives 0.
#ifndef TOOLS_CHECKSUM_H
#define TOOLS_CHECKSUM_H

/// Sum of the bytes, modulo 256.
unsigned char UInt8CheckSum(const unsigned char *data, int length);

/// Sum of the bytes, modulo 65536.
unsigned short UShortCheckSum(const unsigned char *data, int length);

/// XOR of the bytes.
unsigned char XorUInt8CheckSum(const unsigned char *data, int length);

/// CRC-16/ARC of the bytes: `update_crc_16` from 0, no final XOR.
unsigned short CRC16Calculate(const unsigned char *data, int length);

#endif
