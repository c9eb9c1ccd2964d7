/// A line to a simulated PLC in memory, with faults and a clock of its own.
#ifndef TESTS_SOAK_FAULTY_LINE_H
#define TESTS_SOAK_FAULTY_LINE_H

#include "drivers/abstract_device_interface.h"
#include "simulator/fault_engine.h"
#include "simulator/simulated_plc.h"

#include <QtCore/QVariant>

#include <cstring>
#include <deque>
#include <random>

/// Time passes only while the driver waits, so that a million requests with time-outs take seconds.
/// Now and then one digit of a reply becomes another digit, which nobody can notice: the line has
/// no checksum. Such requests are marked.
class FaultyLine : public AbstractDeviceInterface
{
public:
    enum { TIMEOUT_US = 20000, REPLY_US = 200 };

    FaultyLine(PlcMemory &memory, const FaultPlan &plan, double digitRate, quint32 seed)
        : m_plc(memory, 0), m_engine(plan), m_chance(seed), m_digitRate(digitRate), m_nowUs(0),
          m_lastUs(0), m_silentUntilUs(0), m_digitChanged(false)
    {}

    int read(char *buffer, int maxLength)
    {
        if (m_arriving.empty() || m_arriving.front().us > m_nowUs + TIMEOUT_US) {
            m_nowUs += TIMEOUT_US;
            return 0;
        }
        m_nowUs = qMax(m_nowUs, m_arriving.front().us);
        QByteArray &bytes = m_arriving.front().bytes;
        const int length = qMin(maxLength, bytes.size());
        std::memcpy(buffer, bytes.constData(), static_cast<size_t>(length));
        bytes.remove(0, length);
        if (bytes.isEmpty())
            m_arriving.pop_front();
        return length;
    }

    int write(const char *buffer, int length)
    {
        if (m_nowUs < m_silentUntilUs)
            return length;
        m_plc.append(QByteArray(buffer, length));
        QByteArray reply;
        while (m_plc.takeReply(&reply)) {
            if (!reply.isEmpty())
                send(reply);
        }
        return length;
    }

    int control(int, const QVariant &)
    {
        while (!m_arriving.empty() && m_arriving.front().us <= m_nowUs)
            m_arriving.pop_front();
        return 1;
    }

    int getRetry() { return 2; }
    int getStationId() { return 0; }
    unsigned long getDelay() { return 0; }

    const FaultEngine &engine() const { return m_engine; }

    /// Whether a digit was changed since the last call.
    bool takeDigitChanged()
    {
        const bool changed = m_digitChanged;
        m_digitChanged = false;
        return changed;
    }

private:
    struct Arriving {
        QByteArray bytes;
        qint64 us;
    };

    void send(const QByteArray &reply)
    {
        QByteArray bytes(reply);
        if (std::uniform_real_distribution<>()(m_chance) < m_digitRate)
            changeDigit(&bytes);
        const FaultedReply faulted = m_engine.apply(bytes);
        // A serial line keeps the order of its bytes.
        qint64 us = qMax(m_nowUs + REPLY_US, m_lastUs);
        for (int i = 0; i < faulted.chunks.size(); ++i) {
            us += faulted.chunks.at(i).delayUs;
            const Arriving arriving = {faulted.chunks.at(i).bytes, us};
            m_arriving.push_back(arriving);
        }
        m_lastUs = us;
        if (faulted.silenceMs > 0)
            m_silentUntilUs = m_nowUs + faulted.silenceMs * 1000LL;
    }

    void changeDigit(QByteArray *bytes)
    {
        const int at = static_cast<int>(m_chance() % static_cast<unsigned int>(bytes->size()));
        const char digit = bytes->at(at);
        if (bytes->startsWith('E') || digit < '0' || digit > '1')
            return;
        (*bytes)[at] = static_cast<char>('0' + '1' - digit);
        m_digitChanged = true;
    }

    SimulatedPlc m_plc;
    FaultEngine m_engine;
    std::mt19937 m_chance;
    double m_digitRate;
    std::deque<Arriving> m_arriving;
    qint64 m_nowUs;
    qint64 m_lastUs; // when the last byte so far arrives
    qint64 m_silentUntilUs;
    bool m_digitChanged;
};

#endif
