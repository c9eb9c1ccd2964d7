/// The simulated PLC as kvsim's options describe it.
#ifndef APPS_KVSIM_SIMULATION_H
#define APPS_KVSIM_SIMULATION_H

#include "apps/kvsim/kvsim_options.h"
#include "runtime/failure.h"
#include "simulator/plc_service.h"

/// A PLC with its memory, and the files that it comes from and goes to.
class Simulation
{
public:
    /// @param options outlive the simulation
    explicit Simulation(const KvsimOptions &options);

    /// Requires: called once, before the PLC is served.
    /// @return StatusUsage with the option or the file's line that is wrong; StatusOpen with the
    ///         file that cannot be used
    Failure prepare();

    PlcService &service() { return m_service; }

    /// Writes the memory to the file that the options name, if any. The file is replaced as a whole
    /// or stays as it is.
    /// @return StatusOpen when it cannot be written
    Failure save();

private:
    Q_DISABLE_COPY(Simulation)

    Failure loadMemory();
    Failure planFaults();
    Failure setFormat();
    Failure checkSaving() const;

    const KvsimOptions &m_options;
    PlcMemory m_memory;
    PlcService m_service;
};

#endif
