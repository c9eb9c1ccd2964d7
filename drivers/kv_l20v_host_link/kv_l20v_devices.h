/// @file
/// The devices of the PLC: how a line names them, and what reads and writes of them look like. Pure
/// data and its lookup, which the driver shares with everything that deals with addresses.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_DEVICES_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_DEVICES_H

#include <QtCore/QByteArray>

/// What an item of a reply or of a write is. A timer item is a contact and two ten-digit numbers,
/// the current value and the preset, such as "1,0000000005,0000000100"; a form names the part of it
/// that counts.
enum KV_L20V_Form {
    KV_L20V_Bits,     ///< "0" or "1"
    KV_L20V_Contacts, ///< a timer item's contact
    KV_L20V_HexWords, ///< a word in 4 hexadecimal digits
    KV_L20V_Numbers,  ///< 32 bits in 10 decimal digits
    KV_L20V_Currents, ///< a timer item's current value
    KV_L20V_Presets,  ///< a timer item's preset
    KV_L20V_Refused   ///< no such request is sent
};

/// A row of the table: a device, or a group of addresses that name none.
struct KV_L20V_Device {
    /// How a line of words writes the number, such as 100 in DM00100.H.
    struct Number {
        int base;             ///< 10 or 16
        int digits;           ///< at least so many; 0: the device has no lines of words
        const char *firstBit; ///< the zeros that follow a channel's number; empty for a word's
    };

    struct Forms {
        KV_L20V_Form read;    ///< items of a read by words
        KV_L20V_Form written; ///< items of a write by words
        KV_L20V_Form bits;    ///< items of a read by bits
    };

    /// How the line that sets or resets one contact names it.
    struct Contact {
        const char *name; ///< null: there is no such line
        int digits;       ///< of its number, at least so many
    };

    const char *prefix; ///< in upper case; a group's ends in "?", each for any character or none
    bool beforeDigit;   ///< only where a digit follows; a word's also where nothing does
    Number number;
    Forms forms;
    int runLetters; ///< bits go into one line when so many letters are upper case; 0: never
    Contact contact;
};

/// The row of an address, whatever its letter case. Every address has one: the prefix is empty for
/// those that begin like no device.
/// Requires: a zero behind the address, as in every QByteArray that is not made by fromRawData().
const KV_L20V_Device &KV_L20V_DeviceOf(const QByteArray &address);

/// Whether the addresses of a row are read and written in hexadecimal words.
inline bool KV_L20V_HexWordDataFormat(const KV_L20V_Device &device)
{
    return device.forms.read == KV_L20V_HexWords;
}

/// The device with index @p i in the table; null behind its end. Groups have no index.
const KV_L20V_Device *KV_L20V_DeviceAt(int i);

/// The index of a device in the table. Requires: @p device is none of the groups.
int KV_L20V_IndexOf(const KV_L20V_Device &device);

/// The printf format of a device's number in a line of words, such as "%05u.H".
/// Requires: the device has such lines.
QByteArray KV_L20V_NumberFormat(const KV_L20V_Device &device);

/// The items of a read by bits. @param device the row of @p address
KV_L20V_Form KV_L20V_BitForm(const KV_L20V_Device &device, const QByteArray &address);

/// Whether bits are written as a run in one line. @param device the row of @p address
bool KV_L20V_IsBitRun(const KV_L20V_Device &device, const QByteArray &address);

#endif
