/// @file
/// PLC address texts (a device symbol and a number, such as DM100) and bounded number texts.
#ifndef TOOLS_PLC_ADDRESS_H
#define TOOLS_PLC_ADDRESS_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// The leading letters and underscores of an address: its device symbol. Empty when the text is
/// empty or starts with anything else.
QByteArray ExtractPrefixSymbol(const QByteArray &address);
/// The same of a text that is converted to 8 bits first.
QByteArray ExtractPrefixSymbol(const QString &address);

/// The element number of an address: the text from its first digit of @p base to its end.
/// In base 16 the letters A to F are digits, so that B10 is 0xB10.
/// @param address device symbol and number
/// @param base 8, 10 or 16
/// @return the number; 0 when there is none, when the text from the first digit on is not entirely
///         a number, or when it does not fit an int; -1 for any other base
int ExtractPLCDeviceAddress(const QByteArray &address, int base);
/// The same of a text that is converted to 8 bits first.
int ExtractPLCDeviceAddress(const QString &address, int base);

/// The value of at most @p length characters of hexadecimal text, up to the first NUL, with or
/// without a leading 0x or 0X; modulo 2^32.
/// @return the value; 0 for an empty text, a prefix alone, or any character that is not a digit
unsigned int HexToUInt(const char *text, int length);

/// The whole of @p text, up to its first NUL, as an unsigned number of @p base. Blanks may stand
/// before the number, as may a plus sign and, in base 16, 0x; nothing may stand behind it.
/// @param text the number's text
/// @param base 8, 10 or 16
/// @param ok set to whether the text is such a number and fits 32 bits; may be null
/// @return the number; 0 when it is none
unsigned int NumberTextToUInt(const QByteArray &text, int base, bool *ok = 0);
/// The same of @p length bytes from @p text on. Requires: @p length >= 0.
unsigned int NumberTextToUInt(const char *text, int length, int base, bool *ok = 0);

#endif
