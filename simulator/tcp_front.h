/// The simulated PLC behind a TCP port.
#ifndef SIMULATOR_TCP_FRONT_H
#define SIMULATOR_TCP_FRONT_H

#include "simulator/plc_service.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtNetwork/QTcpServer>

#include <memory>

/// Serves any number of clients from the event loop of its thread, each a little at a time, and
/// never blocks. All of them see the same devices, but each has a wire of its own.
class TcpFront : public QObject
{
    Q_OBJECT
public:
    /// A front to a faultless PLC on wires that take no time. Requires: @p memory outlives the
    /// front. @param station 0 to 99
    TcpFront(PlcMemory &memory, int station, QObject *parent = nullptr);

    /// Requires: @p service outlives the front.
    explicit TcpFront(PlcService &service, QObject *parent = nullptr);

    /// Listens from then on. @param host an address as text, or localhost
    /// @param port 0 takes any free port
    /// @return whether it listens; else @p error says why not
    bool listen(const QString &host, quint16 port, QString *error);

    /// The port in use; 0 before listen().
    quint16 port() const { return m_server.serverPort(); }

    /// Of all clients, those that have left included.
    PlcCounts counts() const { return m_service.counts; }

    /// How many replies have been dropped so far.
    quint64 droppedReplies() const { return m_service.droppedReplies; }

private:
    Q_DISABLE_COPY(TcpFront)

    void acceptClients();

    const std::unique_ptr<PlcService> m_ownService; // null for a service of the caller
    PlcService &m_service;
    QTcpServer m_server;
};

#endif
