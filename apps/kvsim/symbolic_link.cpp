#include "apps/kvsim/symbolic_link.h"

#include <QtCore/QFile>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

bool isSymbolicLink(const QByteArray &path)
{
    struct stat status;
    return lstat(path.constData(), &status) == 0 && S_ISLNK(status.st_mode);
}

// Empty when the path is not a symbolic link.
QByteArray targetOf(const QByteArray &path)
{
    char target[256];
    const ssize_t length = readlink(path.constData(), target, sizeof target);
    return length < 0 ? QByteArray() : QByteArray(target, static_cast<int>(length));
}

} // namespace

SymbolicLink::~SymbolicLink()
{
    if (!m_path.isEmpty() && targetOf(m_path) == m_target)
        unlink(m_path.constData());
}

Failure SymbolicLink::create(const QString &path, const QString &target)
{
    const QByteArray encodedPath = QFile::encodeName(path);
    const QByteArray encodedTarget = QFile::encodeName(target);
    // A link that leads nowhere is what an earlier program left behind; any other is in use.
    if (isSymbolicLink(encodedPath) && !QFile::exists(path))
        unlink(encodedPath.constData());
    // Fails by itself where anything but a link is in the way.
    if (symlink(encodedTarget.constData(), encodedPath.constData()) != 0)
        return Failure(
            StatusOpen,
            QString::fromLatin1("cannot make the link %1: %2").arg(path, qt_error_string(errno)));
    m_path = encodedPath;
    m_target = encodedTarget;
    return Failure();
}
