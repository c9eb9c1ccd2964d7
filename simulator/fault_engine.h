/// Damages the simulated PLC's replies as a fault plan has it: no clock and no port, bytes in and a
/// schedule of bytes out.
#ifndef SIMULATOR_FAULT_ENGINE_H
#define SIMULATOR_FAULT_ENGINE_H

#include "simulator/fault_plan.h"

#include <QtCore/QByteArray>
#include <QtCore/QVector>

/// Bytes that go out in one piece.
struct ReplyChunk {
    ReplyChunk() : delayUs(0) {}
    ReplyChunk(const QByteArray &chunk, int us) : bytes(chunk), delayUs(us) {}

    QByteArray bytes;
    int delayUs; ///< between the end of what went before and these bytes, in microseconds
};

/// What becomes of one reply.
struct FaultedReply {
    FaultedReply() : closesConnection(false), silenceMs(0) {}

    QVector<ReplyChunk> chunks; ///< in the order of sending; none when nothing is sent
    bool closesConnection;      ///< the connection ends here; a line without one falls silent
    int silenceMs;              ///< how long the PLC then takes and answers nothing
};

/// Applies a plan to one reply after another and counts what it did.
class FaultEngine
{
public:
    explicit FaultEngine(const FaultPlan &plan = FaultPlan());

    /// No fault makes a reply longer than this, in bytes; one that would does not happen.
    enum { MAX_REPLY = 65536 };

    /// Requires: @p reply is not empty.
    FaultedReply apply(const QByteArray &reply);

    /// How often a fault has happened so far.
    quint64 count(FaultKind kind) const { return m_counts[kind]; }

    const FaultPlan &plan() const { return m_plan; }

private:
    bool suppress(const FaultRule &rule, FaultedReply *result) const;
    void damage(const FaultRule &rule, QByteArray *bytes);
    QByteArray noise(int size);

    FaultPlan m_plan;
    quint64 m_counts[FAULT_KINDS];
};

#endif
