#include "testkit/scripted_channel.h"

#include "testkit/script_step.h"

#include <QtCore/QVariant>

#include <cstring>

ScriptedChannel::ScriptedChannel(const QByteArray &script, const QByteArray &lineEnd)
    : claimedMore(0), m_lineEnd(lineEnd)
{
    if (script.isEmpty())
        return;
    for (const QByteArray &step : script.split('|'))
        m_script << stepText(parseStep(step, lineEnd), lineEnd);
}

int ScriptedChannel::read(char *buffer, int maxLength)
{
    if (m_pending.isEmpty()) {
        const QByteArray text = m_script.value(m_calls.size());
        const ScriptStep step = parseStep(text, m_lineEnd);
        const bool isRead = step.direction == '<' || step.direction == '~';
        m_calls << (isRead ? text : "a read");
        if (step.direction != '<')
            return isRead ? 0 : -1;
        m_pending = step.bytes;
    }
    const QByteArray chunk = m_pending.left(maxLength);
    m_pending = m_pending.mid(maxLength);
    std::memcpy(buffer, chunk.constData(), static_cast<size_t>(chunk.size()));
    return chunk.size() + claimedMore;
}

int ScriptedChannel::write(const char *buffer, int length)
{
    const ScriptStep step = {'>', QByteArray(buffer, length)};
    m_calls << stepText(step, m_lineEnd);
    return length;
}

int ScriptedChannel::control(int code, const QVariant &value)
{
    m_pending.clear();
    m_calls << stepText(controlStep(code, value), m_lineEnd);
    return 1;
}

QByteArray ScriptedChannel::fault() const
{
    int i = 0;
    while (i < m_calls.size() && m_calls.at(i) == m_script.value(i))
        ++i;
    if (m_calls == m_script)
        return QByteArray();
    return "step " + QByteArray::number(i + 1) + ": " + m_calls.value(i, "the end") +
           " instead of " + m_script.value(i, "the end");
}
