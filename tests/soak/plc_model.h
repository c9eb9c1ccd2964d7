/// What the PLC's memory may hold, as far as the requests made so far tell.
#ifndef TESTS_SOAK_PLC_MODEL_H
#define TESTS_SOAK_PLC_MODEL_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include "drivers/communicator_command.h"
#include "simulator/plc_memory.h"

/// A run of items of one device that the soak reads and writes.
struct Area {
    const char *device;
    int first;        ///< number of the first item
    int base;         ///< of the number in an address
    CommandKind kind; ///< of the requests
    int bytes;        ///< of an item: 2 or 4; 0 for a bit
    int size;         ///< items
    int mostRead;     ///< items in one request
    int mostWritten;

    /// Of an item of two words counts the device's number twice.
    int number(int index) const { return first + index * (bytes == 4 && ofWords() ? 2 : 1); }

    QString address(int index) const
    {
        return QLatin1String(device) + QString::number(number(index), base).toUpper();
    }

    /// What a request for some items counts: bytes, or items.
    quint32 count(int items) const
    {
        return static_cast<quint32>(kind == Byte || kind == Block ? items * bytes : items);
    }

    /// The item in the PLC's memory, found there by the PLC's own name for it.
    quint32 held(const PlcMemory &memory, int index) const
    {
        const unsigned int at = static_cast<unsigned int>(number(index));
        if (bytes != 0 && ofWords())
            return memory.word(device, at) |
                   (bytes == 4 ? quint32(memory.word(device, at + 1)) << 16 : 0);
        PlcPoint point;
        parsePlcItemName(plcName() + QByteArray::number(at, base).toUpper(), &point);
        return memory.value(point.area, bytes == 0 ? point.read : point.written, point.index);
    }

private:
    QByteArray plcName() const { return device[0] == 'P' ? device + 1 : device; }

    bool ofWords() const
    {
        const PlcItems items = findPlcDevice(plcName())->read;
        return items == PLC_WORDS || items == PLC_BITS;
    }
};

/// Every device and every kind of request that the driver reads and writes; no two rows share
/// memory.
extern const Area AREAS[];
extern const int AREA_COUNT;

/// One item. A write that failed may have reached the PLC or not: until a later request settles it,
/// the item may hold either value.
class Cell
{
public:
    Cell() : m_values(1, 0) {}

    void written(quint32 value) { m_values = QVector<quint32>(1, value); }

    void perhapsWritten(quint32 value)
    {
        if (!m_values.contains(value))
            m_values.append(value);
    }

    bool mayBe(quint32 value) const { return m_values.contains(value); }

    /// A value that was read. @return whether the PLC may have held it
    bool settle(quint32 value)
    {
        if (!mayBe(value))
            return false;
        written(value);
        return true;
    }

private:
    QVector<quint32> m_values;
};

#endif
