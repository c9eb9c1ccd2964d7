/// @file
/// A driver's requests over a wire that does every fault to every reply.
#ifndef TESTKIT_DRIVER_TRIAL_H
#define TESTKIT_DRIVER_TRIAL_H

#include "drivers/communicator_command.h"
#include "testkit/wire_faults.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

class DriverInterface;
class SimulatedDevice;

/// A request that succeeds on a sound wire.
struct TrialRequest {
    const char *name;    ///< of the row, for people
    CommandKind kind;    ///< width of the items
    quint32 count;       ///< number of items
    const char *address; ///< device address text
    bool isWrite;        ///< else it reads
    QByteArray data;     ///< to write, or what a read gives; not empty
};

/// Checks what the contract asks of every driver. Under each fault at each reply, without and with
/// a further attempt, a request
/// - ends within a number of calls to the channel, and asks for no read without room;
/// - either succeeds and is right, or gives an empty result (0 from a write), sets the error flag
///   and leaves a text; with a further attempt it succeeds after a reply that is lost;
/// - gives as many bytes as on the sound wire;
/// - asks for the further attempts only after one that failed;
/// - leaves nothing behind: the same request on the sound wire after it is right again.
///
/// Replies that are too long fill the whole room that a read asks for, so that the address
/// sanitizer sees a read that is larger than its buffer. A QtTest runs the trial with two slots:
///
///     void standsEachFault_data() { m_trial.addRows(); }
///     void standsEachFault() { m_trial.check(); }
class DriverTrial
{
public:
    /// Requires: all three outlive the trial.
    template <size_t COUNT>
    DriverTrial(DriverInterface &driver, SimulatedDevice &device,
                const TrialRequest (&requests)[COUNT])
        : maxCalls(5000), station(0), m_driver(driver), m_device(device), m_requests(requests),
          m_requestCount(static_cast<int>(COUNT)), m_faultsDone(0)
    {}

    /// Names of faults that may make another good reply of a good one, as the protocol has nothing
    /// that shows it: a success with a wrong value then passes. Empty at first.
    QList<QByteArray> mayForge;

    int maxCalls; ///< most calls to the channel that a request may take; 5000 at first
    int station;  ///< that the channel gives; 0 at first

    /// Adds a row for each request and fault to a QtTest.
    void addRows() const;

    /// Runs the row, and fails it where something is wrong. Requires: a test slot of `addRows`.
    void check();

    /// Runs one request through one fault.
    /// @param request its number, from 0
    /// @param fault   of `wireFaults`, or one's own
    /// @return the first thing that is wrong; empty for nothing
    QByteArray tryFault(int request, const WireFault &fault);

    /// How many faults were done in all runs so far.
    int faultsDone() const { return m_faultsDone; }

private:
    struct Wire;
    struct Sound;

    QByteArray soundRun(const TrialRequest &request, Sound *sound);
    QByteArray damagedRun(const TrialRequest &request, const Sound &sound, const WireFault &fault,
                          int reply, int variant, int retries, bool mustSucceed);
    QByteArray outcome(const TrialRequest &request, Wire &wire, const QByteArray &state,
                       bool mustSucceed, bool mayBeWrong);

    DriverInterface &m_driver;
    SimulatedDevice &m_device;
    const TrialRequest *m_requests;
    const int m_requestCount;
    int m_faultsDone;
};

#endif
