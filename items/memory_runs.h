/// Runs of device memory: what a range such as DM0-9999 or the rows of a memory image name.
#ifndef ITEMS_MEMORY_RUNS_H
#define ITEMS_MEMORY_RUNS_H

#include "items/device_address.h"
#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// What one address of a run holds.
enum class CellKind {
    Bits,     ///< a relay, such as R1215
    Channels, ///< 16 relays as a word, such as R1200.H
    Words,    ///< a word
    Values,   ///< 32 bits
    Timers    ///< contact, current value and preset
};

/// Neighbouring addresses of one device.
struct MemoryRun {
    DeviceAddress device; ///< of the first one; the number of a relay is 16 * channel + place
    CellKind kind = CellKind::Words;
    int count = 1;           ///< of addresses
    QVector<quint32> values; ///< three a timer, else one an address; empty for a run to read
};

/// How many values one address has.
int valuesPerCell(CellKind kind);

/// The address @p index of a run as a request names it, such as R12 for a channel.
QString requestAddress(const MemoryRun &run, int index);

/// The same as a memory image names it, such as R1200.H.
QString cellName(const MemoryRun &run, int index);

/// The first and the last address for people, such as DM0-DM305, or the only one.
QString runText(const MemoryRun &run);

/// Whether @p next is of the same device and kind, and begins where @p run ends.
bool runFollows(const MemoryRun &run, const MemoryRun &next);

/// The part of a run that begins with the address @p from. Requires: it lies within the run.
MemoryRun partOf(const MemoryRun &run, int from, int count);

/// A run in parts of which one request reads or writes each: as long as a line and a reply can be. A
/// pair of words of which the first number is even, as 32-bit values mostly are, is not divided.
QVector<MemoryRun> blocksOf(const MemoryRun &run);

/// Reads ranges such as DM0-9999, W0-WFF, R0-R99915 or T5. Relays that do not fill a channel at the
/// ends of a range are a run of bits, those between a run of channels.
/// @param runs is filled on success
/// @return StatusUsage with what is wrong, also where two ranges overlap
Failure parseRanges(const QStringList &texts, QVector<MemoryRun> *runs);

/// Reads a memory image, see kvsim(1).
/// @param runs gets the rows in their order; neighbours that follow each other make one run
/// @return StatusUsage with line and column
Failure parseMemoryImage(const QByteArray &image, QVector<MemoryRun> *runs);

/// The rows of a run that has values, each with its end.
QByteArray imageRows(const MemoryRun &run);

/// What is left of runs without those that are done.
QVector<MemoryRun> without(const QVector<MemoryRun> &runs, const QVector<MemoryRun> &done);

/// Addresses of all runs.
qint64 cellCount(const QVector<MemoryRun> &runs);

#endif
