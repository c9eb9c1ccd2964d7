#include "drivers/kv_l20v_host_link/kv_l20v_request_lines.h"

#include <cstring>

KV_L20V_RequestLines::Key::Key(const QString &address, unsigned int count)
    : first(0), last(0), length(address.size()), words(count)
{
    const QChar *const characters = address.constData();
    if (length >= 4) {
        std::memcpy(&first, characters, sizeof first);
        std::memcpy(&last, characters + length - 4, sizeof last);
    } else {
        std::memcpy(&last, characters, static_cast<size_t>(length) * sizeof(QChar));
    }
}

KV_L20V_RequestLines::Place::Place() : key(QString(), 0), line()
{
    key.length = -1; // no request's
}

KV_L20V_RequestLines::KV_L20V_RequestLines() {}

const KV_L20V_RequestLines::Line *KV_L20V_RequestLines::find(const QString &address,
                                                             unsigned int words) const
{
    const Key key(address, words);
    const Place &place = m_places[placeOf(key)];
    const bool found = place.key.first == key.first && place.key.last == key.last &&
                       place.key.length == key.length && place.key.words == words;
    return found ? &place.line : 0;
}

void KV_L20V_RequestLines::keep(const QString &address, unsigned int words, const char *text,
                                int length)
{
    const Key key(address, words);
    Place &place = m_places[placeOf(key)];
    if (key.length > MAX_ADDRESS_LENGTH || length > static_cast<int>(sizeof place.line.text))
        return;
    place.key = key;
    std::memcpy(place.line.text, text, static_cast<size_t>(length));
    place.line.length = length;
}

// The multiplier is 2^64 divided by the golden ratio: it spreads neighbours over the high bits.
int KV_L20V_RequestLines::placeOf(const Key &key)
{
    quint64 mixed = 5 * key.first + key.last + key.words;
    mixed ^= mixed >> 32;
    return static_cast<int>((mixed * Q_UINT64_C(0x9E3779B97F4A7C15)) >> (64 - PLACE_BITS));
}
