#include "runtime/port_error.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtNetwork/QAbstractSocket>
#include <QtSerialPort/QSerialPort>

namespace
{

// A port that we may open and yet may not use is in somebody else's hands.
bool isTaken(const QSerialPort &port)
{
    const QFileInfo file(QDir(QLatin1String("/dev")).filePath(port.portName()));
    return port.error() == QSerialPort::PermissionError && file.isReadable() && file.isWritable();
}

} // namespace

QString portErrorText(const QIODevice &port)
{
    const QSerialPort *serial = qobject_cast<const QSerialPort *>(&port);
    if (serial && isTaken(*serial))
        return QLatin1String("another process uses it");
    return port.errorString();
}

QString brokenPortText(const QIODevice &port)
{
    const QSerialPort *serial = qobject_cast<const QSerialPort *>(&port);
    if (serial &&
        (serial->error() == QSerialPort::NoError || serial->error() == QSerialPort::TimeoutError))
        return QString();
    // Whatever Qt says then comes from an error number that may be an old one.
    if (serial)
        return QLatin1String("the port is gone or broken");
    const QAbstractSocket *socket = qobject_cast<const QAbstractSocket *>(&port);
    if (!socket || socket->state() == QAbstractSocket::ConnectedState)
        return QString();
    return portErrorText(port);
}
