#include "simulator/wire_format.h"

#include <vector>

namespace
{

bool parityBit(char parity, unsigned int data)
{
    bool isOdd = false;
    for (; data != 0; data &= data - 1)
        isOdd = !isOdd;
    return parity == 'm' || (parity == 'e' && isOdd) || (parity == 'o' && !isOdd);
}

// The level of the wire during each bit of the sender, from before the first start bit.
std::vector<bool> levelsOf(const QByteArray &bytes, const WireFormat &sender)
{
    std::vector<bool> levels(1, true);
    for (int i = 0; i < bytes.size(); ++i) {
        const unsigned int data = static_cast<unsigned char>(bytes.at(i)) &
                                  ((1U << static_cast<unsigned int>(sender.dataBits)) - 1);
        levels.push_back(false);
        for (int bit = 0; bit < sender.dataBits; ++bit)
            levels.push_back((data >> bit & 1) != 0);
        if (sender.parity != 'n')
            levels.push_back(parityBit(sender.parity, data));
        levels.insert(levels.end(), static_cast<size_t>(sender.stopBits), true);
    }
    return levels;
}

} // namespace

QByteArray heardBytes(const QByteArray &bytes, const WireFormat &sender, const WireFormat &receiver)
{
    const std::vector<bool> levels = levelsOf(bytes, sender);
    // In units in which a bit of either side, and half of it, is a whole number.
    const qint64 sentBit = 2 * qint64(receiver.baud);
    const qint64 heardBit = 2 * qint64(sender.baud);
    QByteArray heard;
    for (size_t at = 1; at < levels.size(); ++at) {
        if (levels[at] || !levels[at - 1])
            continue; // no start bit begins here
        size_t sampled = at;
        const auto sample = [&](int bit) {
            const qint64 time = static_cast<qint64>(at) * sentBit + bit * heardBit + heardBit / 2;
            sampled = static_cast<size_t>(time / sentBit);
            return sampled >= levels.size() || levels[sampled];
        };
        if (sample(0))
            continue;
        unsigned int data = 0;
        for (int bit = 0; bit < receiver.dataBits; ++bit)
            data |= sample(1 + bit) ? 1U << bit : 0;
        int next = 1 + receiver.dataBits;
        const bool isRight =
            receiver.parity == 'n' || sample(next++) == parityBit(receiver.parity, data);
        const bool isStopped = sample(next);
        heard += isRight && isStopped ? static_cast<char>(data) : '\0';
        at = sampled;
    }
    return heard;
}
