/// Whether this machine can load a plug-in, found out without running any of its code.
#ifndef RUNTIME_LOCAL_LOADING_H
#define RUNTIME_LOCAL_LOADING_H

#include "runtime/plugin_file.h"

/// Checks what kvlink's Qt and this machine's dynamic loader check before code runs: the platform,
/// the meta-data, the libraries that it names itself, and their versions. Libraries that those need
/// in turn, and single symbols, are not looked for.
/// @param path the plug-in's file
/// @return why it cannot be loaded; empty when nothing stands against it
QStringList localRefusals(const PluginFile &plugin, const QString &path);

#endif
