/// What the file of a plug-in says of itself, for any architecture. Nothing of it is run.
#ifndef RUNTIME_PLUGIN_FILE_H
#define RUNTIME_PLUGIN_FILE_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// What the code of a file is for.
struct Platform {
    QString machine;          ///< as QSysInfo::buildCpuArchitecture() has it, such as arm
    int bits = 0;             ///< 32 or 64
    bool isBigEndian = false; ///< the order of the bytes of a number
    QString floatAbi;         ///< of arm: hard or soft; empty where the file does not say

    /// Such as "arm, 32 bits, little endian, hard float".
    QString text() const;
};

/// A version of a library's symbols that a file needs.
struct SymbolVersion {
    QString library; ///< such as libc.so.6
    QString version; ///< such as GLIBC_2.34
};

/// The text by which Qt 4 knows its plug-ins.
struct VerificationText {
    /// Where it stands: .qtplugin, or .rodata of a file without that section, or "the whole file"
    /// of one without both, where Qt 4 looks for it; "elsewhere"; or empty for a file without it.
    QString place;
    QString qtVersion; ///< such as 4.8.6
    QString buildKey;  ///< of the Qt that it was built with
    bool isDebug = false;
};

/// The data by which Qt 5 knows its plug-ins.
struct PluginMetaData {
    QString place;       ///< as of the text, with .qtmetadata for .qtplugin
    bool isRead = false; ///< false for the form of Qt before 5.12, and for damaged data
    QString qtVersion;   ///< major and minor, such as 5.15
    QString interface;   ///< identifier of the interface
    QString className;
    bool isDebug = false;
};

/// The record of a file. All texts are as they stand in the file: print them as printable text.
struct PluginFile {
    qint64 size = 0; ///< bytes
    Platform platform;
    QStringList neededLibraries;
    QString searchPath; ///< folders where the loader looks for them first, with ":" between them
    QVector<SymbolVersion> neededVersions; ///< without those that the loader does not insist on
    QStringList ownVersions;               ///< that it has itself
    QStringList entryPoints;               ///< which of those of a plug-in it exports
    int exportCount = 0;                   ///< of all symbols that it exports
    VerificationText verification;
    PluginMetaData metaData;
    bool hasSymbolTable = false; ///< it is not stripped
    bool hasDebugInfo = false;
    QStringList hardening; ///< which protections it was built with
};

/// Reads a shared library in memory. Any bytes are read in bounded time and memory.
/// @return StatusOpen for anything else, and for one that is damaged, with the reason
Failure parsePluginFile(QByteArray content, PluginFile *plugin);

/// Reads the file of a shared library, of at most 64 MiB. @return StatusOpen with the reason
Failure readPluginFile(const QString &path, PluginFile *plugin);

/// The highest version of each name, such as GLIBC_2.34 of GLIBC_2.4 and GLIBC_2.34; by names.
/// Before them those without a number, such as GLIBC_ABI_DT_RELR.
QStringList highestVersions(const QVector<SymbolVersion> &versions);

#endif
