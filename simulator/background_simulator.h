/// A simulated PLC inside another program, in a thread of its own.
#ifndef SIMULATOR_BACKGROUND_SIMULATOR_H
#define SIMULATOR_BACKGROUND_SIMULATOR_H

#include "simulator/plc_memory.h"

#include <QtCore/QString>

#include <memory>

/// Serves a pseudo-terminal from start() to its own end, whatever the starting thread does
/// meanwhile: that thread may block on the wire, and needs no event loop.
class BackgroundSimulator
{
public:
    /// @param station 0 to 99
    explicit BackgroundSimulator(int station = 0);

    /// Stops serving and waits for the thread's end.
    ~BackgroundSimulator();

    /// The devices, to set them beforehand. Requires: not called after a successful start().
    PlcMemory &memory() { return m_memory; }

    /// Opens the pseudo-terminal and serves it. Requires: has not succeeded before.
    /// @return whether it serves; else @p error says why not
    bool start(QString *error);

    /// The device that a client opens, such as /dev/pts/3; empty before a successful start().
    QString path() const { return m_path; }

private:
    Q_DISABLE_COPY(BackgroundSimulator)
    class Server;

    const int m_station;
    PlcMemory m_memory;
    QString m_path;
    std::unique_ptr<Server> m_server;
};

#endif
