#include "items/outage_reader.h"

#include <algorithm>

namespace
{

const char NOT_SENT[] = "nothing was sent, as the link is to be opened anew after: ";

bool isOutage(const ItemResult &result)
{
    return result.failure.status() == StatusNoReply || result.failure.status() == StatusOpen;
}

} // namespace

const Failure *outageIn(const QVector<ItemResult> &results)
{
    for (const ItemResult &result : results) {
        if (isOutage(result))
            return &result.failure;
    }
    return nullptr;
}

OutageReader::OutageReader(Client &client, const QVector<Item> &items, const ReadOptions &options,
                           WordOrder order)
    : m_client(client), m_itemCount(items.size()), m_reader(client, items, options, order),
      m_reopenAtMs(0), m_unsent(0)
{
    m_clock.start();
}

Failure OutageReader::open()
{
    m_down = m_client.openLink();
    if (m_down)
        noteOutage(m_down);
    return m_down;
}

QVector<ItemResult> OutageReader::read()
{
    if (m_down && m_clock.elapsed() >= m_reopenAtMs)
        open();
    if (m_down) {
        ++m_unsent;
        ItemResult failed;
        failed.failure = m_down;
        if (m_down.status() == StatusNoReply)
            failed.failure = Failure(StatusNoReply, QLatin1String(NOT_SENT) + m_down.text());
        return QVector<ItemResult>(m_itemCount, failed);
    }
    const QVector<ItemResult> results = m_reader.read();
    const Failure *outage = outageIn(results);
    // With any answer the link works, whatever else the PLC leaves unanswered.
    if (!std::all_of(results.begin(), results.end(), isOutage))
        m_backOff.reset();
    if (outage && m_client.doubtsLink())
        noteOutage(*outage);
    return results;
}

void OutageReader::noteOutage(const Failure &failure)
{
    m_down = failure;
    m_reopenAtMs = m_clock.elapsed() + m_backOff.take();
}
