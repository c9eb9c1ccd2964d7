/// Samples that wait for their reader in a file, which outlives the program.
#ifndef RUNTIME_SAMPLE_SPOOL_H
#define RUNTIME_SAMPLE_SPOOL_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QMutex>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtCore/QWaitCondition>
#include <QtSql/QSqlDatabase>

/// The rows of a sample, and its number: a later sample has a higher one.
struct SpooledSample {
    qint64 number;
    QByteArray rows;
};

/// What a spool holds and held.
struct SpoolCounts {
    qint64 waiting; ///< samples in it
    qint64 bytes;   ///< of their rows
    qint64 dropped; ///< oldest samples that have made room for others since it was opened
};

/// A bounded queue of samples in an SQLite file. What is in it stays there until it is taken, also
/// when the program is killed or the power fails. Threads may append to it, and one may read it at the
/// same time, by a `SpoolReader`.
class SampleSpool
{
public:
    /// @param maxBytes of all rows; the newest sample and those given to the reader stay in any case
    SampleSpool(const QString &file, qint64 maxBytes);
    ~SampleSpool();

    /// Opens the file, or makes it. Requires: not open.
    /// @return StatusOpen when another process uses it, it is damaged or no spool, or it cannot be
    ///         written; then it is as it was
    Failure open();

    /// Keeps a sample; it is on the disk on return. Drops the oldest ones that are in its way.
    /// @return StatusOpen when it cannot be written; then the spool is as it was
    Failure append(const QByteArray &rows);

    /// Ends a wait of the reader, the present one or the next, without samples. Any thread may call.
    void wake();

    /// From any thread.
    SpoolCounts counts() const;

    const QString &file() const { return m_file; }

private:
    Q_DISABLE_COPY(SampleSpool)
    friend class SpoolReader;

    Failure lock();
    Failure connect(QSqlDatabase *database);
    Failure claim(QSqlDatabase &database, bool *isSpool);
    Failure makeSchema(QSqlDatabase &database);
    Failure check(const QSqlDatabase &database);
    Failure useWal(const QSqlDatabase &database);
    Failure loadCounts(QSqlDatabase &database);
    Failure store(QSqlDatabase &database, const QByteArray &rows, SpoolCounts *counts);
    Failure reserve(QSqlDatabase &database, qint64 bytes);
    Failure reserveWal(qint64 bytes);
    Failure makeRoom(QSqlDatabase &database, qint64 bytes, SpoolCounts *counts);
    Failure failure(const char *what, const QString &why) const;

    const QString m_file;
    const qint64 m_maxBytes;
    int m_lock;             // the file, as SQLite's own locks end with each statement; -1: not open
    mutable QMutex m_mutex; // of all below, and of writing
    QStringList m_connections;
    QWaitCondition m_hasMore;
    bool m_isWoken; // and has not noticed it yet
    SpoolCounts m_counts;
    qint64 m_last;     // number of the newest sample
    qint64 m_given;    // of the newest one that the reader has got
    qint64 m_walBytes; // reserved in FILE-wal
};

/// The reading end of an open spool, for one thread, which makes and destroys it.
class SpoolReader
{
public:
    /// Begins with the oldest sample. Requires: the spool is open and outlives the reader.
    explicit SpoolReader(SampleSpool &spool);
    ~SpoolReader();

    /// Waits for samples behind those that it gave before, and gives them. They stay in the spool.
    /// @param maxBytes of their rows; one sample may have more
    /// @param waitMs   at most so long, in milliseconds
    /// @param samples  gets them in order; none after that time or `wake`
    /// @return StatusOpen when the file cannot be read
    Failure next(qint64 maxBytes, int waitMs, QVector<SpooledSample> *samples);

    /// Removes the samples up to one that `next` gave. A few at a time have room on a full disk.
    /// @return StatusOpen when the file cannot be written; a later call removes them, too
    Failure take(qint64 number);

private:
    Q_DISABLE_COPY(SpoolReader)

    Failure open();

    SampleSpool &m_spool;
    QSqlDatabase m_database;
};

#endif
