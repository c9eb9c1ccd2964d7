/// Damages the simulated PLC's replies as a fault plan has it: no clock and no port, bytes in and a
/// schedule of bytes out.
#ifndef SIMULATOR_FAULT_ENGINE_H
#define SIMULATOR_FAULT_ENGINE_H

#include "simulator/fault_plan.h"

#include <QtCore/QByteArray>

#include <map>

/// How often each kind of fault has happened, in the order of the kinds.
typedef std::map<const FaultKind *, quint64> FaultCounts;

/// Applies a plan to one reply after another and counts what it did.
class FaultEngine
{
public:
    explicit FaultEngine(const FaultPlan &plan = FaultPlan());

    /// Requires: @p reply is not empty. @param line that it answers, with its end
    FaultedReply apply(const QByteArray &reply, const QByteArray &line = QByteArray());

    /// So far, of the kinds in the plan.
    const FaultCounts &counts() const { return m_counts; }

    const FaultPlan &plan() const { return m_plan; }

private:
    FaultPlan m_plan;
    FaultCounts m_counts;
};

#endif
