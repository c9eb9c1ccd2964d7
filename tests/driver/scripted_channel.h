/// A channel that plays a script and compares every call of the driver with it.
#ifndef TESTS_DRIVER_SCRIPTED_CHANNEL_H
#define TESTS_DRIVER_SCRIPTED_CHANNEL_H

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
/// rest with the next read.
class ScriptedChannel : public AbstractDeviceInterface
{
public:
    explicit ScriptedChannel(QByteArray script)
        : retry(0), station(0), delayMs(0), delaysAsked(0), retriesAsked(0), claimedMore(0)
    {
        if (!script.isEmpty())
            m_script = script.replace("{CR}", "\r").replace("{LF}", "\n").split('|');
    }

    int read(char *buffer, int maxLength)
    {
        if (m_pending.isEmpty()) {
            const QByteArray step = m_script.value(m_calls.size());
            const bool silent = step == "~";
            m_calls << (silent || step.startsWith('<') ? step : "a read");
            if (m_calls.last() != step || silent)
                return silent ? 0 : -1;
            m_pending = step.startsWith("<<") ? step.mid(2) : step.mid(1) + "\r\n";
            m_pending.replace("{NUL}", QByteArray(1, '\0'));
        }
        const QByteArray chunk = m_pending.left(maxLength);
        m_pending = m_pending.mid(maxLength);
        std::memcpy(buffer, chunk.constData(), static_cast<size_t>(chunk.size()));
        return chunk.size() + claimedMore;
    }

    int write(const char *buffer, int length)
    {
        const QByteArray line(buffer, length);
        m_calls << ">" + (line.endsWith("\r\n") ? line.left(length - 2) : line + "without CR LF");
        return length;
    }

    int control(int code, const QVariant &value)
    {
        m_pending.clear();
        const bool discards = code == 12 && value.type() == QVariant::Int && value.toInt() == 0;
        m_calls << (discards ? "!" : "another control");
        return 1;
    }

    int getRetry()
    {
        ++retriesAsked;
        return retry;
    }

    int getStationId() { return station; }

    unsigned long getDelay()
    {
        ++delaysAsked;
        return delayMs;
    }

    /// Empty when every call fitted the script and the script is used up.
    QByteArray fault() const
    {
        int i = 0;
        while (i < m_calls.size() && m_calls.at(i) == m_script.value(i))
            ++i;
        if (m_calls == m_script)
            return QByteArray();
        return "step " + QByteArray::number(i + 1) + ": " + m_calls.value(i, "the end") +
               " instead of " + m_script.value(i, "the end");
    }

    int retry;
    int station;
    unsigned long delayMs;
    int delaysAsked;
    int retriesAsked;
    int claimedMore; ///< than a read has given

private:
    QList<QByteArray> m_script;
    QList<QByteArray> m_calls; // as the script has them
    QByteArray m_pending;
};

#endif
