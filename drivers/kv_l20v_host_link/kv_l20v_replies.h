/// Values out of Host Link replies. Everything here knows bytes only.
///
/// Each function takes the text of a reply whose form has been checked, @p length bytes from @p rsp
/// on. Items that the reply does not supply count as 0, items beyond those asked for are ignored.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REPLIES_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REPLIES_H

#include <QtCore/QByteArray>

/// @name Good replies at a glance
/// Whether a reply is certainly of a form: its items, single blanks between them, CR LF at the end.
/// A false says nothing: the reply pattern, which defines the form, has the last word.
/// @{
bool isCertainlyHexWords(const char *rsp, int length);
bool isCertainlyDec10(const char *rsp, int length);
bool isCertainlyTimerCounter(const char *rsp, int length);
bool isCertainlyBits(const char *rsp, int length);
/// @}

/// Stores hexadecimal words in @p target, least significant byte first.
/// Requires: the size of @p target is even, its bytes are 0.
/// @return the number of words stored
int hexWordsRspToByteArray(const char *rsp, int length, QByteArray &target);

/// Where the ten-digit numbers of a reply stand: the first of them, and from one item to the next.
struct Dec10Layout {
    int first;
    int stride;
};

/// Appends @p count ten-digit numbers to an array as 4 bytes each, least significant byte first.
/// A number above 4294967295 counts as 4294967295.
QByteArray dec10RspToByteArray(const char *rsp, int length, const Dec10Layout &layout, int count);

/// Packs @p count digits, @p stride characters apart, eight to a byte from bit 0: any digit but "0"
/// is a 1.
QByteArray digitsRspToBits(const char *rsp, int length, int stride, int count);

#endif
