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

// Interrupts this thread every millisecond while it lives.
class SignalStorm
{
public:
    SignalStorm()
    {
        sleepingThread = pthread_self();
        interruptions = 0;
        struct sigaction action = {};
        action.sa_handler = countInterruption;
        sigaction(SIGALRM, &action, &m_previous);
        const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &everyMillisecond, 0);
    }

    ~SignalStorm()
    {
        const itimerval never = {{0, 0}, {0, 0}};
        setitimer(ITIMER_REAL, &never, 0);
        sigaction(SIGALRM, &m_previous, 0);
    }

private:
    struct sigaction m_previous;
};

} // namespace

class TestHostEnvironment : public QObject
{
    Q_OBJECT

private slots:
    void mapsDeviceNamesToPanelPorts()
    {
        const char *const names[] = {"ETHERNET", "ethernet7", "MYETHERNET2",   "ETHERNE1",
                                     "COM2",     "COM10",     "COM0",          "COM007",
                                     "RS232-2",  "COM 3",     "COM2147482646", "COM2147483648"};
        const int ports[] = {2000, 2000, 1003, 1002, 1003,       1011,
                             1001, 1008, 1003, 1004, 2147483647, 1001};
        for (int k = 0; k < 12; ++k)
            QVERIFY2(DevStrToHmiPort(names[k]) == ports[k], names[k]);
        QCOMPARE(DevStrToHmiPort(QString::fromUtf8("\xCE\xA9\x32")), 1003);
        QCOMPARE(DevStrToHmiPort(QString::fromUtf8("COM\xD9\xA3\x34")),
                 1005); // two scripts' digits
    }

    void refusesOtherDeviceNames()
    {
        const char *const names[] = {"", "2", "10", "COM", "COM2 ", "COM2147482647", "COM\xD9\xA3"};
        for (int k = 0; k < 7; ++k)
            QVERIFY2(DevStrToHmiPort(QString::fromUtf8(names[k])) == -1, names[k]);
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
        const long long own = getpid();
        QVERIFY(ProcessIsRunning(own));
        QVERIFY(ProcessIsRunning(own + 0x500000000LL));
        const pid_t child = fork();
        if (child == 0) {
            // Asked, where possible, by a user who may not signal process 1.
            const bool asRoot = geteuid() == 0 && setuid(65534) != 0;
            _exit(asRoot || ProcessIsRunning(1) ? 0 : 1);
        }
        int status = -1;
        QVERIFY(child > 0);
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(status, 0);
        QVERIFY(!ProcessIsRunning(child));
    }

    void sleepsItsFullTimeUnderSignals()
    {
        QElapsedTimer timer;
        timer.start();
        const qint64 before = CurrentMSecsSinceBoot();
        {
            SignalStorm storm;
            HRSleep(30);
        }
        const qint64 counted = CurrentMSecsSinceBoot() - before;
        const qint64 elapsed = timer.nsecsElapsed();
        QVERIFY(interruptions > 2);
        QVERIFY(elapsed >= 30000000);
        QVERIFY(counted >= 30 && counted <= elapsed / 1000000 + 1);
    }

    void sleepsLongerThanASecondAndNotAtAll()
    {
        QElapsedTimer timer;
        timer.start();
        HRSleep(1001);
        QVERIFY(timer.elapsed() >= 1001);
        timer.start();
        HRSleep(0);
        QVERIFY(timer.elapsed() < 1000);
    }
};

QTEST_MAIN(TestHostEnvironment)
#include "tst_host_environment.moc"
