/// @file
/// Byte-at-a-time CRC steps, with C linkage. A C program that uses them links the C++ runtime too.
///
/// Each step takes the CRC register and a message byte and gives the next register; none of them
/// applies a starting value or a final XOR. The lookup tables are built at the first step that
/// needs them, once, also when first steps of several threads race. Registers are unsigned short,
/// or unsigned int for 32 bits; message bytes are unsigned char, as plain char differs by machine.
///
/// | from     | step              | gives                                       |
/// |----------|-------------------|---------------------------------------------|
/// | 0x0000   | update_crc_ccitt  | CRC-16/XMODEM                               |
/// | 0xFFFF   | update_crc_ccitt  | CRC-16/CCITT-FALSE                          |
/// | 0x1D0F   | update_crc_ccitt  | CRC-16/AUG-CCITT                            |
/// | 0x0000   | update_crc_16     | CRC-16/ARC                                  |
/// | 0xFFFF   | update_crc_16     | CRC-16/MODBUS                               |
/// | 0x0000   | update_crc_kermit | CRC-16/KERMIT                               |
/// | 0x0000   | update_crc_dnp    | CRC-16/DNP after a final complement         |
/// | all ones | update_crc_32     | CRC-32 after a final complement             |
#ifndef TOOLS_LIB_CRC_H
#define TOOLS_LIB_CRC_H

#ifdef __cplusplus
extern "C" {
#endif

/// CCITT polynomial 0x1021, most significant bit first.
unsigned short update_crc_ccitt(unsigned short crc, unsigned char byte);

/// Polynomial 0x8005, least significant bit first.
unsigned short update_crc_16(unsigned short crc, unsigned char byte);

/// `update_crc_16` over @p length bytes from @p data on; the register unchanged for a length below
/// 1.
unsigned short update_crc_16_bytes(unsigned short crc, const unsigned char *data, int length);

/// Polynomial 0x1021, least significant bit first, as in the Kermit protocol.
unsigned short update_crc_kermit(unsigned short crc, unsigned char byte);

/// DNP 3.0 polynomial 0x3D65, least significant bit first.
unsigned short update_crc_dnp(unsigned short crc, unsigned char byte);

/// IEEE 802.3 polynomial 0x04C11DB7, least significant bit first.
unsigned int update_crc_32(unsigned int crc, unsigned char byte);

/// The CRC of SICK sensors, constant 0x8005, without a table.
/// @param crc      the register
/// @param byte     the message byte
/// @param previous the message byte before this one, 0 for the first
unsigned short update_crc_sick(unsigned short crc, unsigned char byte, unsigned char previous);

#ifdef __cplusplus
}
#endif

#endif
