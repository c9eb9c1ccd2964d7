/// The simulated PLC behind a pseudo-terminal, which a client opens like a serial port.
#ifndef SIMULATOR_PTY_FRONT_H
#define SIMULATOR_PTY_FRONT_H

#include "simulator/reply_scheduler.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

class QSocketNotifier;

/// Serves one wire from the event loop of its thread and never blocks. As on a real wire, the open
/// communication outlives a client: the PLC cannot see that one closed the port.
class PtyFront : public QObject, private ReplySink
{
    Q_OBJECT
public:
    /// A front to a faultless PLC on a wire that takes no time. Requires: @p memory outlives the
    /// front. @param station 0 to 99
    PtyFront(PlcMemory &memory, int station, QObject *parent = nullptr);

    /// Requires: @p service outlives the front.
    explicit PtyFront(PlcService &service, QObject *parent = nullptr);
    ~PtyFront() override;

    /// Opens a pseudo-terminal without echo and without any translation, and serves it from then
    /// on.
    /// Requires: called once.
    /// @return whether it is open; else @p error says which step failed and why
    bool open(QString *error);

    /// The device that a client opens, such as /dev/pts/3; empty before open().
    QString path() const { return m_path; }

    PlcCounts counts() const { return m_service.counts; }

    /// How many replies have been dropped so far.
    quint64 droppedReplies() const { return m_service.droppedReplies; }

private:
    Q_DISABLE_COPY(PtyFront)

    bool openTerminal(QString *error);
    QByteArray carried(const QByteArray &bytes, bool isReply) const;
    void readRequests();
    void writePending();

    void send(const QByteArray &bytes) override;
    int pendingBytes() const override;
    bool closeConnection() override;

    const std::unique_ptr<PlcService> m_ownService; // null for a service of the caller
    PlcService &m_service;
    ReplyScheduler m_scheduler;
    int m_master;
    int m_slave; // held open, or a client's close would end the wire
    QString m_path;
    QSocketNotifier *m_readable;
    QSocketNotifier *m_writable;
    QByteArray m_pending;
};

#endif
