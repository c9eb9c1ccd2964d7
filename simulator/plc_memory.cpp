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

// Items of words are counted in bits, so that words and their bits can be compared.
quint64 firstUnit(PlcItems items, unsigned int index)
{
    return items == PLC_WORDS ? quint64(index) * PLC_CHANNEL_BITS : index;
}

quint64 lastUnit(PlcItems items, unsigned int index)
{
    return firstUnit(items, index) + (items == PLC_WORDS ? PLC_CHANNEL_BITS - 1 : 0);
}

} // namespace

PlcMemory::PlcMemory()
{
    while (const PlcDevice *device = plcDeviceAt(static_cast<unsigned int>(m_words.size()))) {
        const unsigned int size = device->shown ? 0 : device->size;
        const bool hasWords = device->read == PLC_BITS || device->read == PLC_WORDS;
        m_words.push_back(std::vector<quint16>(hasWords ? size : 0));
        m_timers.push_back(std::vector<PlcTimer>(hasWords ? 0 : size));
    }
}

quint16 *PlcMemory::findWord(const QByteArray &device, unsigned int number)
{
    const PlcDevice *row = findPlcDevice(device);
    return row && number < m_words[plcArea(*row)].size() ? &m_words[plcArea(*row)][number] : 0;
}

PlcTimer *PlcMemory::findTimer(const QByteArray &device, unsigned int number)
{
    const PlcDevice *row = findPlcDevice(device);
    return row && number < m_timers[plcArea(*row)].size() ? &m_timers[plcArea(*row)][number] : 0;
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

bool PlcMemory::assign(const QByteArray &assignment, QByteArray *error)
{
    const int equals = assignment.indexOf('=');
    const QByteArray device = equals < 0 ? assignment : assignment.left(equals);
    PlcPoint point;
    const bool isKnown = parsePlcItemName(device, &point) == PLC_ACCEPTED;
    if (equals < 0 || !isKnown) {
        *error = (isKnown ? "no value in " : "no such device in ") + quotedPlcText(assignment) +
                 ", expected for example DM100=4660";
        return false;
    }
    const PlcField text = {assignment.constData() + equals + 1, assignment.size() - equals - 1};
    quint32 value = 0;
    const quint32 largest = largestPlcValue(point.written);
    if (!parsePlcDecimal(text, &value) || value > largest) {
        *error = "no value from 0 to " + QByteArray::number(largest) + " in " +
                 quotedPlcText(assignment);
        return false;
    }
    store(point.area, point.written, point.index, value);
    return true;
}

bool PlcMemory::protect(const QByteArray &range, QByteArray *error)
{
    const int dash = range.indexOf('-');
    PlcPoint first;
    PlcPoint last;
    if (parsePlcItemName(dash < 0 ? range : range.left(dash), &first) != PLC_ACCEPTED ||
        parsePlcItemName(range.mid(dash + 1), &last) != PLC_ACCEPTED) {
        *error = "no such devices: " + quotedPlcText(range) +
                 ", expected for example DM100 or DM100-DM199";
        return false;
    }
    const Protected area = {first.area, firstUnit(first.read, first.index),
                            lastUnit(last.read, last.index)};
    if (first.area != last.area || area.first > area.last) {
        *error = quotedPlcText(range) + " does not go from a device to a later one of its kind";
        return false;
    }
    m_protected.push_back(area);
    return true;
}

bool PlcMemory::isReadOnly(PlcArea area, PlcItems items, unsigned int index,
                           unsigned int count) const
{
    const quint64 first = firstUnit(items, index);
    const quint64 last = lastUnit(items, index + count - 1);
    for (const Protected &range : m_protected) {
        if (range.area == area && range.first <= last && first <= range.last)
            return true;
    }
    return false;
}

void PlcMemory::appendItem(PlcArea area, PlcItems items, unsigned int index, QByteArray *text) const
{
    switch (items) {
    case PLC_BITS:
        text->append(value(area, items, index) != 0 ? '1' : '0');
        break;
    case PLC_WORDS:
        appendPlcWord(m_words[area][index], text);
        break;
    case PLC_TIMERS:
        text->append(value(area, items, index) != 0 ? "1," : "0,");
        appendPlcDecimal(m_timers[area][index].current, text);
        text->append(',');
        appendPlcDecimal(m_timers[area][index].preset, text);
        break;
    case PLC_CURRENTS:
    case PLC_PRESETS:
        appendPlcDecimal(value(area, items, index), text);
        break;
    }
}

quint32 PlcMemory::value(PlcArea area, PlcItems items, unsigned int index) const
{
    switch (items) {
    case PLC_BITS:
        return (m_words[area][index / PLC_CHANNEL_BITS] & bitMask(index % PLC_CHANNEL_BITS)) != 0;
    case PLC_WORDS:
        return m_words[area][index];
    case PLC_TIMERS:
        return m_timers[area][index].contact;
    case PLC_CURRENTS:
        return m_timers[area][index].current;
    case PLC_PRESETS:
        break;
    }
    return m_timers[area][index].preset;
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
