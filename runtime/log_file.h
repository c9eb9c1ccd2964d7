/// A log file that grows by whole records, also when others move it away or its disk is full.
#ifndef RUNTIME_LOG_FILE_H
#define RUNTIME_LOG_FILE_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

struct stat;

/// When a log begins a new file.
struct LogRotation {
    bool isDaily = false; ///< with the first record of a day
    qint64 maxBytes = 0;  ///< before a record that makes the file longer; 0 for no limit
};

/// Appends records to the file of a name. A file that is no longer there under its name, as a log
/// rotation has moved it away or deleted it, is made anew. A rotation of this class renames the file
/// by the day of its last record, and never replaces one: log.csv becomes log-2026-11-23.csv, the
/// next one of that day log-2026-11-23.2.csv.
class LogFile
{
public:
    /// @param path   as the system has it
    /// @param header what each file begins with, up to its line end; empty for nothing
    LogFile(const QByteArray &path, const QByteArray &header, const LogRotation &rotation);
    ~LogFile();

    /// Opens the file, or makes it.
    /// @return StatusOpen when it cannot be written or rotated, or begins with another header
    Failure open();

    /// Appends a record, after the rotation or the header that is due.
    /// @param day    the record's local day, such as 2026-11-23
    /// @param record whole lines
    /// @return StatusOpen; then the file holds nothing of the record
    Failure append(const QByteArray &day, const QByteArray &record);

    /// Whether the latest record is the first one of its file.
    bool hasBegun() const { return m_hasBegun; }

private:
    Q_DISABLE_COPY(LogFile)

    void close();
    Failure checkPlace(const struct stat &file) const;
    Failure checkBeginning(const struct stat &file);
    bool isInPlace(struct stat *file) const;
    Failure rotate();
    Failure systemFailure(const char *what) const;

    const QByteArray m_path;
    const QByteArray m_header;
    const LogRotation m_rotation;
    int m_file;           // -1: not open
    QByteArray m_missing; // what has to precede the next record
    QByteArray m_day;     // of the last record; empty without any
    bool m_hasBegun;
};

#endif
