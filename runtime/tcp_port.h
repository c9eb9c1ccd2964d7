/// TCP connections, to a PLC behind a serial device server.
#ifndef RUNTIME_TCP_PORT_H
#define RUNTIME_TCP_PORT_H

#include "runtime/failure.h"
#include "runtime/port.h"

#include <QtCore/QString>

#include <memory>

/// Where to connect to.
struct TcpAddress {
    QString host; ///< name or address, an IPv6 address without its brackets
    quint16 port = 0;
};

/// Reads the text "HOST:PORT", or "[HOST]:PORT" for an IPv6 address. PORT is a decimal number from
/// 1 to 65535.
/// @param address is changed only on success
/// @return StatusUsage for another text
Failure parseTcpAddress(const QString &text, TcpAddress *address);

/// Reads the text "[HOST:]PORT" of a place to listen at, where 0 is any free port and 127.0.0.1 the
/// host that is left out. An IPv6 address stands in brackets.
/// @param address is changed only on success
/// @return StatusUsage for another text
Failure parseListenAddress(const QString &text, TcpAddress *address);

/// @return "HOST:PORT", with brackets around an IPv6 address
QString tcpAddressText(const QString &host, quint16 port);

/// Connects, with small packets sent at once. Requires: no event loop runs in the port's thread.
/// @param timeoutMs how long to wait for the connection, in milliseconds
/// @param port      gets the connection
/// @return StatusOpen: host not found, refused, no answer in time
Failure openTcp(const TcpAddress &address, int timeoutMs, std::unique_ptr<Port> *port);

#endif
