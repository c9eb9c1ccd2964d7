/// @file
/// The faults of a wire: what may become of a reply.
#ifndef TESTKIT_WIRE_FAULTS_H
#define TESTKIT_WIRE_FAULTS_H

#include <QtCore/QByteArray>
#include <QtCore/QList>

/// Bytes that arrive together.
struct WirePiece {
    QByteArray bytes; ///< none for a piece that is lost

    /// After the piece before, in time-outs of the channel: from 1 on a read misses it.
    double delay;
};

/// A reply as it arrives; none for one that is lost.
typedef QList<WirePiece> WirePieces;

/// All forms that a fault takes with one reply.
typedef QList<WirePieces> WireVariants;

/// A reply in one piece.
inline WirePieces arriving(const QByteArray &bytes, double delay = 0)
{
    const WirePiece piece = {bytes, delay};
    return WirePieces() << piece;
}

/// How far apart the places of a reply are at which a fault is tried: of a long one, some stand for
/// all.
inline int placeStep(const QByteArray &good)
{
    return 1 + good.size() / 32;
}

/// A kind of damage.
struct WireFault {
    const char *name; ///< as the table below has it

    /// Gives what may become of a reply.
    /// @param good    the reply, not empty
    /// @param foreign replies and lines of other requests
    WireVariants (*variants)(const QByteArray &good, const QList<QByteArray> &foreign);

    int typical;     ///< how many variants, the first ones, stand for all where faults are combined
    bool isHarmless; ///< a sound wire does that too: the request has to succeed
    bool forges;     ///< may make another good reply of a good one, where no check value shows it
};

/// The table of faults:
///
/// | name         | the reply                                                        |
/// |--------------|------------------------------------------------------------------|
/// | in pieces    | arrives byte by byte, or with a pause within the time-out        |
/// | silence      | is lost                                                          |
/// | late         | comes after a half to almost five time-outs                      |
/// | doubled      | comes twice, at once or later                                    |
/// | cut          | ends early; the rest is lost or comes late                       |
/// | parity       | has a zero byte in the place of a byte, or besides               |
/// | noise        | has other bytes besides: ?, 0xFF, 0, line ends                   |
/// | bit flipped  | has one bit that is wrong                                        |
/// | bytes lost   | lacks bytes in a row                                             |
/// | foreign      | comes after a reply or a line of another request, or is one      |
/// | too long     | goes on, for up to 4096 bytes                                    |
/// | endless      | goes on for 20000 bytes                                          |
const QList<WireFault> &wireFaults();

/// The names of the faults that may forge a reply.
QList<QByteArray> forgingFaults();

/// The fault of a name. Requires: there is one.
const WireFault &wireFault(const QByteArray &name);

#endif
