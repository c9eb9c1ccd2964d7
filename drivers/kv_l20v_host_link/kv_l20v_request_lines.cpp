#include "drivers/kv_l20v_host_link/kv_l20v_request_lines.h"

#include <cstring>

namespace
{

size_t bytesOf(const QString &address)
{
    return static_cast<size_t>(address.size()) * sizeof(QChar);
}

} // namespace

KV_L20V_RequestLines::KV_L20V_RequestLines()
{
    for (Place &place : m_places)
        place.addressLength = -1;
}

const KV_L20V_RequestLines::Line *KV_L20V_RequestLines::find(const QString &address,
                                                             unsigned int words) const
{
    const Place &place = m_places[placeOf(address, words)];
    const bool found = place.addressLength == address.size() && place.words == words &&
                       std::memcmp(place.address, address.constData(), bytesOf(address)) == 0;
    return found ? &place.line : 0;
}

void KV_L20V_RequestLines::keep(const QString &address, unsigned int words, const char *text,
                                int length)
{
    Place &place = m_places[placeOf(address, words)];
    if (address.size() > MAX_ADDRESS_LENGTH || length > static_cast<int>(sizeof place.line.text))
        return;
    std::memcpy(place.address, address.constData(), bytesOf(address));
    place.addressLength = address.size();
    place.words = words;
    std::memcpy(place.line.text, text, static_cast<size_t>(length));
    place.line.length = length;
}

// Neighbours differ in their last digits.
int KV_L20V_RequestLines::placeOf(const QString &address, unsigned int words)
{
    const int length = address.size();
    const QChar *const end = address.constData() + length;
    const unsigned int ones = length > 0 ? end[-1].unicode() : 0;
    const unsigned int tens = length > 1 ? end[-2].unicode() : 0;
    return static_cast<int>((ones + 10 * tens + words) % PLACES);
}
