/// The device memory of the simulated PLC, which several connections may share.
#ifndef SIMULATOR_PLC_MEMORY_H
#define SIMULATOR_PLC_MEMORY_H

#include "simulator/plc_devices.h"

#include <QtCore/QByteArray>

#include <vector>

/// A timer, a counter or a high-speed counter's comparator (CTC). An analogue trimmer (AT) has its
/// value in `current`.
struct PlcTimer {
    bool contact;
    quint32 current;
    quint32 preset;
};

/// All devices of one PLC, 0 at first. No clock runs in it: a value changes only when it is
/// written.
///
/// Devices are named by their upper-case name and their number. A setter returns whether the device
/// exists with that number, and changes nothing otherwise; a getter sets @p ok to the same, when it
/// is not null, and gives 0 otherwise.
class PlcMemory
{
public:
    PlcMemory();

    /// A word of a word device, or the channel @p number of a bit device (1 for R00100 to R00115).
    bool setWord(const QByteArray &device, unsigned int number, quint16 value);
    quint16 word(const QByteArray &device, unsigned int number, bool *ok = 0) const;

    /// Bit @p position, 0 to 15, of a channel or word numbered as above: R01215 is channel 12, bit
    /// 15.
    bool setBit(const QByteArray &device, unsigned int number, unsigned int position, bool value);
    bool bit(const QByteArray &device, unsigned int number, unsigned int position,
             bool *ok = 0) const;

    /// An item of T, C, CTC or AT.
    bool setTimer(const QByteArray &device, unsigned int number, const PlcTimer &value);
    PlcTimer timer(const QByteArray &device, unsigned int number, bool *ok = 0) const;

    /// Sets one item by text, such as DM100=4660, R1215=1 or T12=100: a device as lines name it,
    /// where a word device may lack its .H, and a decimal value; it goes where a write would put
    /// it.
    /// @return whether it was set; else @p error says in English why not
    bool assign(const QByteArray &assignment, QByteArray *error);

    /// Lets no line change the devices of @p range, such as DM100, DM100-DM199 or T0-T9; assign()
    /// and store() still do. Both ends are named as for assign() and belong to one device.
    /// @return whether the range was taken; else @p error says in English why not
    bool protect(const QByteArray &range, QByteArray *error);

    /// Whether a range of protect() holds any of @p count items from @p index on. Requires: count
    /// is 1 or more.
    bool isReadOnly(PlcArea area, PlcItems items, unsigned int index, unsigned int count) const;

    /// Appends the text of the item @p index of an area, as a reply carries it.
    /// Requires: the index lies within the area and the area has such items.
    void appendItem(PlcArea area, PlcItems items, unsigned int index, QByteArray *text) const;

    /// The number of the same item; for PLC_TIMERS it is the contact. Requires: as above.
    quint32 value(PlcArea area, PlcItems items, unsigned int index) const;

    /// Stores a value that has its item's range; for PLC_TIMERS it is the contact. Requires: as
    /// above.
    void store(PlcArea area, PlcItems items, unsigned int index, quint32 value);

private:
    struct Protected {
        PlcArea area;
        quint64 first; // bits of an area of words, else items
        quint64 last;
    };

    quint16 *findWord(const QByteArray &device, unsigned int number);
    PlcTimer *findTimer(const QByteArray &device, unsigned int number);

    // By area; an area has either words or timers.
    std::vector<std::vector<quint16>> m_words;
    std::vector<std::vector<PlcTimer>> m_timers;
    std::vector<Protected> m_protected;
};

#endif
