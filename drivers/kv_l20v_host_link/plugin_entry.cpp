// The entry points by which a runtime finds the driver in the plug-in library. The one that gives
// the plug-in's root object comes from Qt's own plug-in macro.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include <QtCore/QtPlugin>

#include <new>

extern "C" {

/// Creates a further, independent driver object; the caller owns it and deletes it. Null when
/// memory is short.
Q_DECL_EXPORT DriverInterface *CreateDriver();

DriverInterface *CreateDriver()
{
    try {
        return new DriverKV_L20V_HostLink;
    } catch (const std::bad_alloc &) {
        return 0;
    }
}
}

#if QT_VERSION < 0x050000

Q_EXPORT_PLUGIN2(kv_l20v_host_link, DriverKV_L20V_HostLink)

#else

// Qt 5 verifies plug-ins by their meta-data; the panel's Qt asks for this text.
__attribute__((section(".qtplugin"), used)) static const char verificationData[] =
    "pattern=QT_PLUGIN_VERIFICATION_DATA\n"
    "version=4.8.6\n"
    "debug=false\n"
    "buildkey=arm linux g++-4 no-pkg-config";

extern "C" Q_DECL_EXPORT const char *qt_plugin_query_verification_data();

const char *qt_plugin_query_verification_data()
{
    return verificationData;
}

#endif
