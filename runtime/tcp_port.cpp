#include "runtime/tcp_port.h"

#include "runtime/descriptor_port.h"

#include <QtCore/QRegularExpression>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QTcpSocket>

#include <cerrno>
#include <mutex>

#include <sys/socket.h>

namespace
{

// Qt finds the host and connects; the bytes go past it.
class TcpPort : public DescriptorPort
{
public:
    bool open(const TcpAddress &address, int timeoutMs, QString *error)
    {
        m_socket.setProxy(QNetworkProxy::NoProxy);
        {
            // Qt registers types without a lock when a connection begins; this does not wait.
            static std::mutex beginning;
            const std::lock_guard<std::mutex> lock(beginning);
            m_socket.connectToHost(address.host, address.port);
        }
        if (!m_socket.waitForConnected(timeoutMs)) {
            *error = m_socket.errorString();
            return false;
        }
        m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        setDescriptor(static_cast<int>(m_socket.socketDescriptor()));
        keepFromEventLoop(m_socket);
        return true;
    }

protected:
    qint64 readSome(char *buffer, int maxLength) override
    {
        return recv(descriptor(), buffer, static_cast<size_t>(maxLength), 0);
    }

    qint64 writeSome(const char *bytes, int length) override
    {
        return send(descriptor(), bytes, static_cast<size_t>(length), MSG_NOSIGNAL);
    }

    // A part of a line cannot be taken back.
    void giveUpOutput() override
    {
        setBroken(QLatin1String("Socket operation timed out"));
        m_socket.abort();
    }

    QString lossText(int error) const override
    {
        return error == 0 || error == ECONNRESET || error == EPIPE
                   ? QLatin1String("The remote host closed the connection")
                   : qt_error_string(error);
    }

private:
    QTcpSocket m_socket;
};

} // namespace

Failure parseTcpAddress(const QString &text, TcpAddress *address)
{
    static const QRegularExpression form(
        QLatin1String("\\A(?:\\[([^\\[\\]]+)\\]|([^:\\[\\]]+)):([0-9]{1,5})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    const int port = match.captured(3).toInt();
    if (!match.hasMatch() || port < 1 || port > 65535)
        return Failure(StatusUsage, QString::fromLatin1("TCP address \"%1\" is not HOST:PORT or "
                                                        "[HOST]:PORT with a port from 1 to 65535")
                                        .arg(text));
    address->host = match.captured(1) + match.captured(2);
    address->port = static_cast<quint16>(port);
    return Failure();
}

Failure parseListenAddress(const QString &text, TcpAddress *address)
{
    static const QRegularExpression form(
        QLatin1String("\\A(?:(?:\\[([^\\]]+)\\]|([^:]+)):)?([0-9]{1,5})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    bool isPort = false;
    const quint16 port = match.captured(3).toUShort(&isPort);
    if (!isPort)
        return Failure(
            StatusUsage,
            QString::fromLatin1("\"%1\" is not [HOST:]PORT with a port from 0 to 65535").arg(text));
    address->host = match.captured(1) + match.captured(2);
    if (address->host.isEmpty())
        address->host = QLatin1String("127.0.0.1");
    address->port = port;
    return Failure();
}

QString tcpAddressText(const QString &host, quint16 port)
{
    const bool isIPv6 = host.contains(QLatin1Char(':'));
    return QString::fromLatin1(isIPv6 ? "[%1]:%2" : "%1:%2").arg(host, QString::number(port));
}

Failure openTcp(const TcpAddress &address, int timeoutMs, std::unique_ptr<Port> *port)
{
    QString error;
    std::unique_ptr<TcpPort> opened(new TcpPort);
    if (!opened->open(address, timeoutMs, &error))
        return Failure(StatusOpen, error);
    *port = std::move(opened);
    return Failure();
}
