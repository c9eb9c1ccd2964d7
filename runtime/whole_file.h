/// Files that are read, and written, whole or not at all.
#ifndef RUNTIME_WHOLE_FILE_H
#define RUNTIME_WHOLE_FILE_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

class QFile;
class QFileDevice;

/// Reads a file of at most 64 MiB. @return StatusOpen with the reason
Failure readWholeFile(const QString &path, QByteArray *content);

/// Opens a file for reading, or the standard input where it is named "-".
/// @return whether that succeeded; else the file has the reason
bool openInput(const QString &path, QFile *file);

/// Writes a temporary file that then takes the place of @p path.
/// @return StatusOpen with the reason; the file is then what it was before
Failure writeWholeFile(const QString &path, const QByteArray &content);

/// Whether `writeWholeFile` can begin. A device or a pipe is refused: it would give way to a plain
/// file of that name, /dev/null among them.
Failure checkWholeFile(const QString &path);

/// Writes all bytes to an open file. A file system that is nearly full takes a part, and gives the
/// reason only when it gets the rest.
bool writeAllBytes(const QByteArray &bytes, QFileDevice *file);

/// "cannot write PATH: REASON". @return StatusOpen
Failure cannotWrite(const QFileDevice &file, const QString &reason);

#endif
