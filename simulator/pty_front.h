/// The simulated PLC behind a pseudo-terminal, which a client opens like a serial port.
#ifndef SIMULATOR_PTY_FRONT_H
#define SIMULATOR_PTY_FRONT_H

#include "simulator/simulated_plc.h"

#include <QtCore/QObject>
#include <QtCore/QString>

class QSocketNotifier;

/// Serves one line from the event loop of its thread and never blocks. As on a real line, the
/// session outlives a client: the PLC cannot see that one closed the port.
class PtyFront : public QObject
{
    Q_OBJECT
public:
    /// The bytes kept for a client that does not read; a reply beyond them is dropped as a whole.
    enum { MAX_PENDING = 65536 };

    /// Requires: @p memory outlives the front. @param station 0 to 99
    PtyFront(PlcMemory &memory, int station, QObject *parent = nullptr);
    ~PtyFront() override;

    /// Opens a pseudo-terminal without echo and without any translation, and serves it from then
    /// on.
    /// Requires: called once.
    /// @return whether it is open; else @p error tells which step failed and why
    bool open(QString *error);

    /// The device that a client opens, such as /dev/pts/3; empty before open().
    QString path() const { return m_path; }

    PlcCounts counts() const { return m_plc.counts(); }

    /// How many replies have been dropped so far.
    quint64 droppedReplies() const { return m_dropped; }

private:
    Q_DISABLE_COPY(PtyFront)

    bool openTerminal(QString *error);
    void readRequests();
    void send(const QByteArray &reply);
    void writePending();

    SimulatedPlc m_plc;
    int m_master;
    int m_slave; // held open, or a client's close would end the line
    QString m_path;
    QSocketNotifier *m_readable;
    QSocketNotifier *m_writable;
    QByteArray m_pending;
    quint64 m_dropped;
};

#endif
