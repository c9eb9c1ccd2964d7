// Loads the driver plug-in, uses it in several threads and unloads it, again and again: a program
// for a leak checker and for the thread sanitizer. It is without QtTest, whose watchdog thread the
// sanitizer reports now and then.
#include "drivers/driver_interface.h"
#include "testkit/scripted_channel.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPluginLoader>
#include <QtCore/QScopedPointer>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <dlfcn.h>

namespace
{

const int USAGE = 2;
const int THREADS = 4;
const int PASSES = 3; // of each thread

typedef DriverInterface *(*Create)();
typedef QObject *(*Instance)();
typedef const char *(*Query)();

#define OPEN "!|>CR 00|<CC 00|"
#define CLOSE "|!|>CQ|<CF"

const struct {
    CommandKind kind;
    quint32 count;
    const char *address;
    const char *script;
    const char *written; // in hexadecimal; null for a read
    const char *result;  // the data that is read, in hexadecimal, or how a write ended
    const char *error;
} REQUESTS[] = {
    {Word, 2, "DM100", OPEN "!|>RDS DM00100.H 2|<1234 00FF" CLOSE, 0, "3412ff00", ""},
    {DoubleWord, 1, "T12", OPEN "!|>RDS T12 1|<1,0000000005,0000000100" CLOSE, 0, "05000000", ""},
    {BitBlock, 10, "R1215", OPEN "!|>RDS R1215 10|<1 0 1 0 0 0 0 1 1 1" CLOSE, 0, "8503", ""},
    {Word, 1, "DM100", OPEN ">WRS DM00100.H 1 1234|<OK" CLOSE, "3412", "1", ""},
    {Bit, 1, "T12", OPEN ">ST T0012|<OK" CLOSE, "01", "1", ""},
    {Word, 1, "DM1", "!|>CR 00|~", 0, "", "PLC no response"},
    {Word, 1, "DM1", OPEN "!|>RDS DM00001.H 1|<12G4", 0, "", "invalid response:"},
    {Word, 1, "DM1", OPEN ">WRS DM00001.H 1 0000|<E1" CLOSE, "0000", "0",
     "Response During an Error:E1\r\n"},
    {Word, 1, "CTC1", "", "0000", "0", "can't write word to CTC1"},
};

// Makes each request, good or failing, over a channel of its own in memory.
// @return which one gave another result or spoke otherwise than expected; empty when none did
QByteArray failedWork(DriverInterface *driver)
{
    for (const auto &request : REQUESTS) {
        ScriptedChannel channel(request.script);
        const CommunicatorCommand command(request.kind, request.count,
                                          QLatin1String(request.address));
        const QByteArray result =
            request.written ? QByteArray::number(driver->write(
                                  &channel, command, QByteArray::fromHex(request.written)))
                            : driver->read(&channel, command).toHex();
        const QByteArray error = driver->hasError() ? driver->getLastError().toLatin1() : "";
        if (!channel.fault().isEmpty() || result != request.result || error != request.error)
            return request.script + (": " + channel.fault()) + " " + result + " " + error;
    }
    return QByteArray();
}

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

// As the panel's runtime does: Qt finds the root object, and deletes it when it unloads the file.
bool cycleThroughQt(const char *file)
{
    QPluginLoader loader(QString::fromLocal8Bit(file));
    // Qt 5 keeps plug-ins in memory unless asked otherwise.
    loader.setLoadHints(QLibrary::LoadHints());
    QObject *const object = loader.instance();
    DriverInterface *const root = qobject_cast<DriverInterface *>(object);
    if (!root || root->getThisObject() != object || object->parent() ||
        qstrcmp(object->metaObject()->className(), "DriverKV_L20V_HostLink") != 0)
        return complain("load", loader.errorString().toLocal8Bit());
    const QByteArray fault = failedWork(root) + failedWork(root);
    if (!fault.isEmpty())
        return complain("work", fault);
    return loader.unload() || complain("unload", loader.errorString().toLocal8Bit());
}

// By the entry points, without Qt. Drivers are made and deleted all the time, while the other
// threads make requests.
bool cycleThroughEntryPoints(const char *file)
{
    void *library = dlopen(file, RTLD_NOW);
    if (!library)
        return complain("dlopen", dlerror());
    const Create create = reinterpret_cast<Create>(dlsym(library, "CreateDriver"));
    const Instance instance = reinterpret_cast<Instance>(dlsym(library, "qt_plugin_instance"));
    if (!create || !instance)
        return complain("dlsym", dlerror());
#if QT_VERSION >= 0x050000 // with Qt 4 it states the Qt that the plug-in is built with
    const Query query =
        reinterpret_cast<Query>(dlsym(library, "qt_plugin_query_verification_data"));
    const char *const text = query ? query() : dlerror();
    if (qstrcmp(text, "pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=4.8.6\ndebug=false\n"
                      "buildkey=arm linux g++-4 no-pkg-config") != 0)
        return complain("the panel's verification text", text);
#endif
    // Qt's macro makes the root object without a lock, so the first call is one thread's alone.
    QScopedPointer<QObject> root(instance());
    std::atomic<int> arrived(0);
    QByteArray faults[THREADS];
    // The root object keeps the patterns in use until the threads have ended: Qt shares a pattern
    // among threads under a lock that the thread sanitizer does not see.
    const QByteArray fault = failedWork(qobject_cast<DriverInterface *>(root.data()));
    if (!fault.isEmpty())
        return complain("work of the root", fault);
    const auto drive = [&](int k) {
        ++arrived;
        while (arrived < THREADS)
            std::this_thread::yield();
        for (int pass = 0; pass < PASSES && faults[k].isEmpty(); ++pass) {
            const QScopedPointer<DriverInterface> driver(create());
            faults[k] = instance() == root.data() ? failedWork(driver.data()) : "another root";
        }
    };
    std::thread threads[THREADS];
    for (int k = 0; k < THREADS; ++k)
        threads[k] = std::thread(drive, k);
    bool worked = true;
    for (int k = 0; k < THREADS; ++k) {
        threads[k].join();
        worked = (faults[k].isEmpty() || complain("work", faults[k])) && worked;
    }
    root.reset();
    root.reset(instance());
    worked = worked && (qobject_cast<DriverInterface *>(root.data()) || complain("next root", ""));
    root.reset();
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
        for (bool (*cycle)(const char *) : {cycleThroughQt, cycleThroughEntryPoints}) {
            if (!cycle(argv[1]))
                return 1;
            if (isLoaded(argv[1])) {
                std::printf("cycle %d: the plug-in is still loaded\n", k + 1);
                return 1;
            }
        }
    }
    std::printf("%d cycles, each loaded and unloaded by Qt and by dlopen\n", cycles);
    return 0;
}
