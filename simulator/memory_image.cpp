#include "simulator/memory_image.h"

#include "simulator/plc_values.h"

#include <QtCore/QList>

#include <vector>

namespace
{

// Spreadsheets put it before UTF-8.
const char BYTE_ORDER_MARK[] = "\xEF\xBB\xBF";

const char HEADER[] = "device,value";

QByteArray itemName(const PlcDevice &device, unsigned int index)
{
    unsigned int number = index;
    if (device.read == PLC_BITS && device.base == 10)
        number = index / PLC_CHANNEL_BITS * 100 + index % PLC_CHANNEL_BITS;
    return device.name + QByteArray::number(number, static_cast<int>(device.base)).toUpper();
}

// Empty for an item that is 0.
QByteArray itemValue(const PlcMemory &memory, const PlcDevice &device, unsigned int index)
{
    const quint32 value = memory.value(plcArea(device), device.read, index);
    if (device.read != PLC_TIMERS)
        return value == 0 ? QByteArray() : QByteArray::number(value);
    const quint32 current = memory.value(plcArea(device), PLC_CURRENTS, index);
    const quint32 preset = memory.value(plcArea(device), PLC_PRESETS, index);
    if (value == 0 && current == 0 && preset == 0)
        return QByteArray();
    return '"' + QByteArray::number(value) + ',' + QByteArray::number(current) + ',' +
           QByteArray::number(preset) + '"';
}

// A value of a line that was found good.
struct Setting {
    PlcArea area;
    PlcItems items;
    unsigned int index;
    quint32 value;
};
typedef std::vector<Setting> Settings;

bool addSetting(const QByteArray &text, const PlcPoint &point, PlcItems items, Settings *settings)
{
    const PlcField field = {text.constData(), text.size()};
    Setting setting = {point.area, items, point.index, 0};
    if (!parsePlcDecimal(field, &setting.value) || setting.value > largestPlcValue(items))
        return false;
    settings->push_back(setting);
    return true;
}

QByteArray unquoted(const QByteArray &text)
{
    const bool isQuoted = text.size() >= 2 && text.startsWith('"') && text.endsWith('"');
    return isQuoted ? text.mid(1, text.size() - 2) : text;
}

bool addItem(const QByteArray &text, const PlcPoint &point, Settings *settings)
{
    if (point.read != PLC_TIMERS)
        return addSetting(text, point, point.read, settings);
    const QList<QByteArray> values = text.split(',');
    return values.size() == 3 && addSetting(values[0], point, PLC_TIMERS, settings) &&
           addSetting(values[1], point, PLC_CURRENTS, settings) &&
           addSetting(values[2], point, PLC_PRESETS, settings);
}

// @return what is wrong with the line; empty for nothing
QByteArray addLine(const QByteArray &line, Settings *settings)
{
    const int comma = line.indexOf(',');
    if (comma < 0)
        return quotedPlcText(line) + " is not device,value";
    const QByteArray name = unquoted(line.left(comma));
    PlcPoint point;
    if (parsePlcItemName(name, &point) != PLC_ACCEPTED)
        return "no such device: " + quotedPlcText(name);
    const QByteArray value = unquoted(line.mid(comma + 1));
    if (addItem(value, point, settings))
        return QByteArray();
    return point.read == PLC_TIMERS
               ? quotedPlcText(value) + " is not contact,current,preset of " + quotedPlcText(name)
               : quotedPlcText(value) + " for " + quotedPlcText(name) + ": expected 0 to " +
                     QByteArray::number(largestPlcValue(point.read));
}

} // namespace

QByteArray plcMemoryImage(const PlcMemory &memory)
{
    QByteArray image = QByteArray(HEADER) + '\n';
    unsigned int row = 0;
    while (const PlcDevice *device = plcDeviceAt(row++)) {
        if (device->shown)
            continue; // that device has shown it already
        const unsigned int items = device->size * (device->read == PLC_BITS ? PLC_CHANNEL_BITS : 1);
        for (unsigned int i = 0; i < items; ++i) {
            const QByteArray value = itemValue(memory, *device, i);
            if (!value.isEmpty())
                image += itemName(*device, i) + ',' + value + '\n';
        }
    }
    return image;
}

bool loadPlcMemoryImage(const QByteArray &image, PlcMemory *memory, QByteArray *error)
{
    Settings settings;
    int number = 0;
    for (QByteArray line : image.split('\n')) {
        ++number;
        if (line.endsWith('\r'))
            line.chop(1);
        QByteArray reason;
        if (number == 1 && line.startsWith(BYTE_ORDER_MARK))
            line.remove(0, 3);
        if (number == 1)
            reason = line == HEADER ? "" : "the first line is not device,value";
        else if (!line.isEmpty())
            reason = addLine(line, &settings);
        if (!reason.isEmpty()) {
            *error = "line " + QByteArray::number(number) + ": " + reason;
            return false;
        }
    }
    for (const Setting &setting : settings)
        memory->store(setting.area, setting.items, setting.index, setting.value);
    return true;
}
