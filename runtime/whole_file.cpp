#include "runtime/whole_file.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>

#include <cstdio>

namespace
{

// Far above every image and plan, far below what would fill the machine.
const qint64 MAX_FILE_SIZE = 64 << 20;

// A pipe or a device has no known size: what has been read is the least that it holds.
QString aboveLimit(const QFile &file, qint64 sizeRead)
{
    return QString::fromLatin1("%1%2 bytes, above the limit of %3 (64 MiB)")
        .arg(QLatin1String(file.isSequential() ? "at least " : ""))
        .arg(qMax(file.size(), sizeRead))
        .arg(MAX_FILE_SIZE);
}

Failure openToSave(QSaveFile *file)
{
    const QFileInfo there(file->fileName());
    if (there.exists() && !there.isFile() && !there.isDir())
        return cannotWrite(*file, QLatin1String("it is not a plain file"));
    return file->open(QIODevice::WriteOnly) ? Failure() : cannotWrite(*file, file->errorString());
}

} // namespace

Failure readWholeFile(const QString &path, QByteArray *content)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        *content = file.read(MAX_FILE_SIZE + 1);
    const bool isRead = file.error() == QFileDevice::NoError;
    if (isRead && content->size() <= MAX_FILE_SIZE)
        return Failure();
    return Failure(StatusOpen,
                   QString::fromLatin1("cannot read %1: %2")
                       .arg(path, isRead ? aboveLimit(file, content->size()) : file.errorString()));
}

bool openInput(const QString &path, QFile *file)
{
    file->setFileName(path);
    return path == QLatin1String("-") ? file->open(stdin, QIODevice::ReadOnly)
                                      : file->open(QIODevice::ReadOnly);
}

Failure writeWholeFile(const QString &path, const QByteArray &content)
{
    QSaveFile file(path);
    Failure failure = openToSave(&file);
    if (failure || (writeAllBytes(content, &file) && file.commit()))
        return failure;
    return cannotWrite(file, file.errorString());
}

Failure checkWholeFile(const QString &path)
{
    QSaveFile file(path);
    Failure failure = openToSave(&file);
    if (!failure)
        file.cancelWriting();
    return failure;
}

bool writeAllBytes(const QByteArray &bytes, QFileDevice *file)
{
    qint64 written = 0;
    qint64 taken = 1;
    while (written < bytes.size() && taken > 0) {
        taken = file->write(bytes.constData() + written, bytes.size() - written);
        written += taken;
    }
    return written == bytes.size();
}

Failure cannotWrite(const QFileDevice &file, const QString &reason)
{
    return Failure(StatusOpen,
                   QString::fromLatin1("cannot write %1: %2").arg(file.fileName(), reason));
}
