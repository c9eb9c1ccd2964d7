/// What all wires of one simulated PLC have in common, whatever front they go through.
#ifndef SIMULATOR_PLC_SERVICE_H
#define SIMULATOR_PLC_SERVICE_H

#include "simulator/deadline_timer.h"
#include "simulator/fault_engine.h"
#include "simulator/live_values.h"
#include "simulator/simulated_plc.h"
#include "simulator/wire_format.h"

#include <random>

/// How fast a wire is, and how long the PLC takes for an answer.
struct WireTiming {
    WireTiming() : baud(0), bitsPerCharacter(11), replyDelayMs(0), jitterMs(0), latencyMs(0) {}

    int baud;             ///< bits a second; 0 for a wire that takes no time
    int bitsPerCharacter; ///< 11 for 8E1: start, 8 data, parity and stop bit
    int replyDelayMs;     ///< from the request's end to the reply's beginning, 0 or more
    int jitterMs;         ///< up to so much more, by chance
    /// A USB adapter's: it hands bytes over when 62 have gathered, or so long after the first of
    /// them came; 0 for no adapter.
    int latencyMs;
};

/// Sees each line as it has passed.
class LineObserver
{
public:
    virtual ~LineObserver() {}

    /// @param direction '>' towards the PLC, '<' from it @param line with its end, when it has one
    virtual void linePassed(char direction, const QByteArray &line) = 0;
};

/// The PLC and its conditions are set before a front opens. Used by one thread at a time.
struct PlcService {
    /// Requires: @p plcMemory outlives the service. @param stationNumber 0 to 99
    PlcService(PlcMemory &plcMemory, int stationNumber)
        : memory(plcMemory), station(stationNumber), startNs(DeadlineTimer::nowNs()),
          observer(nullptr), droppedReplies(0), silentUntilNs(0)
    {}

    PlcMemory &memory;
    const int station;
    WireTiming timing;
    WireFormat format; ///< a terminal with other settings hears and says garbage
    LiveValues liveValues;
    const qint64 startNs; ///< of the monotonic clock: when the live values begin
    FaultEngine faults;
    std::mt19937 jitter;    ///< the chance in the reply delay
    LineObserver *observer; ///< null for none; outlives the service

    PlcCounts counts;       ///< of all wires, those that have ended included
    quint64 droppedReplies; ///< that no client fetched, or that a full wire had no room for
    qint64 silentUntilNs;   ///< of the monotonic clock: until then nothing is received
};

#endif
