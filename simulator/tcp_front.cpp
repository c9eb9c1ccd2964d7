#include "simulator/tcp_front.h"

#include "simulator/reply_scheduler.h"

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpSocket>

namespace
{

// What one client may send before it is the others' turn: the socket holds no more, and the event
// loop asks each socket once a round.
const qint64 READ_BUFFER_SIZE = 4096;

// One client and the PLC's wire to it, which lives as long as the connection.
class TcpWire : public QObject, private ReplySink
{
public:
    TcpWire(QTcpSocket *client, PlcService &service)
        : QObject(client), m_client(*client), m_scheduler(service, *this)
    {
        client->setReadBufferSize(READ_BUFFER_SIZE);
        connect(client, &QTcpSocket::readyRead, this,
                [this]() { m_scheduler.receive(m_client.readAll()); });
    }

    bool isValid() const { return m_scheduler.isValid(); }

private:
    void send(const QByteArray &bytes) override
    {
        if (!m_client.isOpen())
            return; // the client has gone, with replies still to come
        m_client.write(bytes);
        // Not left to the event loop: a paced character is to leave now.
        m_client.flush();
    }

    int pendingBytes() const override { return static_cast<int>(m_client.bytesToWrite()); }

    bool closeConnection() override
    {
        m_client.disconnectFromHost();
        return true;
    }

    QTcpSocket &m_client;
    ReplyScheduler m_scheduler;
};

} // namespace

TcpFront::TcpFront(PlcMemory &memory, int station, QObject *parent)
    : QObject(parent), m_ownService(new PlcService(memory, station)), m_service(*m_ownService)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpFront::acceptClients);
}

TcpFront::TcpFront(PlcService &service, QObject *parent) : QObject(parent), m_service(service)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpFront::acceptClients);
}

bool TcpFront::listen(const QString &host, quint16 port, QString *error)
{
    QHostAddress address(QHostAddress::LocalHost);
    if (host != QLatin1String("localhost") && !address.setAddress(host)) {
        *error = QString::fromLatin1("\"%1\": expected an address of this machine or localhost")
                     .arg(host);
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
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        const TcpWire *wire = new TcpWire(client, m_service);
        if (!wire->isValid())
            client->disconnectFromHost();
    }
}
