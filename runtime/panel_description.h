/// What a panel has, as far as it decides whether the panel loads a plug-in.
#ifndef RUNTIME_PANEL_DESCRIPTION_H
#define RUNTIME_PANEL_DESCRIPTION_H

#include "runtime/plugin_file.h"

#include <QtCore/QMap>

/// The values of a description by their keys: qt, buildkey, machine, bits, endian, float, glibc,
/// glibcxx, cxxabi and libraries. What it leaves out is not checked.
struct PanelDescription {
    QMap<QString, QString> values;
};

/// Reads a description: an INI file with a section [panel].
/// @return StatusOpen for a file that cannot be read; StatusUsage for a key that is not known, a
///         value that is wrong, and a file without values
Failure readPanelDescription(const QString &path, PanelDescription *panel);

/// What a panel says of a plug-in.
struct PanelVerdict {
    QStringList refusals;  ///< why it does not load the plug-in; empty when it does
    QStringList unchecked; ///< the keys that the description lacks
};

/// Checks what the dynamic loader and Qt of a panel check.
PanelVerdict judgePlugin(const PluginFile &plugin, const PanelDescription &panel);

/// Why a Qt 5 and the runtime on it refuse a plug-in by its meta-data; empty when they do not.
/// @param qt version such as 5.15.8; its third number does not count
QString metaDataRefusal(const PluginMetaData &data, const QString &qt);

/// Why code cannot run on a platform; empty when it can.
QString platformRefusal(const Platform &own, const Platform &its);

#endif
