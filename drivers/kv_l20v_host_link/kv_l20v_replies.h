/// Values out of Host Link replies. Everything here knows bytes only.
///
/// Each function looks at a text of @p length bytes, and stores the values of its first @p count
/// items in the same pass. Items that the reply does not supply leave @p out as it is.
/// Requires: @p out has room for @p count values.
/// @return how many values were stored; -1 when the text is not of the form: one or more items,
///         single blanks between them, CR LF at the end
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REPLIES_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REPLIES_H

/// Hexadecimal words into 2 bytes each, least significant byte first.
int KV_L20V_HexWordsOf(const char *rsp, int length, int count, char *out);

/// @name Ten-digit numbers
/// Into 4 bytes each, least significant byte first; above 4294967295 they count as 4294967295. A
/// timer item has two of them.
/// @{
int KV_L20V_NumbersOf(const char *rsp, int length, int count, char *out);
int KV_L20V_CurrentsOf(const char *rsp, int length, int count, char *out);
int KV_L20V_PresetsOf(const char *rsp, int length, int count, char *out);
/// @}

/// @name Bits
/// Eight to a byte from bit 0; the bit of a timer item is its contact.
/// Requires: the bytes of @p out are 0.
/// @{
int KV_L20V_BitsOf(const char *rsp, int length, int count, char *out);
int KV_L20V_ContactsOf(const char *rsp, int length, int count, char *out);
/// @}

#endif
