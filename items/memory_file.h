/// The file of a dump, which is written whole or not at all.
#ifndef ITEMS_MEMORY_FILE_H
#define ITEMS_MEMORY_FILE_H

#include "items/memory_runs.h"

#include <QtCore/QFile>

/// Reads a memory image. @return StatusOpen, or StatusUsage with file, line and column
Failure loadMemoryFile(const QString &path, QVector<MemoryRun> *runs);

/// What a dump has read goes to the file FILE.part first, from which a later dump can go on.
class MemoryFile
{
public:
    /// @param path the file to write; empty to keep all rows in memory
    MemoryFile(const QString &path, const QVector<MemoryRun> &runs);

    /// Begins the part. @param resume whether to go on with the part of an earlier dump, if there
    /// is one @return StatusUsage when that is of other ranges, StatusOpen when it cannot be used
    Failure begin(bool resume);

    /// What the part lacks.
    const QVector<MemoryRun> &rest() const { return m_rest; }

    /// Adds a run with values. The next program finds it in the part even if this one is killed.
    Failure append(const MemoryRun &run);

    /// Writes the file, and removes the part.
    Failure finish();

    /// Removes the part.
    void discard();

    /// The image so far.
    const QByteArray &image() const { return m_image; }

    /// The name of the part; empty where there is none.
    QString partName() const { return m_part.fileName(); }

private:
    Failure takePart(const QByteArray &title);

    const QString m_path;
    const QVector<MemoryRun> m_runs;
    QVector<MemoryRun> m_rest;
    QFile m_part;
    QByteArray m_image;
};

#endif
