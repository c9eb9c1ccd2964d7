/// A wire to a simulated PLC in memory, with a clock of its own.
#ifndef TESTS_EXPLORER_VIRTUAL_WIRE_H
#define TESTS_EXPLORER_VIRTUAL_WIRE_H

#include "runtime/device_channel.h"
#include "runtime/port.h"
#include "simulator/simulated_plc.h"
#include "testkit/wire_faults.h"

#include <QtCore/QList>

#include <cstring>
#include <functional>

/// Of the links that the explorer makes.
const int TIMEOUT_MS = 20;

/// Time passes only while somebody waits, so that a million requests with time-outs take seconds.
class VirtualWire : public Port
{
public:
    enum { STATION = 7, ANSWER_MS = 1 };

    explicit VirtualWire(PlcMemory &memory)
        : lineIsLost(false), m_plc(memory, STATION), m_nowMs(0), m_lastMs(0)
    {}

    /// What becomes of a reply; empty for what is lost. Without it nothing is damaged.
    std::function<WirePieces(const QByteArray &)> damage;

    /// With which reply the PLC refuses every line but open and close; empty for none.
    QByteArray refusal;

    bool lineIsLost; ///< the next line does not reach the PLC

    int read(char *buffer, int maxLength) override
    {
        if (!hasCome())
            return 0;
        QByteArray &bytes = m_arriving.first().bytes;
        const int length = qMin(maxLength, bytes.size());
        std::memcpy(buffer, bytes.constData(), static_cast<size_t>(length));
        bytes.remove(0, length);
        if (bytes.isEmpty())
            m_arriving.removeFirst();
        return length;
    }

    int write(const char *bytes, int length, int) override
    {
        const QByteArray line(bytes, length);
        QByteArray reply = refusal;
        if (lineIsLost) {
            lineIsLost = false;
            return length;
        }
        if (refusal.isEmpty() || line.startsWith('C'))
            reply = m_plc.receive(line);
        deliver(damage ? damage(reply) : arriving(reply));
        return length;
    }

    bool waitForInput(qint64 ms) override
    {
        const qint64 endMs = m_nowMs + ms;
        m_nowMs =
            m_arriving.isEmpty() ? endMs : qMin(endMs, qMax(m_nowMs, m_arriving.first().atMs));
        return hasCome();
    }

    qint64 nowMs() const override { return m_nowMs; }
    void pass(qint64 ms) { m_nowMs += ms; }

private:
    struct Arriving {
        QByteArray bytes;
        qint64 atMs;
    };

    bool hasCome() const { return !m_arriving.isEmpty() && m_arriving.first().atMs <= m_nowMs; }

    // A wire keeps the order of its bytes.
    void deliver(const WirePieces &pieces)
    {
        qint64 atMs = qMax(m_nowMs, m_lastMs) + ANSWER_MS;
        for (const WirePiece &piece : pieces) {
            atMs += qRound64(piece.delay * TIMEOUT_MS);
            const Arriving arriving = {piece.bytes, atMs};
            if (!piece.bytes.isEmpty())
                m_arriving.append(arriving);
        }
        m_lastMs = pieces.isEmpty() ? m_lastMs : atMs;
    }

    SimulatedPlc m_plc;
    QList<Arriving> m_arriving;
    qint64 m_nowMs;
    qint64 m_lastMs; // when the last byte so far arrives
};

#endif
