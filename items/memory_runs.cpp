#include "items/memory_runs.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"
#include "runtime/escaped_text.h"
#include "simulator/image_rows.h"

#include <algorithm>

namespace
{

const char WORD_SUFFIX[] = ".H";

// PCTC is another name of what CTC holds.
bool isOwnDevice(const QString &prefix)
{
    for (int i = 0; const KV_L20V_Device *device = KV_L20V_DeviceAt(i); ++i) {
        if (prefix == QLatin1String(device->prefix))
            return device->forms.read != KV_L20V_Presets;
    }
    return false;
}

// A relay, word, value or timer by its name. @return whether it is one; else @p cell is undefined
bool parseCell(const QString &name, MemoryRun *cell)
{
    if (!parseDeviceAddress(name, &cell->device) || !isOwnDevice(cell->device.prefix))
        return false;
    cell->count = 1;
    cell->kind = cell->device.form == DeviceForm::Words      ? CellKind::Words
                 : cell->device.form == DeviceForm::Channels ? CellKind::Bits
                 : cell->device.hasContacts                  ? CellKind::Timers
                                                             : CellKind::Values;
    if (cell->kind != CellKind::Bits)
        return true;
    const quint32 number = cell->device.number;
    cell->device.number = relayPlace(number, cell->device.base);
    return relayNumber(cell->device.number, cell->device.base) == number;
}

// The same with the names that only images have.
bool parseImageCell(const QByteArray &name, MemoryRun *cell)
{
    const bool isWord = name.endsWith(WORD_SUFFIX);
    if (!parseCell(QString::fromLatin1(isWord ? name.left(name.size() - 2) : name), cell))
        return false;
    if (!isWord || cell->kind == CellKind::Words)
        return true;
    quint32 &number = cell->device.number;
    const bool isChannel = cell->kind == CellKind::Bits && number % CHANNEL_BITS == 0;
    cell->kind = CellKind::Channels;
    number /= CHANNEL_BITS;
    return isChannel;
}

std::vector<quint32> largestValues(CellKind kind)
{
    switch (kind) {
    case CellKind::Bits:
        return {1};
    case CellKind::Channels:
    case CellKind::Words:
        return {0xFFFF};
    case CellKind::Values:
        return {0xFFFFFFFF};
    case CellKind::Timers:
        break;
    }
    return {1, 0xFFFFFFFF, 0xFFFFFFFF};
}

bool isSameDevice(const MemoryRun &a, const MemoryRun &b)
{
    return a.kind == b.kind && a.device.prefix == b.device.prefix;
}

quint32 endOf(const MemoryRun &run)
{
    return run.device.number + static_cast<quint32>(run.count);
}

// FIRST, FIRST-LAST or FIRST-NUMBER. Relays are one run of bits.
bool parseRange(const QString &text, MemoryRun *range)
{
    const QString first = text.section(QLatin1Char('-'), 0, 0).toUpper();
    if (!parseCell(first, range))
        return false;
    if (!text.contains(QLatin1Char('-')))
        return true;
    const QString &prefix = range->device.prefix;
    const QString second = text.section(QLatin1Char('-'), 1).toUpper();
    const bool isWhole = second.startsWith(prefix) && second.size() > prefix.size();
    MemoryRun last;
    if (!parseCell(isWhole ? second : prefix + second, &last) || !isSameDevice(*range, last) ||
        last.device.number < range->device.number)
        return false;
    range->count = static_cast<int>(last.device.number - range->device.number) + 1;
    return true;
}

// Whole channels are read and written as words.
void appendRange(const MemoryRun &range, QVector<MemoryRun> *runs)
{
    const quint32 first = range.device.number;
    const quint32 channel = (first + CHANNEL_BITS - 1) / CHANNEL_BITS;
    const quint32 channelEnd = endOf(range) / CHANNEL_BITS;
    if (range.kind != CellKind::Bits || channel >= channelEnd) {
        *runs += range;
        return;
    }
    const int head = static_cast<int>(channel * CHANNEL_BITS - first);
    const int tail = static_cast<int>(endOf(range) % CHANNEL_BITS);
    MemoryRun channels = range;
    channels.kind = CellKind::Channels;
    channels.device.number = channel;
    channels.count = static_cast<int>(channelEnd - channel);
    if (head > 0)
        *runs += partOf(range, 0, head);
    *runs += channels;
    if (tail > 0)
        *runs += partOf(range, range.count - tail, tail);
}

// How many addresses from @p from on one request carries. A pair of words of which the first number
// is even, as 32-bit values mostly are, is not divided.
int blockLength(const MemoryRun &run, int from)
{
    const int rest = run.count - from;
    switch (run.kind) {
    case CellKind::Bits:
        return qMin(rest, KV_L20V_MostWritten(KV_L20V_BIT_LENGTH));
    case CellKind::Values:
        return qMin(rest, KV_L20V_MAX_NUMBERS);
    case CellKind::Timers:
        return qMin(rest, KV_L20V_MAX_TIMER_ITEMS);
    case CellKind::Channels:
    case CellKind::Words:
        break;
    }
    const int most = KV_L20V_MostWritten(KV_L20V_WORD_LENGTH);
    const int odd = static_cast<int>((run.device.number + static_cast<quint32>(from + most)) % 2);
    return rest <= most ? rest : most - odd;
}

} // namespace

