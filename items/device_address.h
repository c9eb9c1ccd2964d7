/// An address as kvlink takes it apart: how a device's numbers run on, and what it holds. The
/// devices are those of the driver's table.
#ifndef ITEMS_DEVICE_ADDRESS_H
#define ITEMS_DEVICE_ADDRESS_H

#include <QtCore/QString>

/// Relays of a channel.
enum { CHANNEL_BITS = 16 };

/// What the numbers of a device count.
enum class DeviceForm {
    Words,    ///< words of 16 bits, such as DM
    Channels, ///< channels of 16 relays when read by words, single relays when read by bits; such
              ///< as R
    Values,   ///< timers, counters and all other devices: one value of 32 bits each
    Unknown   ///< what another driver makes of an address
};

/// A device address in its parts.
struct DeviceAddress {
    QString prefix; ///< upper case
    quint32 number = 0;
    int base = 10; ///< of the number: 10 or 16
    DeviceForm form = DeviceForm::Values;
    bool isKnown = false;     ///< whether the driver has the device
    bool hasContacts = false; ///< each value has a bit of its own: timers, counters and CTC

    /// The address of another number of the device. @param other the number
    QString at(quint32 other) const;
};

/// The place of a relay among all of its device, from its number. The last two digits of a decimal
/// number are the place in the channel, from 0 to 15. @param base of the number: 10 or 16
quint32 relayPlace(quint32 number, int base);

/// The number of the relay at a place: the reverse of `relayPlace`.
quint32 relayNumber(quint32 place, int base);

/// Splits an address such as DM100, w1F or CTC3: letters and a number in the device's base, at most
/// 99999999.
/// @return whether @p text is such an address; else @p address is unchanged
bool parseDeviceAddress(const QString &text, DeviceAddress *address);

#endif
