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

/// How a runtime keeps old replies away from later lines.
struct Pacing {
    int restUs;  ///< after a failed attempt the line has to be silent for so long
    int delayUs; ///< before each attempt
};

/// Time passes only while the driver waits, so that a million requests with time-outs take seconds.
/// Some lines do not reach the PLC. What the driver cannot notice is marked: now and then one digit
/// of an item becomes another digit, for the line has no checksum; and a write's line is lost while
/// an old reply is there, which nothing throws away before it.
class FaultyLine : public AbstractDeviceInterface
{
public:
    enum { TIMEOUT_US = 20000, REPLY_US = 200 };

    FaultyLine(PlcMemory &memory, const FaultPlan &plan, double lossRate, double digitRate,
               const Pacing &pacing, quint32 seed)
        : m_plc(memory, 0), m_engine(plan), m_chance(seed), m_lossRate(lossRate),
          m_digitRate(digitRate), m_pacing(pacing), m_nowUs(0), m_lastUs(0), m_lost(0),
          m_attemptFailed(false), m_digitChanged(false), m_lostBehindReply(false)
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
        if (happens(m_lossRate)) {
            ++m_lost;
            m_lostBehindReply = m_lostBehindReply || (isWrite(buffer) && !m_arriving.empty());
            return length;
        }
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
        const int silenceUs = m_attemptFailed ? m_pacing.restUs : 0;
        while (!m_arriving.empty() && m_arriving.front().us <= m_nowUs + silenceUs) {
            m_nowUs = qMax(m_nowUs, m_arriving.front().us);
            m_arriving.pop_front();
        }
        m_nowUs += silenceUs;
        m_attemptFailed = false;
        return 1;
    }

    int getRetry()
    {
        m_attemptFailed = true;
        return 2;
    }

    int getStationId() { return 0; }

    unsigned long getDelay()
    {
        m_nowUs += m_pacing.delayUs;
        return 0;
    }

    const FaultEngine &engine() const { return m_engine; }

    /// Lines that did not reach the PLC.
    int lost() const { return m_lost; }

    /// Whether a digit was changed since the last call.
    bool takeDigitChanged()
    {
        const bool changed = m_digitChanged;
        m_digitChanged = false;
        return changed;
    }

    /// Whether a line was lost behind an old reply since the last call.
    bool takeLostBehindReply()
    {
        const bool lost = m_lostBehindReply;
        m_lostBehindReply = false;
        return lost;
    }

private:
    struct Arriving {
        QByteArray bytes;
        qint64 us;
    };

    bool happens(double rate) { return std::uniform_real_distribution<>()(m_chance) < rate; }

    static bool isWrite(const char *line)
    {
        return std::memcmp(line, "WRS ", 4) == 0 || std::memcmp(line, "ST ", 3) == 0 ||
               std::memcmp(line, "RS ", 3) == 0;
    }

    void send(const QByteArray &reply)
    {
        QByteArray bytes(reply);
        if (happens(m_digitRate))
            changeDigit(&bytes);
        const FaultedReply faulted = m_engine.apply(bytes);
        // A serial line keeps the order of its bytes, each of which takes its time.
        qint64 us = qMax(m_nowUs, m_lastUs) + REPLY_US;
        for (int i = 0; i < faulted.chunks.size(); ++i) {
            us += faulted.chunks.at(i).delayUs;
            const Arriving arriving = {faulted.chunks.at(i).bytes, us};
            m_arriving.push_back(arriving);
        }
        m_lastUs = us;
    }

    void changeDigit(QByteArray *bytes)
    {
        const int at = static_cast<int>(m_chance() % static_cast<unsigned int>(bytes->size()));
        const char digit = bytes->at(at);
        if (bytes->startsWith('E') || bytes->startsWith('C') || digit < '0' || digit > '1')
            return;
        (*bytes)[at] = static_cast<char>('0' + '1' - digit);
        m_digitChanged = true;
    }

    SimulatedPlc m_plc;
    FaultEngine m_engine;
    std::mt19937 m_chance;
    double m_lossRate;
    double m_digitRate;
    Pacing m_pacing;
    std::deque<Arriving> m_arriving;
    qint64 m_nowUs;
    qint64 m_lastUs; // when the last byte so far arrives
    int m_lost;
    bool m_attemptFailed;
    bool m_digitChanged;
    bool m_lostBehindReply;
};

#endif
