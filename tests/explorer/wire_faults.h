/// The faults of a wire: what may become of a reply.
#ifndef TESTS_EXPLORER_WIRE_FAULTS_H
#define TESTS_EXPLORER_WIRE_FAULTS_H

#include "tests/explorer/virtual_wire.h"

/// Of the links that the explorer makes.
const int TIMEOUT_MS = 20;

/// All forms that a fault takes with one reply; the first ones stand for the others.
typedef QList<Pieces> Variants;

// Of a long reply some of the places stand for all.
inline int step(const QByteArray &good)
{
    return 1 + good.size() / 32;
}

inline Variants whole(const QList<QByteArray> &replies)
{
    Variants list;
    for (const QByteArray &reply : replies)
        list << arriving(reply);
    return list;
}

inline Pieces bytewise(const QByteArray &bytes)
{
    Pieces pieces;
    for (int i = 0; i < bytes.size(); ++i)
        pieces << arriving(bytes.mid(i, 1));
    return pieces;
}

// Before, between and behind all bytes, also as a piece of its own.
inline Variants inserted(const QByteArray &good, const QByteArray &noise)
{
    Variants list;
    for (int at = 0; at <= good.size(); at += step(good))
        list << arriving(QByteArray(good).insert(at, noise))
             << arriving(good.left(at)) + arriving(noise) + arriving(good.mid(at));
    return list;
}

inline Variants silent(const QByteArray &)
{
    return Variants() << Pieces();
}

// Up to five time-outs.
inline Variants late(const QByteArray &good)
{
    Variants list;
    for (int tenths : {15, 40, 5, 30, 48})
        list << arriving(good, tenths * TIMEOUT_MS / 10);
    return list;
}

inline Variants doubled(const QByteArray &good)
{
    return Variants() << arriving(good + good) << arriving(good) + arriving(good, TIMEOUT_MS / 4)
                      << arriving(good) + arriving(good, TIMEOUT_MS * 3);
}

// The rest is lost, or comes late; half of it first.
inline Variants cut(const QByteArray &good)
{
    Variants list;
    for (int i = 1; i < good.size(); i += step(good)) {
        const int at = (good.size() / 2 + i - 1) % (good.size() - 1) + 1;
        list << arriving(good.left(at))
             << arriving(good.left(at)) + arriving(good.mid(at), TIMEOUT_MS * 3 / 2);
    }
    return list;
}

inline Variants bitFlipped(const QByteArray &good)
{
    Variants list;
    for (int i = 0; i < 8 * good.size(); i += step(good)) {
        QByteArray flipped(good);
        flipped[i / 8] = static_cast<char>(flipped.at(i / 8) ^ (1 << i % 8));
        list << arriving(flipped);
    }
    return list;
}

inline Variants bytesLost(const QByteArray &good)
{
    Variants list;
    for (int count = 1; count < good.size(); count += step(good)) {
        for (int at = 0; at + count <= good.size(); at += step(good))
            list << arriving(QByteArray(good).remove(at, count));
    }
    return list;
}

// An item and its blank, at either end or inside.
inline Variants itemDropped(const QByteArray &good)
{
    const QList<QByteArray> items = good.left(good.size() - 2).split(' ');
    Variants list;
    for (int i = 0; i < items.size() && items.size() > 1; i += step(good)) {
        QByteArray left;
        for (int k = 0; k < items.size(); ++k)
            left += k == i ? QByteArray() : (left.isEmpty() ? "" : " ") + items.at(k);
        list << arriving(left + "\r\n");
    }
    return list;
}

// A character with a parity error is read as a zero byte.
inline Variants parity(const QByteArray &good)
{
    Variants list;
    for (int at = 0; at < good.size(); at += step(good))
        list << arriving(QByteArray(good).replace(at, 1, QByteArray(1, '\0')));
    return list + inserted(good, QByteArray(1, '\0'));
}

inline Variants noise(const QByteArray &good)
{
    return inserted(good, "?") + inserted(good, "\xFF") + inserted(good, "0") +
           inserted(good, "\n") + inserted(good, "\r\n");
}

inline Variants lineEndMissing(const QByteArray &good)
{
    const QByteArray text = good.left(good.size() - 2);
    return whole(QList<QByteArray>() << text << text + "\r" << text + "\n") << bytewise(text);
}

// Around the 8 and 1538 bytes that the driver takes at most.
inline Variants tooLong(const QByteArray &good)
{
    const QByteArray text = good.left(good.size() - 2);
    Variants list;
    for (int length : {9, 1539, 8, 1537, 1538, 4000}) {
        const QByteArray filler(qMax(0, length - good.size()), '0');
        list << arriving(good + filler) << arriving(text + filler + "\r\n");
    }
    const QByteArray most =
        text + (" " + text).repeated((1538 - good.size()) / (text.size() + 1)) + "\r\n";
    return list << arriving(most) << arriving(most + "?");
}

inline Variants refused(const QByteArray &)
{
    return whole(QList<QByteArray>() << "E1\r\n"
                                     << "E0\r\n"
                                     << "E9\r\n"
                                     << "EX\r\n"
                                     << "E12\r\n"
                                     << "e1\r\n"
                                     << "E1\n"
                                     << " E1\r\n"
                                     << "E1\r\nE1\r\n");
}

inline Variants wrongBracket(const QByteArray &)
{
    return whole(QList<QByteArray>() << "CC 08\r\n"
                                     << "CR 07\r\n"
                                     << "CC 70\r\n"
                                     << "CC 007\r\n"
                                     << "CQ\r\n"
                                     << "CF \r\n"
                                     << "cf\r\n"
                                     << "CF\n");
}

// A reply that is another PLC's comes first.
inline Variants crosstalk(const QByteArray &good)
{
    Variants list;
    for (const char *other : {"CC 08\r\n", "OK\r\n", "0000 0001\r\n", "E1\r\n", "CF\r\n"})
        list << arriving(other) + arriving(good);
    return list;
}

const struct WireFault {
    const char *name;
    Variants (*variants)(const QByteArray &good);
    int most;    ///< variants that stand for all of them where faults come in pairs
    bool forges; ///< may make another good reply of a good one, which nothing shows
} WIRE_FAULTS[] = {
    {"no reply", silent, 1, false},
    {"late", late, 2, false},
    {"doubled", doubled, 3, false},
    {"cut", cut, 2, false},
    {"item dropped", itemDropped, 1, false},
    {"parity", parity, 1, false},
    {"no line end", lineEndMissing, 1, false},
    {"too long", tooLong, 2, false},
    {"refused", refused, 1, false},
    {"wrong bracket", wrongBracket, 1, false},
    {"noise", noise, 1, true},
    {"bit flipped", bitFlipped, 0, true},
    {"bytes lost", bytesLost, 0, true},
    {"crosstalk", crosstalk, 0, true},
};
const int WIRE_FAULT_COUNT = sizeof WIRE_FAULTS / sizeof *WIRE_FAULTS;

#endif
