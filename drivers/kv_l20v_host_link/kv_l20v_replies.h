/// Values out of Host Link replies. Everything here knows bytes only.
///
/// Each function looks at a reply of @p length bytes and stores the values of its first @p count
/// items in the same pass; items that the reply does not supply leave @p out as it is.
/// Requires: @p out has room for @p count values, and its bytes are 0.
/// Each returns whether the reply is certainly of the form: its items, single blanks between them,
/// CR LF at the end. A false says nothing: the reply pattern, which defines the form, has the last
/// word.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REPLIES_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REPLIES_H

/// Hexadecimal words into 2 bytes each, least significant byte first.
bool hexWordsRspToByteArray(const char *rsp, int length, int count, char *out);

/// @name Ten-digit numbers
/// Into 4 bytes each, least significant byte first; above 4294967295 they count as 4294967295. A
/// timer or counter item has two of them.
/// @{
bool dec10RspToByteArray(const char *rsp, int length, int count, char *out);
bool timerCounterFirstRspToByteArray(const char *rsp, int length, int count, char *out);
bool timerCounterSecondRspToByteArray(const char *rsp, int length, int count, char *out);
/// @}

/// @name Bits
/// Eight to a byte from bit 0; the bit of a timer or counter item is its contact.
/// @{
bool bitsRspToBits(const char *rsp, int length, int count, char *out);
bool timerCounterRspToBits(const char *rsp, int length, int count, char *out);
/// @}

#endif
