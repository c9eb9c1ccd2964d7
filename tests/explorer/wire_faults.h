/// The faults of a wire that the explorer knows: the kit's, and those of this protocol's replies.
#ifndef TESTS_EXPLORER_WIRE_FAULTS_H
#define TESTS_EXPLORER_WIRE_FAULTS_H

#include "testkit/wire_faults.h"
#include "tests/explorer/virtual_wire.h"

typedef QList<QByteArray> Replies;

inline WireVariants whole(const Replies &replies)
{
    WireVariants list;
    for (const QByteArray &reply : replies)
        list << arriving(reply);
    return list;
}

// An item and its blank, at either end or inside.
inline WireVariants itemDropped(const QByteArray &good, const Replies &)
{
    const QList<QByteArray> items = good.left(good.size() - 2).split(' ');
    WireVariants list;
    for (int i = 0; i < items.size() && items.size() > 1; i += placeStep(good)) {
        QByteArray left;
        for (int k = 0; k < items.size(); ++k)
            left += k == i ? QByteArray() : (left.isEmpty() ? "" : " ") + items.at(k);
        list << arriving(left + "\r\n");
    }
    return list;
}

inline WireVariants lineEndMissing(const QByteArray &good, const Replies &)
{
    const QByteArray text = good.left(good.size() - 2);
    return whole(Replies() << text << text + "\r" << text + "\n");
}

// Around the 8 and 1538 bytes that the driver takes at most.
inline WireVariants longerThanBuffers(const QByteArray &good, const Replies &)
{
    const QByteArray text = good.left(good.size() - 2);
    WireVariants list;
    for (int length : {9, 1539, 8, 1537, 1538, 4000}) {
        const QByteArray filler(qMax(0, length - good.size()), '0');
        list << arriving(good + filler) << arriving(text + filler + "\r\n");
    }
    const QByteArray most =
        text + (" " + text).repeated((1538 - good.size()) / (text.size() + 1)) + "\r\n";
    return list << arriving(most) << arriving(most + "?");
}

inline WireVariants refused(const QByteArray &, const Replies &)
{
    return whole(Replies() << "E1\r\n"
                           << "E0\r\n"
                           << "E9\r\n"
                           << "EX\r\n"
                           << "E12\r\n"
                           << "e1\r\n"
                           << "E1\n"
                           << " E1\r\n"
                           << "E1\r\nE1\r\n");
}

inline WireVariants wrongBracket(const QByteArray &, const Replies &)
{
    return whole(Replies() << "CC 08\r\n"
                           << "CR 07\r\n"
                           << "CC 70\r\n"
                           << "CC 007\r\n"
                           << "CQ\r\n"
                           << "CF \r\n"
                           << "cf\r\n"
                           << "CF\n");
}

/// All faults, in a fixed order.
inline const QList<WireFault> &explorerFaults()
{
    static const WireFault OWN[] = {
        {"item dropped", itemDropped, 1, false, false},
        {"no line end", lineEndMissing, 1, false, false},
        {"longer than buffers", longerThanBuffers, 2, false, false},
        {"refused", refused, 1, false, false},
        {"wrong bracket", wrongBracket, 1, false, false},
    };
    static const QList<WireFault> faults = [] {
        QList<WireFault> list = wireFaults();
        for (const WireFault &fault : OWN)
            list << fault;
        return list;
    }();
    return faults;
}

/// What a fault makes of a reply; what other requests or another PLC may have on the wire.
inline WireVariants variantsOf(const WireFault &fault, const QByteArray &good)
{
    static const Replies foreign = Replies() << "CC 08\r\n"
                                             << "OK\r\n"
                                             << "0000 0001\r\n"
                                             << "E1\r\n"
                                             << "CF\r\n";
    return fault.variants(good, foreign);
}

#endif
