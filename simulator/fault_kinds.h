/// The faults that kvsim knows: what each is called, which replies it fits and what it does.
#ifndef SIMULATOR_FAULT_KINDS_H
#define SIMULATOR_FAULT_KINDS_H

#include <QtCore/QByteArray>
#include <QtCore/QVector>

#include <random>

/// Bytes that go out in one piece.
struct ReplyChunk {
    ReplyChunk() : delayUs(0) {}
    ReplyChunk(const QByteArray &chunk, int us) : bytes(chunk), delayUs(us) {}

    QByteArray bytes;
    int delayUs; ///< between the end of what went before and these bytes, in microseconds
};

/// What becomes of one reply; without a fault it goes out at once and in one piece.
struct FaultedReply {
    FaultedReply(const QByteArray &reply, const QByteArray &answeredLine)
        : line(answeredLine), bytes(reply), delayMs(0), gapMs(IN_ONE_PIECE),
          closesConnection(false), silenceMs(0)
    {}

    enum { IN_ONE_PIECE = -1 };

    /// The bytes in the order of sending; none when nothing is sent.
    QVector<ReplyChunk> chunks() const;

    QByteArray line;       ///< that the reply answers, with its end
    QByteArray bytes;      ///< empty when nothing is sent
    int delayMs;           ///< before the first byte
    int gapMs;             ///< between two bytes; or IN_ONE_PIECE
    bool closesConnection; ///< the connection ends here; a wire without one falls silent
    int silenceMs;         ///< how long the PLC then takes and answers nothing
};

/// One fault.
struct FaultKind {
    /// For a cut without a parameter: behind a byte that chance picks.
    enum { ANYWHERE = -1 };

    /// No fault makes a reply longer than this, in bytes; one that would does not happen.
    enum { MAX_REPLY = 65536 };

    const char *name;      ///< as options and files have it, such as no-reply
    const char *parameter; ///< what it is, as in "expected a number of ms"; null for none
    int min;               ///< of the parameter
    int max;
    int usual; ///< the parameter where none is given

    /// Whether the fault changes @p reply, which is not empty, at all: one that does not must not
    /// count as injected. Null: it changes each reply.
    bool (*fits)(const QByteArray &reply, int parameter);

    /// Damages a reply that it fits. When nothing of the bytes is left, no further fault happens.
    void (*damage)(int parameter, std::mt19937 &chance, FaultedReply *reply);
};

/// The kind with that name; null when there is none.
const FaultKind *findFaultKind(const QByteArray &name);

/// The names of all kinds, separated by a comma and a blank, in the order in which several of them
/// are applied to one reply.
QByteArray knownFaults();

#endif
