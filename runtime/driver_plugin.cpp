#include "runtime/driver_plugin.h"

#include "drivers/driver_interface.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>

namespace
{

const char DRIVER_FILE[] = "kv-hostlink/drivers/libkv_l20v_host_link.so";
const char *const LIBRARY_DIRECTORIES[] = {"lib", KV_INSTALL_LIBDIR};

} // namespace

DriverPlugin::DriverPlugin() : m_driver(nullptr) {}

QString DriverPlugin::defaultPath()
{
    QString chosen = qEnvironmentVariable("KV_HOSTLINK_DRIVER");
    if (!chosen.isEmpty())
        return chosen;
    const QDir prefix(QCoreApplication::applicationDirPath() + QLatin1String("/.."));
    QString first;
    for (const char *directory : LIBRARY_DIRECTORIES) {
        const QDir libraries(prefix.absoluteFilePath(QLatin1String(directory)));
        QString path = QDir::cleanPath(libraries.absoluteFilePath(QLatin1String(DRIVER_FILE)));
        if (QFileInfo(path).isFile())
            return path;
        if (first.isEmpty())
            first = path;
    }
    return first;
}

bool DriverPlugin::load(const QString &path, QString *error)
{
    const QString expected = QLatin1String(qobject_interface_iid<DriverInterface *>());
    m_driver = nullptr;
    const QFileInfo file(path);
    if (!file.isFile()) {
        *error = QString::fromLatin1(file.exists() ? "driver plug-in %1: not a file"
                                                   : "driver plug-in %1: no such file")
                     .arg(path);
        return false;
    }
    // The meta-data is read from the file: a library of another kind is never executed.
    m_loader.setFileName(file.absoluteFilePath());
    const QString found = m_loader.metaData().value(QLatin1String("IID")).toString();
    if (found.isEmpty()) {
        *error = QString::fromLatin1("driver plug-in %1: not a plug-in (%2)")
                     .arg(path, m_loader.errorString());
        return false;
    }
    if (found != expected) {
        *error =
            QString::fromLatin1("driver plug-in %1: a plug-in of another kind (its interface is "
                                "%2, expected is %3)")
                .arg(path, found, expected);
        return false;
    }
    // A missing function would otherwise end the whole program when it is first called.
    m_loader.setLoadHints(m_loader.loadHints() | QLibrary::ResolveAllSymbolsHint);
    m_driver = qobject_cast<DriverInterface *>(m_loader.instance());
    if (!m_driver)
        *error = QString::fromLatin1("driver plug-in %1: cannot be loaded (%2)")
                     .arg(path, m_loader.isLoaded() ? QString::fromLatin1("it holds no driver")
                                                    : m_loader.errorString());
    return m_driver != nullptr;
}
