/// Host Link command lines: the parts of an address, and line builders.
///
/// Everything here knows bytes only. Lines are ASCII, fields are separated by one blank, and a line
/// ends in CR LF. Every builder writes into a buffer of a given size, never beyond it, ends the
/// line with a terminating zero and returns its length without that zero, or 0 when it does not
/// fit.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_LINES_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_LINES_H

#include <QtCore/QByteArray>

struct KV_L20V_Device;

/// Splits an address text into the device prefix (appended to @p prefix) and the device number.
/// The number is in the base of the device; a decimal one that does not convert counts as 0.
/// @return 1, or 0 when the text does not begin with a known device letter or a hexadecimal number
///         does not convert
/// Requires: as KV_L20V_DeviceOf()
int KV_L20V_ParseAddress(const QByteArray &address, QByteArray &prefix, unsigned int &number);

/// A device number, and whether there is one.
struct KV_L20V_Number {
    unsigned int value;
    bool isGood;
};

/// The number of an address whose row in the device table is known, as KV_L20V_ParseAddress() finds
/// it, as long as it is at most 8 digits and nothing else; then the number needs no other look.
/// Requires: as KV_L20V_DeviceOf()
KV_L20V_Number KV_L20V_ShortNumber(const KV_L20V_Device &device, const QByteArray &address);

/// Whether an address names a device that is read and written in hexadecimal words.
bool KV_L20V_HexWordDataFormat(const QByteArray &address);

/// "RDS" of @p words hexadecimal words; @p format is the device number's in the device table.
int KV_L20V_HostLinkPackRDSWordsCmd(char *dst, int size, const char *prefix, unsigned int number,
                                    const char *format, unsigned int words);

/// "RDS" of @p count items, the address as it stands.
int KV_L20V_HostLinkPackContinuousReadDataCmd(char *dst, int size, const char *address,
                                              unsigned int count);

/// "WRS" of @p count words, given least significant byte first.
int KV_L20V_HostLinkPackWRSWordsCmd(char *dst, int size, const char *prefix, unsigned int number,
                                    const char *format, const unsigned char *words, int count);

/// "WRS" of 32-bit values as ten digits each, given least significant byte first.
/// Requires: the size of @p values is a multiple of 4.
int KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(char *dst, int size, const char *address,
                                                  const QByteArray &values);

/// "WRS" of one bit for each byte of @p bits, non-zero meaning 1.
int KV_L20V_HostLinkPackWriteBitsCmd(char *dst, int size, const char *address,
                                     const QByteArray &bits);

/// "ST" or "RS" of one contact.
/// @param name   the contact's, such as CTC
/// @param digits of its number, at least so many
/// Requires: @p number >= 0.
int KV_L20V_HostLinkPackSetResetCmd(char *dst, int size, const char *name, int digits, int number,
                                    bool value);

#endif
