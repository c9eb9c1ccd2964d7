/// @file
/// The device at the other end of the wire, as a test plays it.
#ifndef TESTKIT_SIMULATED_DEVICE_H
#define TESTKIT_SIMULATED_DEVICE_H

#include <QtCore/QByteArray>

/// Answers in memory (`AnsweringChannel`, `DriverTrial`) or over TCP (`serveOverTcp`).
class SimulatedDevice
{
public:
    virtual ~SimulatedDevice() {}

    /// Takes what came over the wire and answers it.
    /// @param bytes part of a line, a line or several: over TCP nothing keeps lines apart
    /// @return the reply, or replies; empty for none
    virtual QByteArray receive(const QByteArray &bytes) = 0;

    /// Puts the device back to what it was at first, before each run of a trial.
    virtual void reset() {}

    /// What writes have left behind, in any form that differs when the device does. A trial tells
    /// by it a write that the device took from one that only the driver believes in.
    virtual QByteArray state() { return QByteArray(); }
};

#endif
