#include "items/item_writer.h"

#include "drivers/driver_interface.h"
#include "items/item_scaling.h"
#include "runtime/recording_channel.h"
#include "runtime/request_outcome.h"

namespace
{

struct WriteRequest {
    CommunicatorCommand command;
    QByteArray data;
};

WriteRequest writeRequest(const Item &item, WordOrder order)
{
    WriteRequest request = {itemCommand(item), QByteArray()};
    packValues(item, order, &request.data);
    return request;
}

ItemResult readItem(Client &client, const Item &item, WordOrder order)
{
    return ItemReader(client, QVector<Item>() << item, ReadOptions(), order).read().first();
}

// The item with the PLC's own numbers instead of a tag's values.
Item unscaled(const Item &item)
{
    Item plain = item;
    plain.tag = ItemTag();
    for (QString &value : plain.values) {
        if (item.tag.isScaled())
            unscaledText(item, value, &value);
    }
    return plain;
}

// The first value that was read back otherwise than it was written.
Failure compare(const Item &item, const QStringList &written, const QStringList &found)
{
    for (int i = 0; i < written.size(); ++i) {
        if (written.at(i) != found.at(i))
            return Failure(StatusDiffers,
                           QString::fromLatin1("%1 differs: wrote %2, read back %3: check whether "
                                               "the PLC's program writes it as well")
                               .arg(valueAddress(item, i), shownValue(item, written.at(i)),
                                    shownValue(item, found.at(i))));
    }
    return Failure();
}

ItemResult writeItem(Client &client, const Item &item, WordOrder order, bool verify)
{
    ItemResult result;
    const WriteRequest request = writeRequest(item, order);
    // Whether the PLC took a write that it did not confirm is seen when it is read back.
    result.failure = client.write(request.command, request.data);
    if (result.failure && !(verify && result.failure.isUnconfirmedWrite()))
        return result;
    result.values = plainValues(item);
    if (!verify)
        return result;
    const Item plain = unscaled(item);
    const ItemResult found = readItem(client, plain, order);
    if (found.failure && result.failure)
        result.failure =
            Failure(found.failure.status(), result.failure.text() +
                                                QLatin1String("; reading them back failed: ") +
                                                found.failure.text());
    else
        result.failure =
            found.failure ? found.failure : compare(plain, plainValues(plain), found.values);
    return result;
}

// What the driver itself says against a request. @param isSent whether it has sent something
Failure refusalOf(DriverInterface *driver, const Item &item, bool isSent)
{
    if (isSent || outcomeOf(driver->getLastError()) != RequestOutcome::Refused)
        return Failure();
    return Failure(StatusUnusable,
                   QString::fromLatin1("request refused: %1 (address %2); nothing is sent")
                       .arg(driver->getLastError(), item.address));
}

} // namespace

QVector<ItemResult> writeItems(Client &client, const QVector<Item> &items, WordOrder order,
                               bool verify)
{
    QVector<ItemResult> results;
    for (const Item &item : items)
        results += item.values.isEmpty() ? readItem(client, item, order)
                                         : writeItem(client, item, order, verify);
    return results;
}

QVector<ItemResult> rehearseItems(DriverInterface *driver, int station, const QVector<Item> &items,
                                  WordOrder order, bool verify, QByteArray *lines)
{
    RecordingChannel channel(station);
    QVector<ItemResult> results;
    driver->initialize(&channel);
    for (const Item &item : items) {
        ItemResult result;
        const int before = channel.sent().size();
        const WriteRequest request = writeRequest(item, order);
        if (!item.values.isEmpty() && driver->write(&channel, request.command, request.data) != 1)
            result.failure = refusalOf(driver, item, channel.sent().size() > before);
        const bool reads = item.values.isEmpty() || verify;
        for (const ItemRequest &read : planItem(item)) {
            if (reads && !result.failure && driver->read(&channel, read.command).isEmpty())
                result.failure = refusalOf(driver, item, channel.sent().size() > before);
        }
        results += result;
    }
    *lines = channel.sent();
    return results;
}
