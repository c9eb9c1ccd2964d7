/// @file
/// Host Link command lines: the parts of an address, and line builders.
///
/// Everything here knows bytes only. Lines are ASCII, fields are separated by one blank, and a line
/// ends in CR LF. Every builder writes into a buffer of KV_L20V_COMMAND_BUFFER_SIZE bytes unless it
/// says otherwise, ends the line with a terminating zero and returns its length without that zero.
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

/// The digits of a device number, in its base.
struct KV_L20V_Digits {
    const char *first; ///< without leading zeros; null: there is no number
    int count;         ///< 0 for number 0
};

/// The number of an address whose row in the device table is known, as KV_L20V_ParseAddress() finds
/// it, as long as it is one to eight digits and nothing else; then the number needs no other look.
/// The digits are those of the address.
/// Requires: as KV_L20V_DeviceOf()
KV_L20V_Digits KV_L20V_ShortNumber(const KV_L20V_Device &device, const QByteArray &address);

/// What names a device in a line of words.
struct KV_L20V_WordAddress {
    const char *prefix; ///< as in the device table
    KV_L20V_Digits number;
    const char *format; ///< the number's, see KV_L20V_NumberFormat()
};

/// The digits of a number without leading zeros. Requires: @p number >= 0.
int KV_L20V_DecimalDigits(int number);

/// "RDS" of @p count hexadecimal words.
int KV_L20V_HostLinkPackRDSWordsCmd(char *line, const KV_L20V_WordAddress &address, int count);

/// "RDS" of @p count items, the address as it stands, into KV_L20V_CONTINUOUS_READ_BUFFER_SIZE bytes.
/// Requires: the address and the count have no more than KV_L20V_CONTINUOUS_READ_FIELDS characters.
int KV_L20V_HostLinkPackContinuousReadDataCmd(char *line, const QByteArray &address, int count);

/// "WRS" of @p count words, given least significant byte first.
/// @return the length, or 0 when the line does not fit
int KV_L20V_HostLinkPackWRSWordsCmd(char *line, const KV_L20V_WordAddress &address,
                                    const unsigned char *words, int count);

/// "WRS" of 32-bit values as ten digits each, given least significant byte first.
/// @return the length, or 0 when the line does not fit
/// Requires: the size of @p values is a multiple of 4.
int KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(char *line, const QByteArray &address,
                                                  const QByteArray &values);

/// "WRS" of one bit for each byte of @p bits, non-zero meaning 1.
/// @return the length, or 0 when the line does not fit
int KV_L20V_HostLinkPackWriteBitsCmd(char *line, const QByteArray &address, const QByteArray &bits);

/// "ST" or "RS" of one contact.
/// @param name   the contact's in the device table, such as CTC
/// @param digits of its number, at least so many
/// Requires: @p number >= 0.
int KV_L20V_HostLinkPackSetResetCmd(char *line, const char *name, int digits, int number,
                                    bool value);

#endif
