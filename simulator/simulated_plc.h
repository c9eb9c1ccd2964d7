/// The simulated PLC on one wire: bytes in, bytes out, without clock or port.
#ifndef SIMULATOR_SIMULATED_PLC_H
#define SIMULATOR_SIMULATED_PLC_H

#include "simulator/line_splitter.h"
#include "simulator/plc_memory.h"

#include <QtCore/QByteArray>
#include <QtCore/QScopedPointer>

#include <vector>

class PlcFieldReader;

/// What a PLC or a front has answered so far.
struct PlcCounts {
    PlcCounts() : requests(0), errors(0) {}

    void add(const PlcCounts &other)
    {
        requests += other.requests;
        errors += other.errors;
    }

    PlcCounts since(const PlcCounts &earlier) const
    {
        PlcCounts difference;
        difference.requests = requests - earlier.requests;
        difference.errors = errors - earlier.errors;
        return difference;
    }

    quint64 requests; ///< complete lines received
    quint64 errors;   ///< error replies among their answers
};

/// A PLC with one station number on one wire. It holds the wire's received bytes and whether
/// communication is open; its devices are its own or shared with other wires. Any bytes are safe
/// to receive.
class SimulatedPlc
{
public:
    /// A PLC with a memory of its own. @param station 0 to 99
    explicit SimulatedPlc(int station = 0);

    /// A further wire of a PLC. Requires: @p memory outlives it and is used by one thread at a
    /// time.
    SimulatedPlc(PlcMemory &memory, int station);

    /// Receives bytes of the wire. @return the replies to all lines that they complete, joined
    QByteArray receive(const QByteArray &bytes);

    /// The same by single lines: append, then take replies until none is left.
    void append(const QByteArray &bytes);

    /// Answers the next complete line. An open line of another station leaves @p reply empty.
    /// @param line gets the line with its end; empty when it was too long
    /// @return whether there was a line
    bool takeReply(QByteArray *line, QByteArray *reply);

    /// The reply to one line, its CR LF included; empty for the open line of another station.
    QByteArray answer(const QByteArray &line);

    bool isOpen() const { return m_open; }
    PlcCounts counts() const { return m_counts; }
    PlcMemory &memory() { return m_memory; }

private:
    Q_DISABLE_COPY(SimulatedPlc)

    QByteArray counted(PlcRefusal refusal, const QByteArray &reply);
    PlcRefusal obey(const char *text, int length, QByteArray *reply);
    PlcRefusal openLine(PlcFieldReader *fields, QByteArray *reply);
    PlcRefusal closeLine(PlcFieldReader *fields, QByteArray *reply);
    PlcRefusal readItems(PlcFieldReader *fields, QByteArray *reply);
    PlcRefusal writeItems(PlcFieldReader *fields, QByteArray *reply);
    PlcRefusal setContact(PlcFieldReader *fields, QByteArray *reply);
    PlcRefusal resetContact(PlcFieldReader *fields, QByteArray *reply);
    PlcRefusal storeContact(PlcFieldReader *fields, bool value, QByteArray *reply);

    QScopedPointer<PlcMemory> m_ownMemory;
    PlcMemory &m_memory;
    const int m_station;
    bool m_open;
    LineSplitter m_lines;
    PlcCounts m_counts;
    std::vector<quint32> m_values; // of the write at hand, kept for its allocation
};

#endif
