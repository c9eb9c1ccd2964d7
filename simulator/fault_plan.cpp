#include "simulator/fault_plan.h"

#include "simulator/plc_values.h"

#include <QtCore/QList>

#include <algorithm>

namespace
{

bool parseNumber(const QByteArray &text, quint32 min, quint32 max, quint32 *number)
{
    const PlcField field = {text.constData(), text.size()};
    return parsePlcDecimal(field, number) && *number >= min && *number <= max;
}

bool refuse(const QByteArray &reason, QByteArray *error)
{
    *error = reason;
    return false;
}

// Takes the words of a rate away from the front of @p words.
bool takeRate(QList<QByteArray> *words, FaultRule *rule, QByteArray *error)
{
    rule->rate = FaultRule::WITH_PROBABILITY;
    rule->probability = 1;
    rule->number = 1;
    if (words->isEmpty())
        return true;
    const QByteArray rate = words->takeFirst();
    if (rate == "every" || rate == "once") {
        rule->rate = rate == "every" ? FaultRule::EVERY : FaultRule::ONCE;
        const QByteArray number = words->isEmpty() ? QByteArray() : words->takeFirst();
        return parseNumber(number, 1, 1000000000, &rule->number) ||
               refuse("rate " + quotedPlcText(rate + ' ' + number) +
                          ": expected a number from 1 on",
                      error);
    }
    bool isNumber = false;
    rule->probability = rate.toDouble(&isNumber);
    return (isNumber && rule->probability >= 0 && rule->probability <= 1) ||
           refuse("rate " + quotedPlcText(rate) + ": expected 0 to 1, every N or once N", error);
}

bool parseParameter(const FaultKind &kind, const QByteArray &text, int *parameter,
                    QByteArray *error)
{
    if (!kind.parameter)
        return refuse(QByteArray("fault ") + kind.name + " takes no " + quotedPlcText(text), error);
    quint32 number = 0;
    if (!parseNumber(text, static_cast<quint32>(kind.min), static_cast<quint32>(kind.max), &number))
        return refuse(QByteArray("fault ") + kind.name + ' ' + quotedPlcText(text) + ": expected " +
                          kind.parameter + " from " + QByteArray::number(kind.min) + " to " +
                          QByteArray::number(kind.max),
                      error);
    *parameter = static_cast<int>(number);
    return true;
}

bool parseRule(QList<QByteArray> words, FaultRule *rule, QByteArray *error)
{
    const QByteArray name = words.takeFirst();
    rule->kind = findFaultKind(name);
    if (!rule->kind)
        return refuse("unknown fault " + quotedPlcText(name) + "; known are " + knownFaults(),
                      error);
    rule->parameter = rule->kind->usual;
    if (!takeRate(&words, rule, error))
        return false;
    if (!words.isEmpty() &&
        !parseParameter(*rule->kind, words.takeFirst(), &rule->parameter, error))
        return false;
    return words.isEmpty() || refuse(quotedPlcText(words.first()) + " is too much", error);
}

bool goesBefore(const FaultRule &rule, const FaultRule &other)
{
    return rule.kind < other.kind;
}

} // namespace

FaultPlan::FaultPlan(quint32 seed) : m_chance(seed) {}

bool FaultPlan::addOption(const QByteArray &text, QByteArray *error)
{
    const int colon = text.indexOf(':');
    const QByteArray rest = colon < 0 ? QByteArray() : text.mid(colon + 1);
    const int comma = rest.indexOf(',');
    QList<QByteArray> words;
    words << (colon < 0 ? text : text.left(colon));
    if (colon >= 0)
        words << (comma < 0 ? rest : rest.left(comma)).split(' ');
    if (comma >= 0)
        words << rest.mid(comma + 1);
    FaultRule rule;
    if (!parseRule(words, &rule, error))
        return false;
    m_rules.insert(std::upper_bound(m_rules.begin(), m_rules.end(), rule, goesBefore), rule);
    m_chances.assign(m_rules.size(), 0);
    return true;
}

bool FaultPlan::addFile(const QByteArray &text, QByteArray *error)
{
    std::vector<FaultRule> rules = m_rules;
    int number = 0;
    for (const QByteArray &line : text.split('\n')) {
        ++number;
        const QByteArray words = line.simplified();
        if (words.isEmpty() || words.startsWith('#'))
            continue;
        FaultRule rule;
        QByteArray reason;
        if (!parseRule(words.split(' '), &rule, &reason))
            return refuse("line " + QByteArray::number(number) + ": " + reason, error);
        rules.push_back(rule);
    }
    // All at once: a plan may have very many rules.
    std::stable_sort(rules.begin(), rules.end(), goesBefore);
    m_rules.swap(rules);
    m_chances.assign(m_rules.size(), 0);
    return true;
}

bool FaultPlan::strikes(size_t rule)
{
    const FaultRule &row = m_rules[rule];
    const quint32 chance = ++m_chances[rule];
    switch (row.rate) {
    case FaultRule::EVERY:
        return chance % row.number == 0;
    case FaultRule::ONCE:
        return chance == row.number;
    case FaultRule::WITH_PROBABILITY:
        break;
    }
    const double range = 4294967296.0;
    return static_cast<double>(m_chance()) < row.probability * range;
}
