// A plug-in of the right kind that calls a function which no library has.
#include "drivers/driver_interface.h"

void functionOfNoLibrary();

class UnresolvedPlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.quorvane.drivers.DriverInterface/1.1")

public:
    UnresolvedPlugin() { functionOfNoLibrary(); }
};

#include "unresolved_plugin.moc"
