#include "testkit/wire_faults.h"

#include <algorithm>

namespace
{

const int ENDLESS_LENGTH = 20000;

typedef QList<QByteArray> Replies;

WireVariants inPieces(const QByteArray &good, const Replies &)
{
    WirePieces bytes;
    for (int i = 0; i < good.size(); ++i)
        bytes += arriving(good.mid(i, 1));
    const int half = good.size() / 2;
    return WireVariants() << bytes << arriving(good.left(half)) + arriving(good.mid(half), 0.25)
                          << arriving(good, 0.5);
}

WireVariants silence(const QByteArray &, const Replies &)
{
    return WireVariants() << WirePieces();
}

WireVariants late(const QByteArray &good, const Replies &)
{
    WireVariants list;
    for (const double delay : {1.5, 4.0, 0.5, 3.0, 4.8})
        list << arriving(good, delay);
    return list;
}

WireVariants doubled(const QByteArray &good, const Replies &)
{
    return WireVariants() << arriving(good + good) << arriving(good) + arriving(good, 0.25)
                          << arriving(good) + arriving(good, 3.0);
}

// Half of it first.
WireVariants cut(const QByteArray &good, const Replies &)
{
    WireVariants list;
    for (int i = 1; i < good.size(); i += placeStep(good)) {
        const int at = (good.size() / 2 + i - 1) % (good.size() - 1) + 1;
        list << arriving(good.left(at)) << arriving(good.left(at)) + arriving(good.mid(at), 1.5);
    }
    return list;
}

// Before, between and behind all bytes, also as a piece of its own.
WireVariants inserted(const QByteArray &good, const QByteArray &noise)
{
    WireVariants list;
    for (int at = 0; at <= good.size(); at += placeStep(good))
        list << arriving(QByteArray(good).insert(at, noise))
             << arriving(good.left(at)) + arriving(noise) + arriving(good.mid(at));
    return list;
}

// A character with a parity error is read as a zero byte.
WireVariants parity(const QByteArray &good, const Replies &)
{
    WireVariants list;
    for (int at = 0; at < good.size(); at += placeStep(good))
        list << arriving(QByteArray(good).replace(at, 1, QByteArray(1, '\0')));
    return list + inserted(good, QByteArray(1, '\0'));
}

WireVariants noise(const QByteArray &good, const Replies &)
{
    return inserted(good, "?") + inserted(good, "\xFF") + inserted(good, "0") +
           inserted(good, "\n") + inserted(good, "\r\n");
}

WireVariants bitFlipped(const QByteArray &good, const Replies &)
{
    WireVariants list;
    for (int i = 0; i < 8 * good.size(); i += placeStep(good)) {
        QByteArray flipped(good);
        flipped[i / 8] = static_cast<char>(flipped.at(i / 8) ^ (1 << i % 8));
        list << arriving(flipped);
    }
    return list;
}

WireVariants bytesLost(const QByteArray &good, const Replies &)
{
    WireVariants list;
    for (int count = 1; count < good.size(); count += placeStep(good)) {
        for (int at = 0; at + count <= good.size(); at += placeStep(good))
            list << arriving(QByteArray(good).remove(at, count));
    }
    return list;
}

WireVariants foreignFirst(const QByteArray &good, const Replies &foreign)
{
    WireVariants list;
    for (const QByteArray &other : foreign)
        list << arriving(other) + arriving(good) << arriving(other);
    return list;
}

// With and without the reply's last bytes, which may be what ends it.
WireVariants longer(const QByteArray &good, int length)
{
    WireVariants list;
    const QByteArray filler(length, '0');
    for (int end = 0; end <= qMin(2, good.size()); ++end)
        list << arriving(good.left(good.size() - end) + filler + good.right(end));
    return list;
}

WireVariants tooLong(const QByteArray &good, const Replies &)
{
    WireVariants list;
    for (const int length : {1, 64, 256, 1024, 4096})
        list += longer(good, length);
    return list;
}

WireVariants endless(const QByteArray &good, const Replies &)
{
    return longer(good, ENDLESS_LENGTH)
           << arriving(good.repeated(ENDLESS_LENGTH / qMax(1, good.size())));
}

const WireFault FAULTS[] = {
    {"in pieces", inPieces, 0, true, false},
    {"silence", silence, 1, false, false},
    {"late", late, 2, false, false},
    {"doubled", doubled, 3, false, false},
    {"cut", cut, 2, false, false},
    {"parity", parity, 1, false, false},
    {"noise", noise, 1, false, true},
    {"bit flipped", bitFlipped, 0, false, true},
    {"bytes lost", bytesLost, 0, false, true},
    {"foreign", foreignFirst, 0, false, true},
    {"too long", tooLong, 0, false, false},
    {"endless", endless, 0, false, false},
};

} // namespace

const QList<WireFault> &wireFaults()
{
    static const QList<WireFault> faults = [] {
        QList<WireFault> list;
        for (const WireFault &fault : FAULTS)
            list << fault;
        return list;
    }();
    return faults;
}

QList<QByteArray> forgingFaults()
{
    QList<QByteArray> names;
    for (const WireFault &fault : FAULTS) {
        if (fault.forges)
            names << fault.name;
    }
    return names;
}

const WireFault &wireFault(const QByteArray &name)
{
    const QList<WireFault> &faults = wireFaults();
    return *std::find_if(faults.begin(), faults.end(),
                         [&name](const WireFault &fault) { return name == fault.name; });
}
