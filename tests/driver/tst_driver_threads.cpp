// Drivers in several threads, each with a channel of its own, out of the plug-in's file. Without
// QtTest, whose watchdog thread the thread sanitizer reports now and then.
#include "tests/driver/driver_work.h"

#include <QtCore/QLibrary>
#include <QtCore/QScopedPointer>

#include <atomic>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

namespace
{

const int THREADS = 4;
const int PASSES = 200;

typedef DriverInterface *(*Create)();
typedef QObject *(*Instance)();

struct Result {
    QByteArray fault;
    const QObject *root;
};

// Drivers are made and deleted all the time, while the other threads make requests.
void drive(Create create, Instance instance, std::atomic<int> &arrived, Result &result)
{
    ++arrived;
    while (arrived < THREADS)
        std::this_thread::yield();
    for (int pass = 0; pass < PASSES && result.fault.isEmpty(); ++pass) {
        QScopedPointer<DriverInterface> driver(create());
        result.root = instance();
        result.fault = failedWork(driver.data());
    }
}

} // namespace

int main()
{
    QLibrary library(QLatin1String(KV_PLUGIN_FILE));
    const Create create = reinterpret_cast<Create>(library.resolve("CreateDriver"));
    const Instance instance = reinterpret_cast<Instance>(library.resolve("qt_plugin_instance"));
    if (!create || !instance) {
        std::printf("%s\n", qPrintable(library.errorString()));
        return 1;
    }
    // Qt's macro makes the root object without a lock, so the first call is one thread's alone.
    const QScopedPointer<QObject> root(instance());
    std::atomic<int> arrived(0);
    std::vector<Result> results(THREADS);
    std::vector<std::thread> threads;
    for (size_t k = 0; k < THREADS; ++k)
        threads.push_back(
            std::thread(drive, create, instance, std::ref(arrived), std::ref(results[k])));
    int failures = 0;
    for (size_t k = 0; k < THREADS; ++k) {
        threads[k].join();
        if (results[k].fault.isEmpty() && results[k].root == root.data())
            continue;
        std::printf("thread %u: %s\n", static_cast<unsigned>(k), results[k].fault.constData());
        ++failures;
    }
    return failures == 0 ? 0 : 1;
}
