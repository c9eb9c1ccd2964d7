/// The loading of a driver plug-in at run time.
#ifndef RUNTIME_DRIVER_PLUGIN_H
#define RUNTIME_DRIVER_PLUGIN_H

#include "runtime/failure.h"

#include <QtCore/QPluginLoader>
#include <QtCore/QString>

#include <memory>

class DriverInterface;

/// Which driver object of a plug-in is meant.
enum class DriverObject {
    Root, ///< the plug-in's only one that Qt makes, for a program with one link
    Own   ///< a further one, by the plug-in's function `CreateDriver`, for one link of several
};

/// A driver plug-in's file and the driver in it. The library stays loaded until the program ends.
class DriverPlugin
{
public:
    DriverPlugin();
    ~DriverPlugin();

    /// Where the driver is expected: the environment variable KV_HOSTLINK_DRIVER, else the first
    /// file that exists below the directory above the program's own: in lib/kv-hostlink/drivers,
    /// then in the installation's library directory. The first of them when there is none.
    /// Requires: a QCoreApplication.
    static QString defaultPath();

    /// Whether a plug-in is another driver than the one for this PLC, which alone speaks the lines
    /// and knows the devices that the runtime does. Its code does not run.
    /// @param path empty for the one of KV_HOSTLINK_DRIVER, or the installed one
    /// @return also false for a file that is no plug-in
    static bool isOther(const QString &path);

    /// Loads a plug-in and finds its driver.
    /// @param path   the library's file
    /// @param object an own one is deleted with this plug-in. Requires: no other thread loads
    /// @return good when `driver` is ready; else StatusOpen: no such file, not a plug-in, a plug-in
    ///         of another kind (with both interface identifiers), or what the system's loader says,
    ///         such as the name of a function that no library has, or no `CreateDriver`
    Failure load(const QString &path, DriverObject object = DriverObject::Root);

    /// The plug-in's driver; null before a successful `load`.
    DriverInterface *driver() const { return m_driver; }

    /// Absolute path of the loaded plug-in.
    QString path() const { return m_loader.fileName(); }

private:
    Q_DISABLE_COPY(DriverPlugin)

    QPluginLoader m_loader;
    DriverInterface *m_driver;
    std::unique_ptr<DriverInterface> m_own; // that driver, unless it is the root object
};

#endif
