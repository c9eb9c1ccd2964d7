#include "items/memory_transfer.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "items/item_reader.h"
#include "items/item_writer.h"

namespace
{

// So many refused addresses in a row are the end of a device rather than a hole in it.
const int MANY_REFUSED = 32;

// Where the parts of a timer's item are read and written by themselves.
struct TimerDevices {
    const char *contact;
    const char *current;
    const char *preset;
};

const TimerDevices TIMERS[] = {{"T", "TC", "TS"}, {"C", "CC", "CS"}, {"CTC", "CTC", "PCTC"}};

const TimerDevices &timerDevices(const MemoryRun &run)
{
    const TimerDevices *row = TIMERS;
    while (run.device.prefix != QLatin1String(row->contact))
        ++row;
    return *row;
}

bool isWritten(const char *device)
{
    return KV_L20V_DeviceOf(device).forms.written != KV_L20V_Refused;
}

// @param prefix the device to ask instead of the block's own; null for none
// @param index  of the value within an address
Item blockItem(const MemoryRun &block, ItemType type, const char *prefix = nullptr, int index = 0)
{
    MemoryRun asked = block;
    if (prefix)
        asked.device.prefix = QLatin1String(prefix);
    Item item;
    item.address = requestAddress(asked, 0);
    parseDeviceAddress(item.address, &item.device);
    item.text = item.address;
    item.type = type;
    item.count = block.count;
    for (int i = index; i < block.values.size(); i += valuesPerCell(block.kind))
        item.values += QString::number(block.values.at(i));
    return item;
}

// A refusal or a difference says nothing about other addresses, and nothing about the wire.
bool isOfItsAddresses(const Failure &failure)
{
    return failure.status() == StatusPlcError || failure.status() == StatusDiffers;
}

QVector<Item> itemsOf(const MemoryRun &block)
{
    switch (block.kind) {
    case CellKind::Bits:
        return {blockItem(block, ItemType::Bit)};
    case CellKind::Channels:
    case CellKind::Words:
        return {blockItem(block, ItemType::U16)};
    case CellKind::Values:
        return {blockItem(block, ItemType::U32)};
    case CellKind::Timers:
        break;
    }
    const TimerDevices &timer = timerDevices(block);
    return {blockItem(block, ItemType::Bit, timer.contact, 0),
            blockItem(block, ItemType::U32, timer.current, 1),
            blockItem(block, ItemType::U32, timer.preset, 2)};
}

void add(const MemoryRun &run, const Failure &failure, QVector<UnlikeRun> *unlike)
{
    if (!unlike->isEmpty() && runFollows(unlike->last().run, run))
        unlike->last().run.count += run.count;
    else
        unlike->append(UnlikeRun{run, failure});
}

} // namespace

Failure readBlock(Client &client, MemoryRun *block)
{
    block->values.clear();
    const QVector<Item> items = itemsOf(*block);
    QVector<quint32> values(block->count * items.size());
    for (int i = 0; i < items.size(); ++i) {
        const ItemResult result =
            ItemReader(client, QVector<Item>() << items.at(i), ReadOptions(), WordOrder::LowFirst)
                .read()
                .first();
        if (result.failure)
            return result.failure;
        for (int cell = 0; cell < block->count; ++cell)
            values[cell * items.size() + i] = result.values.at(cell).toUInt();
    }
    block->values = values;
    return Failure();
}

QVector<Item> itemsToWrite(const MemoryRun &block)
{
    QVector<Item> items = itemsOf(block);
    if (block.kind == CellKind::Timers) {
        items.removeFirst();
        if (!isWritten(timerDevices(block).current))
            items.removeFirst();
    }
    return items;
}

Failure writeBlock(Client &client, const MemoryRun &block, bool verify)
{
    Failure first;
    for (const Item &item : itemsToWrite(block)) {
        Failure failure = writeItems(client, QVector<Item>() << item, WordOrder::LowFirst, verify)
                              .first()
                              .failure;
        if (failure && !isOfItsAddresses(failure))
            return failure;
        first = first ? first : failure;
    }
    return first;
}

QString leftOut(const MemoryRun &run)
{
    if (run.kind != CellKind::Timers)
        return QString();
    return QLatin1String(isWritten(timerDevices(run).current) ? "contacts of "
                                                              : "contacts and current values of ") +
           runText(run);
}

MemoryTransfer::MemoryTransfer(const Request &request, const Taker &taker, const Progress &progress)
    : m_request(request), m_taker(taker), m_progress(progress), m_carried(0), m_refusedInRow(0)
{}

Failure MemoryTransfer::carry(const QVector<MemoryRun> &runs)
{
    qint64 done = 0;
    for (const MemoryRun &run : runs) {
        m_refusedInRow = 0;
        for (const MemoryRun &block : blocksOf(run)) {
            m_progress(block, done);
            if (Failure failure = carryBlock(block))
                return failure;
            done += block.count;
        }
    }
    return Failure();
}

Failure MemoryTransfer::carryBlock(const MemoryRun &block)
{
    MemoryRun carried = block;
    const Failure failure = m_request(&carried);
    if (failure.status() == StatusPlcError) {
        if (block.count > 1 && !isPastTheEnd(block)) {
            const int half = block.count / 2;
            Failure ended = carryBlock(partOf(block, 0, half));
            return ended ? ended : carryBlock(partOf(block, half, block.count - half));
        }
        m_refusedInRow += block.count;
        add(block, failure, &m_refused);
        return Failure();
    }
    if (failure && !isOfItsAddresses(failure))
        return Failure(
            failure.status(),
            QString::fromLatin1("stopped at %1: %2").arg(cellName(block, 0), failure.text()));
    m_refusedInRow = 0;
    if (failure)
        add(block, failure, &m_different);
    if (Failure ended = m_taker(carried))
        return ended;
    m_carried += block.count;
    return Failure();
}

bool MemoryTransfer::isPastTheEnd(const MemoryRun &block)
{
    if (m_refusedInRow < MANY_REFUSED)
        return false;
    MemoryRun last = partOf(block, block.count - 1, 1);
    return m_request(&last).status() == StatusPlcError;
}
