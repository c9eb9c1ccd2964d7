/// @file
/// The sizes of the driver's buffers, and how many items a reply can hold.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_LIMITS_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_LIMITS_H

/// The largest station number: the open line has two digits for it.
constexpr int KV_L20V_MAX_STATION = 99;

/// Most bytes of a request's data: far above what one reply can carry, and small enough for the
/// panel's memory. A short reply to an absurd request must not make the driver allocate what the
/// request claims.
constexpr int KV_L20V_MAX_DATA_LENGTH = 1024 * 1024;

/// Bytes of a reply that are received at most; a reply of as many has no terminating zero.
constexpr int KV_L20V_RESPONSE_BUFFER_SIZE = 1538;

/// Bytes of a line of words or of a write, its terminating zero included.
constexpr int KV_L20V_COMMAND_BUFFER_SIZE = 1553;

/// Bytes of a read line that carries the address as it stands, its terminating zero included.
constexpr int KV_L20V_CONTINUOUS_READ_BUFFER_SIZE = 20;

/// Characters that are left in such a line for the address and the count: all but "RDS ", the blank
/// between the two, CR LF and the terminating zero.
constexpr int KV_L20V_CONTINUOUS_READ_FIELDS = KV_L20V_CONTINUOUS_READ_BUFFER_SIZE - 4 - 1 - 2 - 1;

/// @name Characters of one item of a reply
/// @{
constexpr int KV_L20V_BIT_LENGTH = 1;         ///< "0" or "1"
constexpr int KV_L20V_WORD_LENGTH = 4;        ///< hexadecimal digits
constexpr int KV_L20V_NUMBER_LENGTH = 10;     ///< decimal digits
constexpr int KV_L20V_TIMER_ITEM_LENGTH = 23; ///< a contact and two numbers behind commas
/// @}

/// Most items of a length in one reply that leaves room for a terminating zero. Each item takes one
/// character more: a blank, or CR behind the last one. LF ends the reply.
constexpr int KV_L20V_MostItems(int itemLength)
{
    return (KV_L20V_RESPONSE_BUFFER_SIZE - 1 - 1) / (itemLength + 1);
}

/// Most items of a length in one write line, each behind a blank: what is left of "WRS ", an address
/// of up to 12 characters, the blank and the three digits of the count, CR LF and the terminating
/// zero.
constexpr int KV_L20V_MostWritten(int itemLength)
{
    return (KV_L20V_COMMAND_BUFFER_SIZE - 4 - 12 - 1 - 3 - 2 - 1) / (itemLength + 1);
}

/// @name Most items of one read
/// @{
constexpr int KV_L20V_MAX_BITS = KV_L20V_MostItems(KV_L20V_BIT_LENGTH);               ///< 768
constexpr int KV_L20V_MAX_WORDS = KV_L20V_MostItems(KV_L20V_WORD_LENGTH);             ///< 307
constexpr int KV_L20V_MAX_NUMBERS = KV_L20V_MostItems(KV_L20V_NUMBER_LENGTH);         ///< 139
constexpr int KV_L20V_MAX_TIMER_ITEMS = KV_L20V_MostItems(KV_L20V_TIMER_ITEM_LENGTH); ///< 64
/// @}

#endif
