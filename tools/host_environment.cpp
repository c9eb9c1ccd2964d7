#include "tools/host_environment.h"

#include <QtCore/QCoreApplication>

#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>

#include <sys/types.h>

namespace
{

const QString COMPILE_PATH = QLatin1String("compile");
const QString DATABASE_PATH = QLatin1String("database");

const int ETHERNET_HMI_PORT = 2000;
const int FIRST_SERIAL_HMI_PORT = 1001;

void enterIfThere(QDir &directory, const QString &name)
{
    static_cast<void>(directory.cd(name)); // stays where it is when there is none
}

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

} // namespace

QDir GetCompilePath()
{
    QDir directory(QCoreApplication::applicationDirPath());
    enterIfThere(directory, COMPILE_PATH);
    return directory;
}

QString GetDatabaseName()
{
    QDir directory = GetCompilePath();
    enterIfThere(directory, DATABASE_PATH);
    return directory.absoluteFilePath(QLatin1String("database"));
}

int DevStrToHmiPort(const QString &dev_str)
{
    if (dev_str.startsWith(QLatin1String("ETHERNET"), Qt::CaseInsensitive))
        return ETHERNET_HMI_PORT;
    int start = dev_str.size();
    while (start > 0 && isDigit(dev_str.at(start - 1)))
        --start;
    if (start == 0 || start == dev_str.size())
        return -1;
    const int n = dev_str.mid(start).toInt();
    return n > INT_MAX - FIRST_SERIAL_HMI_PORT ? -1 : n + FIRST_SERIAL_HMI_PORT;
}

bool ProcessIsRunning(long long pid)
{
    const pid_t id = static_cast<pid_t>(static_cast<quint32>(pid & 0xFFFFFFFFLL));
    return kill(id, 0) == 0 || errno == EPERM;
}

qint64 CurrentMSecsSinceBoot()
{
    timespec now = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void HRSleep(unsigned long milliseconds)
{
    timespec remaining = {static_cast<time_t>(milliseconds / 1000),
                          static_cast<long>(milliseconds % 1000) * 1000000};
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}
