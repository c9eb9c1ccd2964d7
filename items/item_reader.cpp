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
        m_data += QByteArray(itemBytes(item), '\0');
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
        ItemResult &result = m_results[i];
        if (!result.failure)
            result.failure = unpackValues(m_items.at(i), m_order, m_data.at(i), &result.values);
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
        if (!failure)
            std::copy_n(data.constData() + part.from, part.length,
                        m_data[part.item].data() + part.to);
        else if (!kept)
            kept = failure;
    }
}
