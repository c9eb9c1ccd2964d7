/// The devices of the simulated PLC: their names, how a line numbers them and how many there are.
#ifndef SIMULATOR_PLC_DEVICES_H
#define SIMULATOR_PLC_DEVICES_H

#include "simulator/plc_refusals.h"

#include <QtCore/QByteArray>

/// A separate piece of PLC memory: the position in the table of the device that it belongs to.
typedef unsigned int PlcArea;

/// What one item of a line is.
enum PlcItems {
    PLC_BITS,     ///< "0" or "1"
    PLC_WORDS,    ///< 4 hexadecimal digits
    PLC_TIMERS,   ///< contact, current value and preset: "1,0000000100,0000000200"
    PLC_CURRENTS, ///< the current value alone, 10 decimal digits
    PLC_PRESETS   ///< the preset alone, 10 decimal digits
};

/// Bits in one channel of a bit device.
const unsigned int PLC_CHANNEL_BITS = 16;

/// One device name.
struct PlcDevice {
    const char *name;
    const char *shown; ///< the device whose memory it shows; null for memory of its own
    PlcItems read;     ///< what a read gives
    PlcItems written;  ///< what a write takes
    unsigned int base; ///< of the number: 10 or 16
    unsigned int size; ///< channels of a bit device, else items; the simulator's own choice
};

/// Where a command begins in the memory, and what its items are.
struct PlcPoint {
    PlcArea area;
    PlcItems read;
    PlcItems written;
    unsigned int index; ///< of the first item
    unsigned int size;  ///< of the whole device, in items
};

/// The row of a device by its full name in upper case; null when there is none.
const PlcDevice *findPlcDevice(const QByteArray &name);

/// The row at position @p i of the table; null behind its end.
const PlcDevice *plcDeviceAt(unsigned int i);

/// The memory that a device looks into. Requires: @p device is a row of the table.
PlcArea plcArea(const PlcDevice &device);

/// Reads a device as a line names it, such as DM00100.H, R01215 or T12, into @p point.
/// @return PLC_ACCEPTED, or what is wrong with the text; @p point is then undefined
PlcRefusal parsePlcPoint(const char *text, int length, PlcPoint *point);

/// The same for a device as a user names it: a word device may lack its .H, such as DM100.
PlcRefusal parsePlcItemName(const QByteArray &name, PlcPoint *point);

#endif
