/// What the PLC's memory may hold, as far as the requests made so far tell.
#ifndef TESTS_SOAK_PLC_MODEL_H
#define TESTS_SOAK_PLC_MODEL_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include "drivers/communicator_command.h"

/// A run of items of one device that the soak reads and writes.
struct Area {
    const char *device;
    int base;         ///< of the number in an address
    CommandKind kind; ///< of the requests
    int bytes;        ///< of an item: 2 or 4; 0 for a bit
    int size;         ///< items
    int mostRead;     ///< items in one request
    int mostWritten;

    QString address(int index) const
    {
        return QLatin1String(device) + QString::number(index, base).toUpper();
    }
};

/// Every device kind that the driver reads and writes, no two of which share memory.
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
