/// Which faults the simulated PLC's replies get, and when.
#ifndef SIMULATOR_FAULT_PLAN_H
#define SIMULATOR_FAULT_PLAN_H

#include "simulator/fault_kinds.h"

#include <QtCore/QByteArray>

#include <random>
#include <vector>

/// One fault and how often it happens to the replies that it fits.
struct FaultRule {
    enum Rate {
        WITH_PROBABILITY, ///< to each with `probability`
        EVERY,            ///< to each one whose number, counted from 1, is a multiple of `number`
        ONCE              ///< to the one with that number
    };

    const FaultKind *kind;
    Rate rate;
    double probability; ///< 0 to 1
    quint32 number;     ///< 1 or more
    int parameter;      ///< what the kind says
};

/// An ordered list of rules with the chance that decides between them. The same rules, seed and
/// replies give the same faults.
class FaultPlan
{
public:
    /// A plan without rules. @param seed of the chance
    explicit FaultPlan(quint32 seed = 1);

    /// Adds a rule of the form KIND[:RATE[,PARAMETER]], where RATE is a probability such as 0.01,
    /// "every N" or "once N". Without a rate it happens to each reply.
    /// @return whether it was added; else @p error says in English why not
    bool addOption(const QByteArray &text, QByteArray *error);

    /// Adds the rules of a file: on each line KIND [RATE [PARAMETER]], separated by blanks or tabs;
    /// an empty line, and one that begins with #, says nothing.
    /// @return whether they were added; else none was, and @p error has line and reason
    bool addFile(const QByteArray &text, QByteArray *error);

    /// In the order of their kinds, rules of one kind as they were added.
    const std::vector<FaultRule> &rules() const { return m_rules; }

    /// Counts one more reply that the rule at position @p rule fits. @return whether it gets the
    /// fault
    bool strikes(size_t rule);

    /// What decides, seeded once; the faults themselves draw from it as well.
    std::mt19937 &chance() { return m_chance; }

private:
    std::vector<FaultRule> m_rules;
    std::vector<quint32> m_chances; // of each rule: the replies counted so far
    std::mt19937 m_chance;
};

#endif
