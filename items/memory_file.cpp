#include "items/memory_file.h"

#include "runtime/whole_file.h"
#include "simulator/image_rows.h"

#include <cerrno>

#include <sys/file.h>

namespace
{

// The first line of a part, which says what it is a part of.
QByteArray partTitle(const QVector<MemoryRun> &runs)
{
    QByteArray title = "part of";
    for (const MemoryRun &run : runs)
        title += ' ' + runText(run).toLatin1();
    return title + '\n';
}

} // namespace

Failure loadMemoryFile(const QString &path, QVector<MemoryRun> *runs)
{
    QByteArray image;
    Failure failure = readWholeFile(path, &image);
    if (!failure)
        failure = parseMemoryImage(image, runs);
    return failure.status() == StatusUsage
               ? Failure(StatusUsage, path + QLatin1String(": ") + failure.text())
               : failure;
}

MemoryFile::MemoryFile(const QString &path, const QVector<MemoryRun> &runs)
    : m_path(path), m_runs(runs), m_rest(runs), m_image(plcImageHeader())
{}

Failure MemoryFile::begin(bool resume)
{
    if (m_path.isEmpty())
        return Failure();
    if (Failure failure = checkWholeFile(m_path))
        return failure;
    m_part.setFileName(m_path + QLatin1String(".part"));
    if (!m_part.open(QIODevice::ReadWrite))
        return cannotWrite(m_part, m_part.errorString());
    // Some file systems have no locks.
    if (flock(m_part.handle(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return cannotWrite(m_part,
                           QLatin1String("another dump writes it: wait for its end, or name "
                                         "another file"));
    const QByteArray title = partTitle(m_runs);
    if (resume && m_part.size() > 0) {
        if (Failure failure = takePart(title))
            return failure;
    }
    // What is kept is not written again: the disk may be full.
    const qint64 kept = cellCount(m_rest) == cellCount(m_runs) ? 0 : title.size() + m_image.size();
    if (m_part.resize(kept) && m_part.seek(kept) &&
        (kept > 0 || writeAllBytes(title + m_image, &m_part)) && m_part.flush())
        return Failure();
    return cannotWrite(m_part, m_part.errorString());
}

Failure MemoryFile::takePart(const QByteArray &title)
{
    QByteArray content;
    if (Failure failure = readWholeFile(m_part.fileName(), &content))
        return failure;
    // The last line may be cut off.
    const QByteArray image =
        content.mid(title.size(), content.lastIndexOf('\n') + 1 - title.size());
    QVector<MemoryRun> done;
    if (!content.startsWith(title) || parseMemoryImage(image, &done))
        return Failure(StatusUsage,
                       QString::fromLatin1("%1 is not of a dump of the same ranges: give those, or "
                                           "leave --resume out to begin anew")
                           .arg(m_part.fileName()));
    m_image = image;
    m_rest = without(m_runs, done);
    return Failure();
}

Failure MemoryFile::append(const MemoryRun &run)
{
    const QByteArray rows = imageRows(run);
    m_image += rows;
    if (m_path.isEmpty() || (writeAllBytes(rows, &m_part) && m_part.flush()))
        return Failure();
    return cannotWrite(m_part, m_part.errorString());
}

Failure MemoryFile::finish()
{
    if (m_path.isEmpty())
        return Failure();
    Failure failure = writeWholeFile(m_path, m_image);
    if (!failure)
        discard();
    return failure;
}

void MemoryFile::discard()
{
    if (!m_path.isEmpty())
        m_part.remove();
}
