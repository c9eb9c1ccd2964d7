#include "bridge/turn_queue.h"

#include <algorithm>

void TurnQueue::join(int client, const QByteArray &station)
{
    for (Place &place : m_places) {
        if (place.client == client) {
            place.station = station;
            return;
        }
    }
    m_places.append({client, station});
}

void TurnQueue::leave(int client)
{
    const auto isClient = [client](const Place &place) { return place.client == client; };
    m_places.erase(std::remove_if(m_places.begin(), m_places.end(), isClient), m_places.end());
}

int TurnQueue::next(qint64 nowMs) const
{
    for (int i = 0; i < m_places.size(); ++i) {
        const Silence silence = m_silences.value(m_places.at(i).station, {0, 0});
        if (silence.turns < SILENT_TURNS || nowMs - silence.latestMs >= m_backOffMs)
            return i;
    }
    return -1;
}

int TurnQueue::take(qint64 nowMs)
{
    const int place = next(nowMs);
    return place < 0 ? 0 : m_places.takeAt(place).client;
}

void TurnQueue::noteFirstLine(const QByteArray &station, bool isAnswered, qint64 nowMs)
{
    if (isAnswered) {
        m_silences.remove(station);
        return;
    }
    Silence &silence = m_silences[station];
    silence.turns = qMin(silence.turns + 1, +SILENT_TURNS);
    silence.latestMs = nowMs;
}

int TurnQueue::silentStations() const
{
    return static_cast<int>(
        std::count_if(m_silences.begin(), m_silences.end(),
                      [](const Silence &silence) { return silence.turns >= SILENT_TURNS; }));
}
