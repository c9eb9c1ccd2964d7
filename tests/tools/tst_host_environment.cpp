#include "tools/host_environment.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <csignal>

#include <pthread.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

pthread_t sleepingThread;
volatile sig_atomic_t interruptions = 0;

void countInterruption(int)
{
    if (pthread_equal(pthread_self(), sleepingThread))
        interruptions = interruptions + 1;
}

} // namespace

class TestHostEnvironment : public QObject
{
    Q_OBJECT

private slots:
    void mapsDeviceNamesToPanelPorts()
    {
        const char *const names[] = {
            "ethernet7",     "MYETHERNET2",   "COM10", "COM007", "RS232-2", "COM2147482646",
            "COM2147483648", "COM2147482647", "10",    "COM2 ",  ""};
        const int ports[] = {2000, 1003, 1011, 1008, 1003, 2147483647, 1001, -1, -1, -1, -1};
        for (int k = 0; k < 11; ++k)
            QVERIFY2(DevStrToHmiPort(names[k]) == ports[k], names[k]);
        // Digits of another script, alone and before one that counts.
        QCOMPARE(DevStrToHmiPort(QString::fromUtf8("COM\xD9\xA3")), -1);
        QCOMPARE(DevStrToHmiPort(QString::fromUtf8("COM\xD9\xA3\x34")), 1005);
    }

    void skipsMissingDirectoriesOfTheDatabase()
    {
        // A directory, or a file where one is expected, and what is found with it there.
        const char *const directories[] = {"compile/database", "compile", "database", ""};
        const char *const files[] = {"", "compile/database", "", "compile"};
        const char *const found[] = {"compile/database/database", "compile/database",
                                     "database/database", "database"};
        QDir home(QCoreApplication::applicationDirPath());
        for (int k = 0; k < 4; ++k) {
            QVERIFY(!home.exists("compile") && !home.exists("database"));
            QVERIFY(!*directories[k] || home.mkpath(directories[k]));
            QVERIFY(!*files[k] || QFile(home.filePath(files[k])).open(QIODevice::WriteOnly));
            const QString name = GetDatabaseName();
            QVERIFY(!*files[k] || home.remove(files[k]));
            QVERIFY(!*directories[k] || home.rmpath(directories[k]));
            QCOMPARE(name, home.absolutePath() + '/' + found[k]);
        }
    }

    void knowsWhichProcessesRun()
    {
        QVERIFY(ProcessIsRunning(getpid()) && ProcessIsRunning(getpid() + 0x500000000LL));
        const pid_t child = fork();
        if (child == 0) {
            // Asked, where possible, by a user who may not signal process 1.
            const bool asRoot = geteuid() == 0 && setuid(65534) != 0;
            _exit(asRoot || ProcessIsRunning(1) ? 0 : 1);
        }
        int status = -1;
        QVERIFY(child > 0 && waitpid(child, &status, 0) == child && status == 0);
        QVERIFY(!ProcessIsRunning(child));
    }

    // Longer than a second, while a signal interrupts the sleep every millisecond.
    void sleepsItsFullTimeUnderSignals()
    {
        sleepingThread = pthread_self();
        struct sigaction action = {};
        action.sa_handler = countInterruption;
        QVERIFY(sigaction(SIGALRM, &action, 0) == 0);
        const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
        const itimerval never = {{0, 0}, {0, 0}};
        QElapsedTimer timer;
        timer.start();
        const qint64 before = CurrentMSecsSinceBoot();
        setitimer(ITIMER_REAL, &everyMillisecond, 0);
        HRSleep(1100);
        setitimer(ITIMER_REAL, &never, 0);
        const qint64 counted = CurrentMSecsSinceBoot() - before;
        const qint64 elapsed = timer.elapsed();
        QVERIFY(interruptions > 2);
        QVERIFY(counted >= 1100 && elapsed >= 1100 && counted <= elapsed + 1);
        HRSleep(0);
        QVERIFY(timer.elapsed() < elapsed + 1000);
    }
};

QTEST_MAIN(TestHostEnvironment)
#include "tst_host_environment.moc"
