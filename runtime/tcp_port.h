/// TCP connections, to a PLC behind a serial device server.
#ifndef RUNTIME_TCP_PORT_H
#define RUNTIME_TCP_PORT_H

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
/// @return true, or false with the reason in @p error; @p address is changed only on success
bool parseTcpAddress(const QString &text, TcpAddress *address, QString *error);

/// Connects, with small packets sent at once.
/// @param timeoutMs how long to wait for the connection, in milliseconds
/// @param error     gets the reason of a failure: host not found, refused, no answer in time
/// @return the connection; null on failure. Requires: no event loop runs in its thread.
std::unique_ptr<Port> openTcp(const TcpAddress &address, int timeoutMs, QString *error);

#endif
