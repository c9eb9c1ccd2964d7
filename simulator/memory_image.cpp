#include "simulator/memory_image.h"

#include "simulator/image_rows.h"
#include "simulator/plc_values.h"

#include <vector>

namespace
{

QByteArray itemName(const PlcDevice &device, unsigned int index)
{
    unsigned int number = index;
    if (device.read == PLC_BITS && device.base == 10)
        number = index / PLC_CHANNEL_BITS * 100 + index % PLC_CHANNEL_BITS;
    return device.name + QByteArray::number(number, static_cast<int>(device.base)).toUpper();
}

// What a row of a device holds: one value, or those of a timer.
std::vector<PlcItems> partsOf(PlcItems read)
{
    if (read != PLC_TIMERS)
        return std::vector<PlcItems>(1, read);
    return {PLC_TIMERS, PLC_CURRENTS, PLC_PRESETS};
}

// Empty for an item that is 0.
QByteArray itemRow(const PlcMemory &memory, const PlcDevice &device, unsigned int index)
{
    std::vector<quint32> values;
    quint32 any = 0;
    for (PlcItems part : partsOf(device.read)) {
        values.push_back(memory.value(plcArea(device), part, index));
        any |= values.back();
    }
    return any == 0 ? QByteArray() : plcImageRow(itemName(device, index), values);
}

// A value of a line that was found good.
struct Setting {
    PlcArea area;
    PlcItems items;
    unsigned int index;
    quint32 value;
};
typedef std::vector<Setting> Settings;

// @return whether the row is good; else it is refused
bool addRow(const PlcImageRow &row, PlcImageReader *reader, Settings *settings)
{
    PlcPoint point;
    if (parsePlcItemName(row.device.text, &point) != PLC_ACCEPTED) {
        reader->refuseDevice(row);
        return false;
    }
    const std::vector<PlcItems> parts = partsOf(point.read);
    std::vector<quint32> largest;
    std::vector<quint32> values;
    largest.reserve(parts.size());
    for (PlcItems part : parts)
        largest.push_back(largestPlcValue(part));
    if (!reader->readValues(row, largest, &values))
        return false;
    for (size_t i = 0; i < parts.size(); ++i) {
        const Setting setting = {point.area, parts[i], point.index, values[i]};
        settings->push_back(setting);
    }
    return true;
}

} // namespace

QByteArray plcMemoryImage(const PlcMemory &memory)
{
    QByteArray image = plcImageHeader();
    unsigned int row = 0;
    while (const PlcDevice *device = plcDeviceAt(row++)) {
        if (device->shown)
            continue; // that device has shown it already
        const unsigned int items = device->size * (device->read == PLC_BITS ? PLC_CHANNEL_BITS : 1);
        for (unsigned int i = 0; i < items; ++i)
            image += itemRow(memory, *device, i);
    }
    return image;
}

bool loadPlcMemoryImage(const QByteArray &image, PlcMemory *memory, QByteArray *error)
{
    Settings settings;
    PlcImageReader reader(image);
    PlcImageRow row;
    while (reader.next(&row) && addRow(row, &reader, &settings)) {
    }
    *error = reader.error();
    if (!error->isEmpty())
        return false;
    for (const Setting &setting : settings)
        memory->store(setting.area, setting.items, setting.index, setting.value);
    return true;
}
