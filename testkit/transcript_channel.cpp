#include "testkit/transcript_channel.h"

#include "tools/qt_compat.h"

TranscriptChannel::TranscriptChannel(AbstractDeviceInterface &channel, const QByteArray &lineEnd)
    : ForwardingChannel(channel), isPrinted(false), m_lineEnd(lineEnd)
{}

TranscriptChannel::~TranscriptChannel()
{
    endReply();
}

int TranscriptChannel::read(char *buffer, int maxLength)
{
    const int count = ForwardingChannel::read(buffer, maxLength);
    if (count > 0) {
        m_received.append(buffer, qMin(count, maxLength));
        if (!m_lineEnd.isEmpty() && m_received.endsWith(m_lineEnd))
            endReply();
    } else {
        const ScriptStep silence = {'~', QByteArray()};
        note(silence);
    }
    return count;
}

int TranscriptChannel::write(const char *buffer, int length)
{
    const ScriptStep step = {'>', QByteArray(buffer, length)};
    note(step);
    return ForwardingChannel::write(buffer, length);
}

int TranscriptChannel::control(int code, const QVariant &value)
{
    note(controlStep(code, value));
    return ForwardingChannel::control(code, value);
}

QByteArray TranscriptChannel::transcript() const
{
    const ScriptStep unfinished = {'<', m_received};
    QList<QByteArray> steps = m_steps;
    if (!m_received.isEmpty())
        steps << stepText(unfinished, m_lineEnd);
    return joinedSteps(steps);
}

void TranscriptChannel::endReply()
{
    const ScriptStep step = {'<', m_received};
    m_received.clear();
    if (!step.bytes.isEmpty())
        note(step);
}

void TranscriptChannel::note(const ScriptStep &step)
{
    endReply();
    m_steps << stepText(step, m_lineEnd);
    if (isPrinted)
        printDebugText(QString::fromLatin1(m_steps.last().constData()));
}
