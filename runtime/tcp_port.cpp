#include "runtime/tcp_port.h"

#include "runtime/port_error.h"

#include <QtCore/QRegularExpression>
#include <QtNetwork/QNetworkProxy>

bool parseTcpAddress(const QString &text, TcpAddress *address, QString *error)
{
    static const QRegularExpression form(
        QLatin1String("\\A(?:\\[([^\\[\\]]+)\\]|([^:\\[\\]]+)):([0-9]{1,5})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    const int port = match.captured(3).toInt();
    if (!match.hasMatch() || port < 1 || port > 65535) {
        *error =
            QString::fromLatin1("TCP address \"%1\" is not HOST:PORT or [HOST]:PORT with a port "
                                "from 1 to 65535")
                .arg(text);
        return false;
    }
    address->host = match.captured(1) + match.captured(2);
    address->port = static_cast<quint16>(port);
    return true;
}

std::unique_ptr<QTcpSocket> openTcp(const TcpAddress &address, int timeoutMs, QString *error)
{
    std::unique_ptr<QTcpSocket> socket(new QTcpSocket);
    socket->setProxy(QNetworkProxy::NoProxy);
    socket->connectToHost(address.host, address.port);
    if (!socket->waitForConnected(timeoutMs)) {
        *error = portErrorText(*socket);
        return nullptr;
    }
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    return socket;
}
