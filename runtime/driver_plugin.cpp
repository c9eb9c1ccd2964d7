#include "runtime/driver_plugin.h"

#include "drivers/driver_interface.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>
#include <QtCore/QLibrary>

namespace
{

const char DRIVER_FILE[] = "kv-hostlink/drivers/libkv_l20v_host_link.so";
const char DRIVER_CLASS[] = "DriverKV_L20V_HostLink";
const char CREATE_FUNCTION[] = "CreateDriver";
const char CHOSEN_DRIVER[] = "KV_HOSTLINK_DRIVER";
const char *const LIBRARY_DIRECTORIES[] = {"lib", KV_INSTALL_LIBDIR};

// A link is opened with them where the user gives none.
bool hasDefaults(DriverInterface *driver)
{
    const std::unique_ptr<DeviceSetting> device(driver->getDefaultSerialDeviceSetting());
    const std::unique_ptr<DriverSetting> link(driver->getDefaultDriverSetting());
    return device && link;
}

// Why a file is no driver by its meta-data; empty for no reason. They are read from the file: a
// library of another kind is never executed.
QString whyNoDriver(const QPluginLoader &loader)
{
    const QString expected = QLatin1String(qobject_interface_iid<DriverInterface *>());
    const QString found = loader.metaData().value(QLatin1String("IID")).toString();
    if (found.isEmpty())
        return QString::fromLatin1("not a plug-in for this machine (%1); "
                                   "kvlink inspect describes the file")
            .arg(loader.errorString());
    return found == expected ? QString()
                             : QString::fromLatin1("a plug-in of another kind (its interface is "
                                                   "%1, expected is %2)")
                                   .arg(found, expected);
}

} // namespace

DriverPlugin::DriverPlugin() : m_driver(nullptr) {}

DriverPlugin::~DriverPlugin() = default;

QString DriverPlugin::defaultPath()
{
    QString chosen = qEnvironmentVariable(CHOSEN_DRIVER);
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

bool DriverPlugin::isOther(const QString &path)
{
    const QString chosen = path.isEmpty() ? qEnvironmentVariable(CHOSEN_DRIVER) : path;
    if (chosen.isEmpty())
        return false;
    const QPluginLoader loader(QFileInfo(chosen).absoluteFilePath());
    const QString found = loader.metaData().value(QLatin1String("className")).toString();
    return !found.isEmpty() && found != QLatin1String(DRIVER_CLASS);
}

Failure DriverPlugin::load(const QString &path, DriverObject object)
{
    const auto failure = [&path](const QString &reason) {
        return Failure(StatusOpen, QString::fromLatin1("driver plug-in %1: %2").arg(path, reason));
    };
    m_driver = nullptr;
    m_own.reset();
    const QFileInfo file(path);
    if (!file.isFile())
        return failure(QLatin1String(file.exists() ? "not a file" : "no such file"));
    m_loader.setFileName(file.absoluteFilePath());
    const QString reason = whyNoDriver(m_loader);
    if (!reason.isEmpty())
        return failure(reason);
    // A missing function would otherwise end the whole program when it is first called.
    m_loader.setLoadHints(m_loader.loadHints() | QLibrary::ResolveAllSymbolsHint);
    m_driver = qobject_cast<DriverInterface *>(m_loader.instance());
    if (m_driver && object == DriverObject::Own) {
        typedef DriverInterface *(*Create)();
        const auto create =
            reinterpret_cast<Create>(QLibrary::resolve(m_loader.fileName(), CREATE_FUNCTION));
        m_own.reset(create ? create() : nullptr);
        m_driver = m_own.get();
        if (!m_driver)
            return failure(QString::fromLatin1("it makes no driver for each link, as it has no "
                                               "function %1; give one link")
                               .arg(QLatin1String(CREATE_FUNCTION)));
    }
    if (m_driver && hasDefaults(m_driver))
        return Failure();
    if (m_driver) {
        m_driver = nullptr;
        return failure(QLatin1String("it gives no default settings for a link"));
    }
    return failure(QString::fromLatin1("cannot be loaded (%1)")
                       .arg(m_loader.isLoaded() ? QString::fromLatin1("it holds no driver")
                                                : m_loader.errorString()));
}
