/// The simulated PLC's devices as text that a spreadsheet reads and writes.
#ifndef SIMULATOR_MEMORY_IMAGE_H
#define SIMULATOR_MEMORY_IMAGE_H

#include "simulator/plc_memory.h"

#include <QtCore/QByteArray>

/// The image of all items that are not 0: the line "device,value", then one line an item, such as
/// DM100,4660 or R1215,1 or T12,"1,100,200" (contact, current value, preset).
QByteArray plcMemoryImage(const PlcMemory &memory);

/// Sets the items of an image; the others keep their values. Lines end in LF or CR LF, empty lines
/// say nothing, and the devices TC, TS, CC and CS name one value of a timer or counter.
/// @return whether they were set; else none was, and @p error has line and reason
bool loadPlcMemoryImage(const QByteArray &image, PlcMemory *memory, QByteArray *error);

#endif
