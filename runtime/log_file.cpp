#include "runtime/log_file.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// @return false with errno when not all could be written
bool writeAll(int file, const QByteArray &bytes)
{
    for (int done = 0; done < bytes.size();) {
        const ssize_t count =
            write(file, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            return false;
        done += static_cast<int>(qMax<ssize_t>(0, count));
    }
    return true;
}

QByteArray readAt(int file, qint64 offset, int length)
{
    QByteArray bytes(length, '\0');
    const ssize_t count = pread64(file, bytes.data(), static_cast<size_t>(length), offset);
    return bytes.left(static_cast<int>(qMax<ssize_t>(0, count)));
}

QByteArray dayOf(const struct stat &file)
{
    return QDateTime::fromSecsSinceEpoch(file.st_mtim.tv_sec)
        .date()
        .toString(Qt::ISODate)
        .toLatin1();
}

// The file that a path leads to: of a symbolic link the file is rotated, not the link.
QByteArray resolved(const QByteArray &path)
{
    char place[PATH_MAX];
    return realpath(path.constData(), place) ? QByteArray(place) : path;
}

// Where the ending of a path's file name begins; the path's end when it has none.
int endingAt(const QByteArray &path)
{
    const int dot = path.lastIndexOf('.');
    return dot > path.lastIndexOf('/') + 1 ? dot : path.size();
}

// Renames, but replaces no file. Not all file systems can see to that by themselves.
bool renameToNew(const QByteArray &from, const QByteArray &to)
{
    if (renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    struct stat found;
    if (errno == EINVAL && lstat(to.constData(), &found) == 0)
        errno = EEXIST;
    return errno == EINVAL && std::rename(from.constData(), to.constData()) == 0;
}

} // namespace

LogFile::LogFile(const QByteArray &path, const QByteArray &header, const LogRotation &rotation)
    : m_path(path), m_header(header), m_rotation(rotation), m_file(-1), m_hasBegun(false)
{}

LogFile::~LogFile()
{
    close();
}

void LogFile::close()
{
    if (m_file >= 0)
        ::close(m_file);
    m_file = -1;
}

// Requires: the failure is the system's latest.
Failure LogFile::systemFailure(const char *what) const
{
    return Failure(StatusOpen, QString::fromLatin1("cannot %1 the log %2: %3")
                                   .arg(QLatin1String(what), QFile::decodeName(m_path),
                                        qt_error_string(errno)));
}

Failure LogFile::open()
{
    close();
    m_file = ::open(m_path.constData(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    struct stat file;
    if (m_file < 0 || fstat(m_file, &file) != 0)
        return systemFailure("open");
    Failure failure = checkPlace(file);
    if (!failure)
        failure = checkBeginning(file);
    if (failure)
        close();
    return failure;
}

// A pipe that nobody empties would stop the program. What a rotation will need is asked for now, not
// at midnight.
Failure LogFile::checkPlace(const struct stat &file) const
{
    if (S_ISFIFO(file.st_mode))
        return Failure(StatusOpen,
                       QString::fromLatin1("cannot write the log %1: it is a pipe; leave "
                                           "--output out, and redirect the standard "
                                           "output to it")
                           .arg(QFile::decodeName(m_path)));
    if (!m_rotation.isDaily && m_rotation.maxBytes == 0)
        return Failure();
    if (!S_ISREG(file.st_mode))
        return Failure(StatusOpen, QString::fromLatin1("cannot rotate the log %1: expected a "
                                                       "regular file")
                                       .arg(QFile::decodeName(m_path)));
    const QByteArray path = resolved(m_path);
    const QByteArray folder = path.left(path.lastIndexOf('/') + 1) + '.';
    return access(folder.constData(), W_OK) == 0 ? Failure() : systemFailure("rotate");
}

Failure LogFile::checkBeginning(const struct stat &file)
{
    m_day.clear();
    m_missing = m_header;
    if (!S_ISREG(file.st_mode) || file.st_size == 0)
        return Failure();
    const QByteArray csvBeginning = "time,";
    if (m_header.isEmpty() && readAt(m_file, 0, csvBeginning.size()) == csvBeginning)
        return Failure(StatusOpen,
                       QString::fromLatin1("cannot append to the log %1: it is CSV; name "
                                           "another file or format, or move it away")
                           .arg(QFile::decodeName(m_path)));
    if (readAt(m_file, 0, m_header.size()) != m_header)
        return Failure(StatusOpen,
                       QString::fromLatin1("cannot append to the log %1: its first line is not "
                                           "\"%2\"; name another file, or move it away")
                           .arg(QFile::decodeName(m_path), QString::fromUtf8(m_header).trimmed()));
    m_day = dayOf(file);
    // The last record may have been cut off with the power.
    m_missing = readAt(m_file, file.st_size - 1, 1) == "\n" ? "" : "\n";
    return Failure();
}

bool LogFile::isInPlace(struct stat *file) const
{
    struct stat named;
    return m_file >= 0 && fstat(m_file, file) == 0 && stat(m_path.constData(), &named) == 0 &&
           named.st_dev == file->st_dev && named.st_ino == file->st_ino;
}

Failure LogFile::append(const QByteArray &day, const QByteArray &record)
{
    struct stat file;
    if (!isInPlace(&file)) {
        Failure failure = open();
        if (failure || fstat(m_file, &file) != 0)
            return failure ? failure : systemFailure("open");
    }
    const bool isRegular = S_ISREG(file.st_mode);
    const bool isFull =
        m_rotation.maxBytes > 0 && file.st_size + record.size() > m_rotation.maxBytes;
    if (file.st_size > m_header.size() && (isFull || (m_rotation.isDaily && day != m_day))) {
        if (Failure failure = rotate())
            return failure;
        file.st_size = 0;
    }
    if (isRegular && file.st_size == 0)
        m_missing = m_header;
    if (!writeAll(m_file, m_missing + record)) {
        Failure failure = systemFailure("write");
        if (isRegular && ftruncate(m_file, file.st_size) != 0)
            m_missing = "\n";
        return failure;
    }
    m_missing.clear();
    m_day = day;
    m_hasBegun = isRegular && file.st_size == 0;
    return Failure();
}

Failure LogFile::rotate()
{
    const QByteArray path = resolved(m_path);
    const int ending = endingAt(path);
    QByteArray number;
    for (int n = 2; !renameToNew(path, path.left(ending) + '-' + m_day + number + path.mid(ending));
         ++n) {
        if (errno != EEXIST)
            return systemFailure("rotate");
        number = '.' + QByteArray::number(n);
    }
    return open();
}
