// Loads the driver plug-in, uses it and unloads it, again and again: a program for a leak checker.
#include "tests/driver/driver_work.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPluginLoader>
#include <QtCore/QScopedPointer>

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace
{

const int USAGE = 2;

typedef DriverInterface *(*Create)();

bool isLoaded(const char *file)
{
    void *library = dlopen(file, RTLD_LAZY | RTLD_NOLOAD);
    if (library)
        dlclose(library);
    return library != nullptr;
}

bool complain(const char *what, const QByteArray &why)
{
    std::printf("%s: %s\n", what, why.constData());
    return false;
}

// Two drivers side by side.
bool work(DriverInterface *one, DriverInterface *other)
{
    for (DriverInterface *driver : {one, other, one}) {
        const QByteArray fault = failedWork(driver);
        if (!fault.isEmpty())
            return complain("work", fault);
    }
    return true;
}

// As the panel's runtime does: Qt finds the root object, and deletes it when it unloads the file.
bool cycleThroughQt(const char *file)
{
    QPluginLoader loader(QString::fromLocal8Bit(file));
    // Qt 5 keeps plug-ins in memory unless told otherwise.
    loader.setLoadHints(QLibrary::LoadHints());
    DriverInterface *root = qobject_cast<DriverInterface *>(loader.instance());
    if (!root)
        return complain("load", loader.errorString().toLocal8Bit());
    if (!work(root, root))
        return false;
    return loader.unload() || complain("unload", loader.errorString().toLocal8Bit());
}

// By the other entry point, without Qt.
bool cycleThroughEntryPoint(const char *file)
{
    void *library = dlopen(file, RTLD_NOW);
    if (!library)
        return complain("dlopen", dlerror());
    const Create create = reinterpret_cast<Create>(dlsym(library, "CreateDriver"));
    if (!create)
        return complain("dlsym", dlerror());
    QScopedPointer<DriverInterface> one(create());
    QScopedPointer<DriverInterface> other(create());
    const bool worked = work(one.data(), other.data());
    one.reset();
    other.reset();
    return worked && (dlclose(library) == 0 || complain("dlclose", dlerror()));
}

} // namespace

int main(int argc, char **argv)
{
    const int cycles = argc == 3 ? std::atoi(argv[2]) : 0;
    if (cycles < 1) {
        std::fprintf(stderr, "usage: plugin_cycles PLUGIN CYCLES\n");
        return USAGE;
    }
    QCoreApplication application(argc, argv);
    for (int k = 0; k < cycles; ++k) {
        for (bool (*cycle)(const char *) : {cycleThroughQt, cycleThroughEntryPoint}) {
            if (!cycle(argv[1]))
                return 1;
            if (isLoaded(argv[1])) {
                std::printf("cycle %d: the plug-in is still loaded\n", k + 1);
                return 1;
            }
        }
    }
    std::printf("%d cycles, each loaded and unloaded by Qt and by dlopen, with %d requests\n",
                cycles, 6 * WORK_REQUESTS);
    return 0;
}
