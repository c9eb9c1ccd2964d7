#include "simulator/plc_memory.h"

#include "simulator/plc_values.h"

namespace
{

quint16 bitMask(unsigned int position)
{
    return static_cast<quint16>(1u << position);
}

void assignBit(quint16 *word, unsigned int position, bool value)
{
    *word = static_cast<quint16>(value ? *word | bitMask(position) : *word & ~bitMask(position));
}

template <typename Item>
Item found(const Item *item, bool *ok)
{
    if (ok)
        *ok = item != 0;
    return item ? *item : Item();
}

quint32 largestValue(PlcItems items)
{
    switch (items) {
    case PLC_BITS:
    case PLC_TIMERS:
        return 1;
    case PLC_WORDS:
        return 0xFFFF;
    case PLC_CURRENTS:
    case PLC_PRESETS:
        break;
    }
    return 0xFFFFFFFFu;
}

} // namespace

PlcMemory::PlcMemory()
{
    unsigned int i = 0;
    while (const PlcDevice *device = plcDeviceAt(i++)) {
        if (device->read == PLC_BITS || device->read == PLC_WORDS)
            m_words[device->area].resize(device->size);
        else
            m_timers[device->area].resize(device->size);
    }
}

quint16 *PlcMemory::findWord(const QByteArray &device, unsigned int number)
{
    const PlcDevice *row = findPlcDevice(device);
    return row && number < m_words[row->area].size() ? &m_words[row->area][number] : 0;
}

PlcTimer *PlcMemory::findTimer(const QByteArray &device, unsigned int number)
{
    const PlcDevice *row = findPlcDevice(device);
    return row && number < m_timers[row->area].size() ? &m_timers[row->area][number] : 0;
}

bool PlcMemory::setWord(const QByteArray &device, unsigned int number, quint16 value)
{
    quint16 *word = findWord(device, number);
    if (word)
        *word = value;
    return word != 0;
}

quint16 PlcMemory::word(const QByteArray &device, unsigned int number, bool *ok) const
{
    return found(const_cast<PlcMemory *>(this)->findWord(device, number), ok);
}

bool PlcMemory::setBit(const QByteArray &device, unsigned int number, unsigned int position,
                       bool value)
{
    quint16 *word = position < PLC_CHANNEL_BITS ? findWord(device, number) : 0;
    if (word)
        assignBit(word, position, value);
    return word != 0;
}

bool PlcMemory::bit(const QByteArray &device, unsigned int number, unsigned int position,
                    bool *ok) const
{
    const bool inWord = position < PLC_CHANNEL_BITS;
    const quint16 *word = inWord ? const_cast<PlcMemory *>(this)->findWord(device, number) : 0;
    return (found(word, ok) & bitMask(inWord ? position : 0)) != 0;
}

bool PlcMemory::setTimer(const QByteArray &device, unsigned int number, const PlcTimer &value)
{
    PlcTimer *timer = findTimer(device, number);
    if (timer)
        *timer = value;
    return timer != 0;
}

PlcTimer PlcMemory::timer(const QByteArray &device, unsigned int number, bool *ok) const
{
    return found(const_cast<PlcMemory *>(this)->findTimer(device, number), ok);
}

bool PlcMemory::preset(const QByteArray &assignment, QByteArray *error)
{
    const int equals = assignment.indexOf('=');
    const QByteArray device = assignment.left(equals);
    PlcPoint point;
    PlcFault fault =
        equals < 0 ? PLC_UNKNOWN_DEVICE : parsePlcPoint(device.constData(), device.size(), &point);
    if (fault == PLC_WRONG_FORMAT) {
        const QByteArray asWord = device + ".H";
        fault = parsePlcPoint(asWord.constData(), asWord.size(), &point);
    }
    if (fault != PLC_NO_FAULT) {
        *error = "no such device in \"" + assignment + "\", expected for example DM100=4660";
        return false;
    }
    const PlcField text = {assignment.constData() + equals + 1, assignment.size() - equals - 1};
    quint32 value = 0;
    if (!parsePlcDecimal(text, &value) || value > largestValue(point.written)) {
        *error = "no value of the device's range in \"" + assignment + '"';
        return false;
    }
    store(point.area, point.written, point.index, value);
    return true;
}

void PlcMemory::appendItem(PlcArea area, PlcItems items, unsigned int index, QByteArray *text) const
{
    switch (items) {
    case PLC_BITS: {
        const quint16 channel = m_words[area][index / PLC_CHANNEL_BITS];
        text->append((channel & bitMask(index % PLC_CHANNEL_BITS)) != 0 ? '1' : '0');
        break;
    }
    case PLC_WORDS:
        appendPlcWord(m_words[area][index], text);
        break;
    case PLC_TIMERS: {
        const PlcTimer &timer = m_timers[area][index];
        text->append(timer.contact ? "1," : "0,");
        appendPlcDecimal(timer.current, text);
        text->append(',');
        appendPlcDecimal(timer.preset, text);
        break;
    }
    case PLC_CURRENTS:
        appendPlcDecimal(m_timers[area][index].current, text);
        break;
    case PLC_PRESETS:
        appendPlcDecimal(m_timers[area][index].preset, text);
        break;
    }
}

void PlcMemory::store(PlcArea area, PlcItems items, unsigned int index, quint32 value)
{
    switch (items) {
    case PLC_BITS:
        assignBit(&m_words[area][index / PLC_CHANNEL_BITS], index % PLC_CHANNEL_BITS, value != 0);
        break;
    case PLC_WORDS:
        m_words[area][index] = static_cast<quint16>(value);
        break;
    case PLC_TIMERS:
        m_timers[area][index].contact = value != 0;
        break;
    case PLC_CURRENTS:
        m_timers[area][index].current = value;
        break;
    case PLC_PRESETS:
        m_timers[area][index].preset = value;
        break;
    }
}
