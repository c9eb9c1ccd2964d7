#include "runtime/local_loading.h"

#include "runtime/panel_description.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QSysInfo>

#include <dlfcn.h>
#include <sys/stat.h>

namespace
{

Platform ownPlatform()
{
    Platform own;
    own.machine = QSysInfo::buildCpuArchitecture();
    own.bits = static_cast<int>(8 * sizeof(void *));
    own.isBigEndian = QSysInfo::ByteOrder == QSysInfo::BigEndian;
    if (own.machine == QLatin1String("arm"))
        own.floatAbi = QLatin1String(
            QSysInfo::buildAbi().endsWith(QLatin1String("hardfloat")) ? "hard" : "soft");
    return own;
}

// The folders in which the loader of this process looks, LD_LIBRARY_PATH among them.
QStringList loaderFolders()
{
    QStringList folders;
    Dl_serinfo size;
    void *const program = ::dlopen(nullptr, RTLD_LAZY);
    if (program && ::dlinfo(program, RTLD_DI_SERINFOSIZE, &size) == 0) {
        QVector<Dl_serinfo> room(static_cast<int>(size.dls_size / sizeof(Dl_serinfo)) + 1);
        Dl_serinfo *const list = room.data();
        list->dls_size = size.dls_size;
        list->dls_cnt = size.dls_cnt;
        if (::dlinfo(program, RTLD_DI_SERINFO, list) == 0) {
            for (unsigned int i = 0; i < list->dls_cnt; ++i)
                folders += QFile::decodeName(list->dls_serpath[i].dls_name);
        }
    }
    if (program)
        ::dlclose(program);
    return folders;
}

// The files of the loader's cache; none where there is no cache.
QStringList cachedFiles()
{
    QProcess lister;
    lister.start(QLatin1String("/sbin/ldconfig"), {QLatin1String("-p")}, QIODevice::ReadOnly);
    if (!lister.waitForFinished())
        return QStringList();
    QStringList files;
    const QStringList lines = QString::fromLocal8Bit(lister.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines)
        files += line.section(QLatin1String(" => "), 1);
    return files;
}

// Where a library may be, in the loader's order.
class LibraryPlaces
{
public:
    LibraryPlaces(const PluginFile &plugin, const QString &path)
        : m_folders(plugin.searchPath.split(QLatin1Char(':'), Qt::SkipEmptyParts)),
          m_cached(cachedFiles())
    {
        const QString own = QFileInfo(path).absolutePath();
        m_folders.replaceInStrings(QLatin1String("$ORIGIN"), own)
            .replaceInStrings(QLatin1String("${ORIGIN}"), own);
        m_folders += loaderFolders();
    }

    QStringList of(const QString &library) const
    {
        if (library.contains(QLatin1Char('/')))
            return {library};
        QStringList places;
        for (const QString &folder : m_folders)
            places += folder + QLatin1Char('/') + library;
        for (const QString &file : m_cached) {
            if (QFileInfo(file).fileName() == library)
                places += file;
        }
        return places;
    }

private:
    QStringList m_folders;
    QStringList m_cached;
};

// A device or a pipe, which is not to be opened. Not the opposite of a plain file: an emulator opens
// files of which it cannot tell what they are.
bool isSpecial(const QString &path)
{
    struct stat file;
    return ::stat(QFile::encodeName(path).constData(), &file) == 0 && !S_ISREG(file.st_mode);
}

// The loader passes over libraries for other machines.
bool findLibrary(const QStringList &places, PluginFile *library)
{
    for (const QString &place : places) {
        if (!isSpecial(place) && readPluginFile(place, library).isGood() &&
            platformRefusal(ownPlatform(), library->platform).isEmpty())
            return true;
    }
    return false;
}

QStringList libraryRefusals(const PluginFile &plugin, const QString &path)
{
    QStringList refusals;
    const LibraryPlaces places(plugin, path);
    for (const QString &name : plugin.neededLibraries) {
        PluginFile library;
        if (!findLibrary(places.of(name), &library)) {
            refusals += QString::fromLatin1("this machine lacks %1").arg(name);
            continue;
        }
        QVector<SymbolVersion> missing;
        for (const SymbolVersion &needed : plugin.neededVersions) {
            if (needed.library == name && !library.ownVersions.contains(needed.version))
                missing += needed;
        }
        for (const QString &version : highestVersions(missing))
            refusals += QString::fromLatin1("%1 of this machine lacks %2").arg(name, version);
    }
    return refusals;
}

} // namespace

QStringList localRefusals(const PluginFile &plugin, const QString &path)
{
    const QString platform = platformRefusal(ownPlatform(), plugin.platform);
    QStringList refusals = {platform, metaDataRefusal(plugin.metaData, QLatin1String(qVersion()))};
    if (platform.isEmpty())
        refusals += libraryRefusals(plugin, path);
    refusals.removeAll(QString());
    return refusals;
}
