/// The errors of serial ports and sockets as text.
#ifndef RUNTIME_PORT_ERROR_H
#define RUNTIME_PORT_ERROR_H

#include <QtCore/QString>

class QIODevice;

/// @return why the latest operation on @p port failed, for people; "another process uses it" for a
///         serial port that is locked or taken
QString portErrorText(const QIODevice &port);

/// @return the same text when the port itself is broken (unplugged, closed by its peer), empty when
///         it works and at most nothing arrived in time
QString brokenPortText(const QIODevice &port);

#endif
