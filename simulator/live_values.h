/// Devices of the simulated PLC whose values change by themselves.
#ifndef SIMULATOR_LIVE_VALUES_H
#define SIMULATOR_LIVE_VALUES_H

#include "simulator/plc_memory.h"

#include <QtCore/QByteArray>

#include <vector>

/// A list of devices with a function of time each. It has no clock: the devices are refreshed
/// before each request is answered, so that a value written to one of them lasts to the next
/// request.
class LiveValues
{
public:
    /// Adds a device by text: DM100=counter:STEP,MS adds STEP every MS and begins again
    /// above the device's range; ramp:MIN,MAX,MS climbs evenly and falls back;
    /// sine:MIN,MAX,MS swings. MS is in milliseconds, the device is named as for
    /// PlcMemory::assign().
    /// @return whether it was added; else @p error says in English why not
    bool add(const QByteArray &text, QByteArray *error);

    /// Sets the devices to their values @p elapsedMs milliseconds after the start. Requires: it is
    /// not negative.
    void refresh(qint64 elapsedMs, PlcMemory *memory) const;

    bool isEmpty() const { return m_values.empty(); }

private:
    enum Shape { COUNTER, RAMP, SINE };

    struct LiveValue {
        PlcPoint point;
        Shape shape;
        quint32 low; // a counter's step
        quint32 high;
        quint32 periodMs;
    };

    static bool parseShape(const QByteArray &text, LiveValue *value);
    static quint32 valueAt(const LiveValue &value, qint64 elapsedMs);

    std::vector<LiveValue> m_values;
};

#endif
