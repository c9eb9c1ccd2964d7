/// The simulated PLC as kvsim's options describe it.
#ifndef APPS_KVSIM_SIMULATION_H
#define APPS_KVSIM_SIMULATION_H

#include "apps/kvsim/kvsim_options.h"
#include "simulator/plc_service.h"

/// A PLC with its memory, and the files that it comes from and goes to.
class Simulation
{
public:
    explicit Simulation(const KvsimOptions &options);

    /// Requires: called once, before the PLC is served.
    /// @return KVSIM_OK; else @p error says which option or file is wrong and why
    KvsimExit prepare(QString *error);

    PlcService &service() { return m_service; }

    /// Writes the memory to the file that the options name, if any. The file is replaced as a whole
    /// or stays as it is.
    /// @return whether that went well; else @p error says why not
    bool save(QString *error);

private:
    Q_DISABLE_COPY(Simulation)

    KvsimExit loadMemory(QString *error);
    KvsimExit planFaults(QString *error);
    bool canSave(QString *error) const;

    const KvsimOptions &m_options;
    PlcMemory m_memory;
    PlcService m_service;
};

#endif
