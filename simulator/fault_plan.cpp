#include "simulator/fault_plan.h"

#include "simulator/plc_values.h"

#include <QtCore/QList>

#include <algorithm>

namespace
{

struct FaultRow {
    FaultKind kind;
    const char *name;
    const char *parameter; // what it is; null for a fault without one
    int min;
    int max;
    int usual;
};

const FaultRow FAULTS[] = {
    {FAULT_NO_REPLY, "no-reply", 0, 0, 0, 0},
    {FAULT_CLOSE_CONNECTION, "close-connection", "seconds of silence", 0, 3600, 1},
    {FAULT_SILENCE, "silence", "seconds", 0, 3600, 5},
    {FAULT_ERROR_REPLY, "error-reply", "error digit", 0, 9, 0},
    {FAULT_WRONG_STATION, "wrong-station", 0, 0, 0, 0},
    {FAULT_WRONG_CLOSE, "wrong-close", 0, 0, 0, 0},
    {FAULT_NOISE_BEFORE, "noise-before", "number of bytes", 1, 1000, 1},
    {FAULT_NOISE_INSIDE, "noise-inside", "number of bytes", 1, 1000, 1},
    {FAULT_NOISE_AFTER, "noise-after", "number of bytes", 1, 1000, 1},
    {FAULT_CUT, "cut", "number of bytes kept", 1, 100000, FaultRule::ANYWHERE},
    {FAULT_DOUBLED, "doubled", 0, 0, 0, 0},
    {FAULT_SPLIT, "split", "number of ms between bytes", 0, 10000, 1},
    {FAULT_LATE, "late", "number of ms", 1, 600000, 1000},
};

const FaultRow *findFault(const QByteArray &name)
{
    for (const FaultRow &row : FAULTS) {
        if (name == row.name)
            return &row;
    }
    return 0;
}

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
               refuse(quotedPlcText(rate + ' ' + number) + " names no number from 1 on", error);
    }
    bool isNumber = false;
    rule->probability = rate.toDouble(&isNumber);
    return (isNumber && rule->probability >= 0 && rule->probability <= 1) ||
           refuse("rate " + quotedPlcText(rate) +
                      " is no probability from 0 to 1, every N or once N",
                  error);
}

bool parseParameter(const FaultRow &row, const QByteArray &text, int *parameter, QByteArray *error)
{
    if (!row.parameter)
        return refuse(QByteArray("fault ") + row.name + " takes no " + quotedPlcText(text), error);
    quint32 number = 0;
    if (!parseNumber(text, static_cast<quint32>(row.min), static_cast<quint32>(row.max), &number))
        return refuse(quotedPlcText(text) + " is no " + row.parameter + " from " +
                          QByteArray::number(row.min) + " to " + QByteArray::number(row.max) +
                          " for fault " + row.name,
                      error);
    *parameter = static_cast<int>(number);
    return true;
}

bool parseRule(QList<QByteArray> words, FaultRule *rule, QByteArray *error)
{
    const QByteArray name = words.takeFirst();
    const FaultRow *row = findFault(name);
    if (!row)
        return refuse("unknown fault " + quotedPlcText(name) + "; known are " + knownFaults(),
                      error);
    rule->kind = row->kind;
    rule->parameter = row->usual;
    if (!takeRate(&words, rule, error))
        return false;
    if (!words.isEmpty() && !parseParameter(*row, words.takeFirst(), &rule->parameter, error))
        return false;
    return words.isEmpty() || refuse(quotedPlcText(words.first()) + " is too much", error);
}

bool goesBefore(const FaultRule &rule, const FaultRule &other)
{
    return rule.kind < other.kind;
}

} // namespace

const char *faultName(FaultKind kind)
{
    for (const FaultRow &row : FAULTS) {
        if (row.kind == kind)
            return row.name;
    }
    return "";
}

QByteArray knownFaults()
{
    QByteArray names;
    for (const FaultRow &row : FAULTS)
        names += (names.isEmpty() ? "" : ", ") + QByteArray(row.name);
    return names;
}

FaultPlan::FaultPlan(quint32 seed) : m_random(seed) {}

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
    return static_cast<double>(m_random()) < row.probability * range;
}

quint32 FaultPlan::random(quint32 below)
{
    return static_cast<quint32>(m_random() % below);
}
