/// A wire to a simulated PLC in memory, with faults and a clock of its own.
#ifndef TESTS_SOAK_FAULTY_WIRE_H
#define TESTS_SOAK_FAULTY_WIRE_H

#include "runtime/device_channel.h"
#include "simulator/fault_engine.h"
#include "simulator/simulated_plc.h"

#include <QtCore/QIODevice>

#include <cstring>
#include <deque>
#include <random>

/// Faults of the wire itself, beside those of the PLC. Each is a rate from 0 to 1: of the lines
/// towards the PLC for `lost`, else of the replies.
struct WireFaults {
    double lost;      ///< the line does not reach the PLC
    double parity;    ///< a character with a parity error, which the port shows as a zero byte
    double dropped;   ///< an item and its blank are missing
    double half;      ///< only the first half of the reply comes
    double crosstalk; ///< a reply that is another PLC's comes first
    double digit;     ///< 0 and 1 change places where no parity shows it
};

/// How often each of them has happened.
struct WireCounts {
    int lost, parity, dropped, half, crosstalk, digit;
};

/// Time passes only while somebody waits, so that a million requests with time-outs take seconds.
/// What nothing on the wire shows is marked: a changed digit, another PLC's reply, and a write's
/// line that is lost while an old reply is there, which nothing throws away before it.
class FaultyWire : public QIODevice
{
public:
    enum { REPLY_US = 200 };

    FaultyWire(PlcMemory &memory, const FaultPlan &plan, const WireFaults &faults, quint32 seed)
        : m_plc(memory, 0), m_engine(plan), m_chance(seed), m_faults(faults), m_counts(),
          m_nowUs(0), m_lastUs(0), m_unseen(nullptr)
    {
        open(QIODevice::ReadWrite | QIODevice::Unbuffered);
    }

    bool isSequential() const { return true; }

    qint64 bytesAvailable() const { return hasCome() ? m_arriving.front().bytes.size() : 0; }

    bool waitForReadyRead(int ms)
    {
        const qint64 endUs = m_nowUs + 1000 * qint64(ms);
        const bool comes = !m_arriving.empty() && m_arriving.front().us <= endUs;
        m_nowUs = comes ? qMax(m_nowUs, m_arriving.front().us) : endUs;
        return comes;
    }

    void pass(int ms) { m_nowUs += 1000 * qint64(ms); }
    qint64 nowMs() const { return m_nowUs / 1000; }

    const FaultEngine &engine() const { return m_engine; }
    const WireCounts &counts() const { return m_counts; }

    /// The last thing since the last call that nothing on the wire shows; null for none.
    const char *takeUnseen()
    {
        const char *unseen = m_unseen;
        m_unseen = nullptr;
        return unseen;
    }

protected:
    qint64 readData(char *buffer, qint64 maxSize)
    {
        if (!hasCome())
            return 0;
        QByteArray &bytes = m_arriving.front().bytes;
        const int length = static_cast<int>(qMin<qint64>(maxSize, bytes.size()));
        std::memcpy(buffer, bytes.constData(), static_cast<size_t>(length));
        bytes.remove(0, length);
        if (bytes.isEmpty())
            m_arriving.pop_front();
        return length;
    }

    qint64 writeData(const char *buffer, qint64 size)
    {
        if (happens(m_faults.lost, &m_counts.lost)) {
            if (isWrite(buffer) && !m_arriving.empty())
                m_unseen = "a write lost behind an old reply";
            return size;
        }
        m_plc.append(QByteArray(buffer, static_cast<int>(size)));
        QByteArray reply;
        while (m_plc.takeReply(&reply)) {
            if (!reply.isEmpty())
                send(reply);
        }
        return size;
    }

private:
    struct Arriving {
        QByteArray bytes;
        qint64 us;
    };

    bool hasCome() const { return !m_arriving.empty() && m_arriving.front().us <= m_nowUs; }

    bool happens(double rate, int *count)
    {
        const bool yes = std::uniform_real_distribution<>()(m_chance) < rate;
        *count += yes;
        return yes;
    }

    int random(int below)
    {
        return static_cast<int>(m_chance() % static_cast<unsigned int>(below));
    }

    static bool isWrite(const char *line)
    {
        return std::memcmp(line, "WRS ", 4) == 0 || std::memcmp(line, "ST ", 3) == 0 ||
               std::memcmp(line, "RS ", 3) == 0;
    }

    void send(const QByteArray &reply)
    {
        if (happens(m_faults.crosstalk, &m_counts.crosstalk)) {
            static const char *const replies[] = {"CC 01\r\n", "OK\r\n", "0000 0001\r\n", "E1\r\n"};
            deliver(replies[random(4)]);
            m_unseen = "another PLC's reply";
        }
        QByteArray bytes(reply);
        if (happens(m_faults.digit, &m_counts.digit))
            changeDigit(&bytes);
        if (bytes.contains(' ') && bytes.at(0) != 'C' &&
            happens(m_faults.dropped, &m_counts.dropped))
            bytes.remove(0, bytes.indexOf(' ') + 1);
        if (happens(m_faults.parity, &m_counts.parity))
            bytes[random(bytes.size())] = '\0';
        if (happens(m_faults.half, &m_counts.half))
            bytes.truncate(bytes.size() / 2);
        deliver(bytes);
    }

    // A serial wire keeps the order of its bytes, each of which takes its time.
    void deliver(const QByteArray &bytes)
    {
        const FaultedReply faulted = m_engine.apply(bytes);
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
        const int at = random(bytes->size());
        const char digit = bytes->at(at);
        if (bytes->startsWith('E') || bytes->startsWith('C') || digit < '0' || digit > '1')
            return;
        (*bytes)[at] = static_cast<char>('0' + '1' - digit);
        m_unseen = "a changed digit";
    }

    SimulatedPlc m_plc;
    FaultEngine m_engine;
    std::mt19937 m_chance;
    const WireFaults m_faults;
    WireCounts m_counts;
    std::deque<Arriving> m_arriving;
    qint64 m_nowUs;
    qint64 m_lastUs; // when the last byte so far arrives
    const char *m_unseen;
};

/// The real channel on such a wire.
class WireChannel : public DeviceChannel
{
public:
    enum { TIMEOUT_MS = 20 };

    WireChannel(FaultyWire *wire, int delayMs, bool rests)
        : DeviceChannel(wire, DriverSetting(TIMEOUT_MS, 2, 0, 0)), m_wire(wire), m_delayMs(delayMs),
          m_rests(rests)
    {}

    /// Without rest: what a runtime does that throws away only what has arrived.
    int control(int code, const QVariant &value)
    {
        if (m_rests)
            return DeviceChannel::control(code, value);
        while (m_wire->waitForReadyRead(0))
            m_wire->skip(m_wire->bytesAvailable());
        return 1;
    }

    unsigned long getDelay()
    {
        m_wire->pass(m_delayMs);
        return 0;
    }

protected:
    qint64 nowMs() const { return m_wire->nowMs(); }

private:
    FaultyWire *m_wire;
    int m_delayMs;
    bool m_rests;
};

#endif
