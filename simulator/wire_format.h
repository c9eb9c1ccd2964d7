/// The settings of a serial port, and what a port with other settings hears.
#ifndef SIMULATOR_WIRE_FORMAT_H
#define SIMULATOR_WIRE_FORMAT_H

#include <QtCore/QByteArray>

/// Speed and format of the characters on a serial wire.
struct WireFormat {
    WireFormat() : baud(0), dataBits(8), parity('e'), stopBits(1) {}

    int baud;     ///< bits a second; 0 where any settings will do
    int dataBits; ///< 5 to 8
    char parity;  ///< n, e, o, m or s: none, even, odd, mark or space
    int stopBits; ///< 1 or 2
};

/// What a receiver makes of bytes that are sent back to back, each bit sampled at its middle. A
/// character with a wrong parity bit or without a stop bit is heard as a zero byte. The receiver
/// looks at one stop bit only. Requires: no speed is 0.
QByteArray heardBytes(const QByteArray &bytes, const WireFormat &sender,
                      const WireFormat &receiver);

#endif