int valuesPerCell(CellKind kind)
{
    return kind == CellKind::Timers ? 3 : 1;
}

QString requestAddress(const MemoryRun &run, int index)
{
    const quint32 number = run.device.number + static_cast<quint32>(index);
    return run.device.at(run.kind == CellKind::Bits ? relayNumber(number, run.device.base)
                                                    : number);
}

QString cellName(const MemoryRun &run, int index)
{
    if (run.kind != CellKind::Channels)
        return requestAddress(run, index);
    const quint32 channel = run.device.number + static_cast<quint32>(index);
    return run.device.at(relayNumber(channel * CHANNEL_BITS, run.device.base)) +
           QLatin1String(WORD_SUFFIX);
}

QString runText(const MemoryRun &run)
{
    const QString first = cellName(run, 0);
    return run.count == 1 ? first : first + QLatin1Char('-') + cellName(run, run.count - 1);
}

bool runFollows(const MemoryRun &run, const MemoryRun &next)
{
    return isSameDevice(run, next) && endOf(run) == next.device.number;
}

MemoryRun partOf(const MemoryRun &run, int from, int count)
{
    MemoryRun part = run;
    part.device.number += static_cast<quint32>(from);
    part.count = count;
    const int values = valuesPerCell(run.kind);
    part.values = run.values.mid(from * values, count * values);
    return part;
}

QVector<MemoryRun> blocksOf(const MemoryRun &run)
{
    QVector<MemoryRun> blocks;
    int length = 0;
    for (int from = 0; from < run.count; from += length) {
        length = blockLength(run, from);
        blocks += partOf(run, from, length);
    }
    return blocks;
}

Failure parseRanges(const QStringList &texts, QVector<MemoryRun> *runs)
{
    QVector<MemoryRun> ranges;
    QVector<MemoryRun> parsed;
    for (const QString &text : texts) {
        MemoryRun range;
        if (!parseRange(text, &range))
            return Failure(StatusUsage,
                           QString::fromLatin1("\"%1\": expected addresses of one device, such as "
                                               "DM0-9999, W0-FF, T5 or R0-R99915; the last two "
                                               "digits of a relay of R, MR, LR and CR are 00 to 15")
                               .arg(escapedText(text.toUtf8())));
        for (const MemoryRun &other : qAsConst(ranges)) {
            if (isSameDevice(range, other) && range.device.number < endOf(other) &&
                other.device.number < endOf(range))
                return Failure(StatusUsage, QString::fromLatin1("%1 and %2 overlap: name each "
                                                                "address once")
                                                .arg(runText(other), runText(range)));
        }
        ranges += range;
        appendRange(range, &parsed);
    }
    *runs = parsed;
    return Failure();
}

Failure parseMemoryImage(const QByteArray &image, QVector<MemoryRun> *runs)
{
    QVector<MemoryRun> parsed;
    PlcImageReader reader(image);
    PlcImageRow row;
    std::vector<quint32> values;
    while (reader.next(&row)) {
        MemoryRun cell;
        if (!parseImageCell(row.device.text, &cell))
            reader.refuseDevice(row);
        else if (reader.readValues(row, largestValues(cell.kind), &values)) {
            if (!parsed.isEmpty() && runFollows(parsed.last(), cell))
                ++parsed.last().count;
            else
                parsed += cell;
            for (quint32 value : values)
                parsed.last().values += value;
        }
    }
    if (!reader.error().isEmpty())
        return Failure(StatusUsage, escapedText(reader.error()));
    *runs = parsed;
    return Failure();
}

QByteArray imageRows(const MemoryRun &run)
{
    const int each = valuesPerCell(run.kind);
    QByteArray rows;
    for (int i = 0; i < run.count; ++i) {
        const quint32 *values = run.values.constData() + i * each;
        rows += plcImageRow(cellName(run, i).toLatin1(), {values, values + each});
    }
    return rows;
}

QVector<MemoryRun> without(const QVector<MemoryRun> &runs, const QVector<MemoryRun> &done)
{
    QVector<MemoryRun> sorted = done;
    std::sort(sorted.begin(), sorted.end(), [](const MemoryRun &a, const MemoryRun &b) {
        return a.device.number < b.device.number;
    });
    QVector<MemoryRun> rest;
    for (const MemoryRun &run : runs) {
        quint32 next = run.device.number;
        const auto keepUpTo = [&](quint32 end) {
            if (next < end)
                rest += partOf(run, static_cast<int>(next - run.device.number),
                               static_cast<int>(end - next));
        };
        for (const MemoryRun &other : qAsConst(sorted)) {
            if (!isSameDevice(run, other) || endOf(other) <= next ||
                other.device.number >= endOf(run))
                continue;
            keepUpTo(other.device.number);
            next = endOf(other);
        }
        keepUpTo(endOf(run));
    }
    return rest;
}

qint64 cellCount(const QVector<MemoryRun> &runs)
{
    qint64 cells = 0;
    for (const MemoryRun &run : runs)
        cells += run.count;
    return cells;
}
