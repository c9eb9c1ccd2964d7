#include "items/item_reader.h"

namespace
{

// The most readings of one request with --twice.
const int MAX_READINGS = 10;

} // namespace

ItemReader::ItemReader(Client &client, const QVector<Item> &items, const ReadOptions &options,
                       WordOrder order)
    : m_client(client), m_items(items), m_order(order), m_isTwice(options.twice),
      m_requests(planRequests(items, options.merge))
{}

QVector<ItemResult> ItemReader::read()
{
    m_results = QVector<ItemResult>(m_items.size());
    m_data.clear();
    for (const Item &item : m_items)
        m_data += QByteArray(itemBytes(item), '\0');
    const QVector<ItemRequest> planned = m_requests;
    m_requests.clear();
    for (const ItemRequest &request : planned)
        readOrSplit(request);
    for (int i = 0; i < m_items.size(); ++i) {
        ItemResult &result = m_results[i];
        if (result.failure.status == StatusGood &&
            !unpackValues(m_items.at(i), m_order, m_data.at(i), &result.values,
                          &result.failure.text))
            result.failure.status = StatusUnusable;
    }
    return m_results;
}

QByteArray ItemReader::readRequest(const CommunicatorCommand &command, Failure *failure)
{
    QByteArray data = m_client.read(command, failure);
    for (int readings = 1; m_isTwice && !data.isEmpty(); ++readings) {
        if (readings == MAX_READINGS) {
            failure->status = StatusUnusable;
            failure->text = QString::fromLatin1("no two of %1 readings in a row of %2 agree: the "
                                                "value changes too fast for --twice, or the wire "
                                                "is disturbed")
                                .arg(QString::number(readings), command.address);
            return QByteArray();
        }
        const QByteArray again = m_client.read(command, failure);
        if (again == data)
            break;
        data = again;
    }
    return data;
}

void ItemReader::readOrSplit(const ItemRequest &request)
{
    Failure failure;
    const QByteArray data = readRequest(request.command, &failure);
    if (data.isEmpty() && failure.status == StatusPlcError && request.parts.size() > 1) {
        for (const ItemRequest &part : splitRequest(m_items, request))
            readOrSplit(part);
        return;
    }
    m_requests += request;
    for (const ItemPart &part : request.parts) {
        Failure &kept = m_results[part.item].failure;
        if (!data.isEmpty())
            m_data[part.item].replace(part.to, part.length, data.mid(part.from, part.length));
        else if (kept.status == StatusGood)
            kept = failure;
    }
}
