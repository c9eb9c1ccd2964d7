#include "runtime/port_inspector.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(64).trimmed() : QByteArray();
}

} // namespace

PortInspector::PortInspector(const QString &root) : m_root(root)
{
    const QDir processes(root + QLatin1String("proc"));
    for (const QString &id : processes.entryList({QLatin1String("[0-9]*")}, QDir::Dirs)) {
        const QDir open(processes.filePath(id + QLatin1String("/fd")));
        const QString user = QString::fromLatin1("%1 (%2)").arg(
            QString::fromLocal8Bit(contentOf(processes.filePath(id + QLatin1String("/comm")))), id);
        for (const QFileInfo &file : open.entryInfoList(QDir::Files | QDir::System)) {
            if (!m_users.contains(file.symLinkTarget(), user))
                m_users.insert(file.symLinkTarget(), user);
        }
    }
}

QString PortInspector::lastingName(const QString &device) const
{
    const QDir names(m_root + QLatin1String("dev/serial/by-id"));
    const QString file = QFileInfo(device).canonicalFilePath();
    for (const QFileInfo &name : names.entryInfoList(QDir::Files | QDir::System)) {
        if (!file.isEmpty() && name.canonicalFilePath() == file)
            return name.filePath();
    }
    return QString();
}

QStringList PortInspector::users(const QString &device) const
{
    return m_users.values(QFileInfo(device).canonicalFilePath());
}
