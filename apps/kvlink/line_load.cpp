#include "apps/kvlink/line_load.h"

#include "items/device_address.h"
#include "runtime/serial_port.h"

namespace
{

// Start bit, 8 data bits, parity bit and stop bit.
const int BITS_OF_8E1 = 11;

} // namespace

LineSpeed lineSpeed(const LinkOptions &options, int baudRate)
{
    SerialPortSetting setting;
    if (options.port.isEmpty() || parseSerialPort(options.port, &setting))
        return {baudRate, BITS_OF_8E1};
    const int bits = 1 + setting.dataBits + (setting.parity == QSerialPort::NoParity ? 0 : 1) +
                     (setting.stopBits == QSerialPort::TwoStop ? 2 : 1);
    const int ownRate = isPseudoTerminal(setting.device) ? 0 : setting.baudRate;
    return {baudRate > 0 ? baudRate : ownRate, bits};
}

Failure checkWordAddress(const QString &text)
{
    DeviceAddress address;
    if (parseDeviceAddress(text, &address) && address.form != DeviceForm::Values)
        return Failure();
    return Failure(StatusUsage, text + QLatin1String(": expected a word, such as DM0"));
}
