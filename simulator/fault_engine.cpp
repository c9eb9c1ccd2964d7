#include "simulator/fault_engine.h"

FaultEngine::FaultEngine(const FaultPlan &plan) : m_plan(plan)
{
    for (const FaultRule &rule : m_plan.rules())
        m_counts[rule.kind] = 0;
}

FaultedReply FaultEngine::apply(const QByteArray &reply, const QByteArray &line)
{
    FaultedReply result(reply, line);
    const std::vector<FaultRule> &rules = m_plan.rules();
    for (size_t i = 0; i < rules.size() && !result.bytes.isEmpty(); ++i) {
        const FaultRule &rule = rules[i];
        const bool fits = !rule.kind->fits || rule.kind->fits(result.bytes, rule.parameter);
        if (!fits || !m_plan.strikes(i))
            continue;
        ++m_counts[rule.kind];
        rule.kind->damage(rule.parameter, m_plan.chance(), &result);
    }
    return result;
}
