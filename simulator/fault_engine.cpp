#include "simulator/fault_engine.h"

#include <algorithm>

namespace
{

const int OPENED_SIZE = 7;
const int OPENED_DIGITS = 3;

bool isOpened(const QByteArray &reply)
{
    return reply.startsWith("CC ") && reply.size() == OPENED_SIZE;
}

// Whether a fault changes this reply at all: one that does not must not count as injected. Without
// a limit, some thirty doublings would fill the machine.
bool fits(const FaultRule &rule, const QByteArray &reply)
{
    switch (rule.kind) {
    case FAULT_WRONG_STATION:
        return isOpened(reply);
    case FAULT_WRONG_CLOSE:
        return reply == "CF\r\n";
    case FAULT_CUT:
        return reply.size() > qMax(rule.parameter, 1);
    case FAULT_NOISE_INSIDE:
        return reply.size() > 1 && reply.size() + rule.parameter <= FaultEngine::MAX_REPLY;
    case FAULT_NOISE_BEFORE:
    case FAULT_NOISE_AFTER:
        return reply.size() + rule.parameter <= FaultEngine::MAX_REPLY;
    case FAULT_DOUBLED:
        return 2 * reply.size() <= FaultEngine::MAX_REPLY;
    case FAULT_SPLIT:
        return reply.size() > 1;
    default:
        return true;
    }
}

QByteArray ofNextStation(const QByteArray &opened)
{
    const int station = (opened.mid(OPENED_DIGITS, 2).toInt() + 1) % 100;
    return "CC " + QByteArray::number(station).rightJustified(2, '0') + "\r\n";
}

QVector<ReplyChunk> byteByByte(const QByteArray &bytes, int gapUs)
{
    QVector<ReplyChunk> chunks;
    for (int i = 0; i < bytes.size(); ++i)
        chunks.append(ReplyChunk(bytes.mid(i, 1), i == 0 ? 0 : gapUs));
    return chunks;
}

} // namespace

FaultEngine::FaultEngine(const FaultPlan &plan) : m_plan(plan)
{
    std::fill(m_counts, m_counts + FAULT_KINDS, 0);
}

FaultedReply FaultEngine::apply(const QByteArray &reply)
{
    FaultedReply result;
    QByteArray bytes = reply;
    int gapMs = -1;
    int lateMs = 0;
    const std::vector<FaultRule> &rules = m_plan.rules();
    for (size_t i = 0; i < rules.size(); ++i) {
        const FaultRule &rule = rules[i];
        if (!fits(rule, bytes) || !m_plan.strikes(i))
            continue;
        ++m_counts[rule.kind];
        if (suppress(rule, &result))
            return result;
        if (rule.kind == FAULT_SPLIT)
            gapMs = rule.parameter;
        else if (rule.kind == FAULT_LATE)
            lateMs = rule.parameter;
        else
            damage(rule, &bytes);
    }
    if (gapMs >= 0)
        result.chunks = byteByByte(bytes, gapMs * 1000);
    else
        result.chunks.append(ReplyChunk(bytes, 0));
    result.chunks.first().delayUs = lateMs * 1000;
    return result;
}

// Whether the fault leaves nothing of the reply.
bool FaultEngine::suppress(const FaultRule &rule, FaultedReply *result) const
{
    switch (rule.kind) {
    case FAULT_NO_REPLY:
        return true;
    case FAULT_CLOSE_CONNECTION:
        result->closesConnection = true;
        result->silenceMs = rule.parameter * 1000;
        return true;
    case FAULT_SILENCE:
        result->silenceMs = rule.parameter * 1000;
        return true;
    default:
        return false;
    }
}

void FaultEngine::damage(const FaultRule &rule, QByteArray *bytes)
{
    const quint32 inner = static_cast<quint32>(bytes->size()) - 1;
    switch (rule.kind) {
    case FAULT_ERROR_REPLY:
        *bytes = "E" + QByteArray::number(rule.parameter) + "\r\n";
        break;
    case FAULT_WRONG_STATION:
        *bytes = ofNextStation(*bytes);
        break;
    case FAULT_WRONG_CLOSE:
        *bytes = "OK\r\n";
        break;
    case FAULT_NOISE_BEFORE:
        bytes->prepend(noise(rule.parameter));
        break;
    case FAULT_NOISE_INSIDE:
        bytes->insert(1 + static_cast<int>(m_plan.random(inner)), noise(rule.parameter));
        break;
    case FAULT_NOISE_AFTER:
        bytes->append(noise(rule.parameter));
        break;
    case FAULT_CUT:
        bytes->truncate(rule.parameter == FaultRule::ANYWHERE
                            ? 1 + static_cast<int>(m_plan.random(inner))
                            : rule.parameter);
        break;
    case FAULT_DOUBLED:
        bytes->append(QByteArray(*bytes));
        break;
    default:
        break;
    }
}

// Bytes that no reply has, or noise could turn one good reply into another.
QByteArray FaultEngine::noise(int size)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(0x80 + m_plan.random(0x80));
    return bytes;
}
