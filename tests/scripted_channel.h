/// A channel that plays a script and compares every call of the driver with it.
#ifndef TESTS_SCRIPTED_CHANNEL_H
#define TESTS_SCRIPTED_CHANNEL_H

#include "drivers/abstract_device_interface.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QVariant>

#include <cstring>

/// The script is a row of steps separated by "|", each one call of the driver:
///
///   !         control with code 12 and the integer 0
///   >LINE     a write of LINE and CR LF
///   <LINE     a read that gives LINE and CR LF
///   <<BYTES   a read that gives just these bytes
///   ~         a read that gives nothing
///
/// {CR}, {LF} and {NUL} stand for these bytes. A read that asks for less than a step holds gets the
/// rest with the next read. The first call that does not fit is kept in `fault`, and the channel is
/// silent from then on.
class ScriptedChannel : public AbstractDeviceInterface
{
public:
    explicit ScriptedChannel(const QByteArray &script)
        : retry(0), station(0), delayMs(0), delaysAsked(0), m_next(0), m_lastWasSilence(false)
    {
        QByteArray text(script);
        text.replace("{CR}", "\r").replace("{LF}", "\n");
        if (!text.isEmpty())
            m_steps = text.split('|');
    }

    int read(char *buffer, int maxLength)
    {
        if (m_pending.isEmpty() && !take("a read", '<', &m_pending)) {
            if (m_lastWasSilence)
                return 0;
            return -1;
        }
        const QByteArray chunk = m_pending.left(maxLength);
        m_pending = m_pending.mid(maxLength);
        std::memcpy(buffer, chunk.constData(), static_cast<size_t>(chunk.size()));
        return chunk.size();
    }

    int write(const char *buffer, int length)
    {
        const QByteArray sent(buffer, length);
        QByteArray expected;
        if (take("a write of " + sent, '>', &expected) && sent != expected)
            setFault("wrote " + sent + " instead of " + expected);
        return length;
    }

    int control(int code, const QVariant &value)
    {
        m_pending.clear();
        QByteArray none;
        take("a control", '!', &none);
        if (code != 12 || value.type() != QVariant::Int || value.toInt() != 0)
            setFault("control has another code or value");
        return 1;
    }

    int getRetry() { return retry; }
    int getStationId() { return station; }

    unsigned long getDelay()
    {
        ++delaysAsked;
        return delayMs;
    }

    /// Empty when every call fitted the script and the script is used up.
    QByteArray fault() const
    {
        if (m_fault.isEmpty() && m_next < m_steps.size())
            return "not reached: " + m_steps.at(m_next);
        return m_fault;
    }

    int retry;
    int station;
    unsigned long delayMs;
    int delaysAsked;

private:
    // The next step's bytes when it is of this kind; a silent read and a misfit give false.
    bool take(const QByteArray &call, char kind, QByteArray *bytes)
    {
        m_lastWasSilence = false;
        if (!m_fault.isEmpty())
            return false;
        const QByteArray step =
            m_next < m_steps.size() ? m_steps.at(m_next) : QByteArray("the end");
        ++m_next;
        m_lastWasSilence = kind == '<' && step == "~";
        if (m_lastWasSilence)
            return false;
        if (!step.startsWith(kind)) {
            setFault(call + " came where the script has " + step);
            return false;
        }
        const bool raw = step.startsWith("<<");
        *bytes = raw ? step.mid(2) : step.mid(1) + "\r\n";
        // Last, since a NUL would end the text for what comes before.
        bytes->replace(QByteArray("{NUL}"), QByteArray(1, '\0'));
        return true;
    }

    void setFault(const QByteArray &text)
    {
        if (m_fault.isEmpty())
            m_fault = "step " + QByteArray::number(m_next) + ": " + text;
    }

    QList<QByteArray> m_steps;
    int m_next;
    QByteArray m_pending;
    QByteArray m_fault;
    bool m_lastWasSilence;
};

#endif
