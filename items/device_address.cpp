#include "items/device_address.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"

#include <algorithm>
#include <cstring>

namespace
{

// Far above every device's last number, so that sums of numbers and counts fit.
const quint32 MAX_NUMBER = 99999999;

// Of a decimal relay's number: two digits are the place in the channel.
const quint32 DECIMAL_CHANNEL = 100;

bool isNumber(const QString &text, int base)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [base](QChar c) {
        return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
               (base == 16 && c >= QLatin1Char('A') && c <= QLatin1Char('F'));
    });
}

bool parseNumber(const QString &text, int base, quint32 *number)
{
    bool ok = false;
    *number = text.toUInt(&ok, base);
    return ok && *number <= MAX_NUMBER;
}

} // namespace

QString DeviceAddress::at(quint32 other) const
{
    return prefix + QString::number(other, base).toUpper();
}

quint32 relayPlace(quint32 number, int base)
{
    return base == 16 ? number : number / DECIMAL_CHANNEL * CHANNEL_BITS + number % DECIMAL_CHANNEL;
}

quint32 relayNumber(quint32 place, int base)
{
    return base == 16 ? place : place / CHANNEL_BITS * DECIMAL_CHANNEL + place % CHANNEL_BITS;
}

bool parseDeviceAddress(const QString &text, DeviceAddress *address)
{
    const QString upper = text.toUpper();
    const KV_L20V_Device &device = KV_L20V_DeviceOf(upper.toLatin1());
    DeviceAddress found;
    int letters = static_cast<int>(std::strlen(device.prefix));
    // Letters that are digits belong to the number, even of one that is too large.
    if (device.number.digits > 0 && isNumber(upper.mid(letters), device.number.base)) {
        found.base = device.number.base;
        found.form = *device.number.firstBit != '\0' ? DeviceForm::Channels : DeviceForm::Words;
    } else {
        letters = 0;
        while (letters < upper.size() && upper.at(letters) >= QLatin1Char('A') &&
               upper.at(letters) <= QLatin1Char('Z'))
            ++letters;
        found.hasContacts = device.forms.bits == KV_L20V_Contacts &&
                            upper.left(letters) == QLatin1String(device.prefix);
    }
    found.prefix = upper.left(letters);
    const QString number = upper.mid(letters);
    found.isKnown = letters > 0 && found.prefix == QLatin1String(device.prefix);
    if (letters == 0 || !isNumber(number, found.base) ||
        !parseNumber(number, found.base, &found.number))
        return false;
    *address = found;
    return true;
}
