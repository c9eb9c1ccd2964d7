#include "simulator/tcp_front.h"

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpSocket>

#include <memory>

namespace
{

const qint64 READ_CHUNK = 4096;

} // namespace

TcpFront::TcpFront(PlcMemory &memory, int station, QObject *parent)
    : QObject(parent), m_memory(memory), m_station(station), m_dropped(0)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpFront::acceptClients);
}

bool TcpFront::listen(const QString &host, quint16 port, QString *error)
{
    QHostAddress address(QHostAddress::LocalHost);
    if (host != QLatin1String("localhost") && !address.setAddress(host)) {
        *error = QString::fromLatin1("\"%1\" is no address to listen at").arg(host);
        return false;
    }
    if (m_server.listen(address, port))
        return true;
    *error = QString::fromLatin1("cannot listen at %1:%2: %3")
                 .arg(host)
                 .arg(port)
                 .arg(m_server.errorString());
    return false;
}

void TcpFront::acceptClients()
{
    while (QTcpSocket *client = m_server.nextPendingConnection()) {
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        // The session lives as long as the connection that holds it.
        const std::shared_ptr<SimulatedPlc> plc =
            std::make_shared<SimulatedPlc>(m_memory, m_station);
        connect(client, &QTcpSocket::readyRead, this,
                [this, client, plc]() { serve(client, plc.get()); });
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    }
}

void TcpFront::serve(QTcpSocket *client, SimulatedPlc *plc)
{
    while (client->bytesAvailable() > 0) {
        plc->append(client->read(READ_CHUNK));
        const PlcCounts before = plc->counts();
        QByteArray reply;
        while (plc->takeReply(&reply)) {
            if (client->bytesToWrite() + reply.size() > MAX_PENDING)
                ++m_dropped;
            else
                client->write(reply);
        }
        m_counts.add(plc->counts().since(before));
    }
}
