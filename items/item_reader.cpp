#include "items/item_reader.h"

#include <algorithm>

namespace
{

// The most readings of one request with --twice.
const int MAX_READINGS = 10;

} // namespace

ItemReader::ItemReader(Client &client, const QVector<Item> &items, const ReadOptions &options,
                       WordOrder order)
    : m_client(client), m_items(items), m_order(order), m_isTwice(options.twice),
      m_asksAll(options.askAll), m_requests(planRequests(items, options.merge))
{
    for (const Item &item : items)
        m_unpacked += Unpacked{QByteArray(itemBytes(item), '\0'), true, ItemResult()};
}

QVector<ItemResult> ItemReader::read()
{
    m_results = QVector<ItemResult>(m_items.size());
    m_silence = Failure();
    const QVector<ItemRequest> planned = m_requests;
    m_requests.clear();
    for (const ItemRequest &request : planned)
        readOrSplit(request);
    for (int i = 0; i < m_items.size(); ++i) {
        Unpacked &item = m_unpacked[i];
        if (m_results.at(i).failure)
            continue;
        if (item.isNew) {
            item.result = ItemResult();
            item.result.failure =
                unpackValues(m_items.at(i), m_order, item.data, &item.result.values);
        }
        item.isNew = false;
        m_results[i] = item.result;
    }
    return m_results;
}

Failure ItemReader::readRequest(const CommunicatorCommand &command, QByteArray *data)
{
    Failure failure = m_client.read(command, data);
    for (int readings = 1; m_isTwice && !failure; ++readings) {
        if (readings == MAX_READINGS)
            return Failure(StatusUnusable,
                           QString::fromLatin1("no two of %1 readings in a row of %2 agree: the "
                                               "value changes too fast for --twice, or the wire "
                                               "is disturbed")
                               .arg(QString::number(readings), command.address));
        const QByteArray before = *data;
        failure = m_client.read(command, data);
        if (*data == before)
            break;
    }
    return failure;
}

void ItemReader::readOrSplit(const ItemRequest &request)
{
    QByteArray data;
    Failure failure = m_silence ? m_silence : readRequest(request.command, &data);
    if (failure.status() == StatusNoReply && !m_asksAll)
        m_silence = failure;
    if (failure.status() == StatusPlcError && request.parts.size() > 1) {
        for (const ItemRequest &part : splitRequest(m_items, request))
            readOrSplit(part);
        return;
    }
    m_requests += request;
    for (const ItemPart &part : request.parts) {
        Failure &kept = m_results[part.item].failure;
        Unpacked &item = m_unpacked[part.item];
        const char *const from = data.constData() + part.from;
        char *const to = item.data.data() + part.to;
        if (!failure && !std::equal(from, from + part.length, to)) {
            std::copy_n(from, part.length, to);
            item.isNew = true;
        } else if (failure && !kept) {
            kept = failure;
        }
    }
}
