#include "runtime/port_latency.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <linux/serial.h>
#include <linux/tty_flags.h>
#include <sys/ioctl.h>

namespace
{

// The shortest that drivers take.
const int LOW_MS = 1;

QString latencyFile(const QString &device, const QString &root)
{
    const QString name = QFileInfo(QFileInfo(device).canonicalFilePath()).fileName();
    return QString::fromLatin1("%1sys/class/tty/%2/device/latency_timer").arg(root, name);
}

int numberIn(const QString &path)
{
    QFile file(path);
    bool isNumber = false;
    const int number =
        file.open(QIODevice::ReadOnly) ? file.read(16).trimmed().toInt(&isNumber) : -1;
    return isNumber ? number : -1;
}

bool writeNumber(const QString &path, int number)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
           file.write(QByteArray::number(number)) > 0;
}

bool setLowLatencyFlag(int descriptor, bool on)
{
    serial_struct settings = {};
    if (ioctl(descriptor, TIOCGSERIAL, &settings) != 0)
        return false;
    const int flag = static_cast<int>(ASYNC_LOW_LATENCY);
    settings.flags = on ? settings.flags | flag : settings.flags & ~flag;
    return ioctl(descriptor, TIOCSSERIAL, &settings) == 0;
}

} // namespace

int adapterLatencyMs(const QString &device, const QString &root)
{
    return numberIn(latencyFile(device, root));
}

PortLatency::PortLatency(int descriptor, const QString &device, const QString &root)
    : m_descriptor(descriptor), m_device(device), m_file(latencyFile(device, root)),
      m_ownMs(numberIn(m_file)), m_state(shorten())
{}

PortLatency::~PortLatency()
{
    if (m_state == LowByFlag)
        setLowLatencyFlag(m_descriptor, false);
    if (m_state == LowByFile)
        writeNumber(m_file, m_ownMs);
}

// The flag comes first: every user of a port may set it.
PortLatency::State PortLatency::shorten() const
{
    serial_struct settings = {};
    const bool hasFlag = ioctl(m_descriptor, TIOCGSERIAL, &settings) == 0;
    if ((hasFlag && (settings.flags & static_cast<int>(ASYNC_LOW_LATENCY))) ||
        (m_ownMs >= 0 && m_ownMs <= LOW_MS))
        return WasLow;
    if (hasFlag && setLowLatencyFlag(m_descriptor, true))
        return LowByFlag;
    if (m_ownMs < 0)
        return None;
    return writeNumber(m_file, LOW_MS) ? LowByFile : Held;
}

QString PortLatency::text() const
{
    switch (m_state) {
    case WasLow:
        return QLatin1String("low, as it was set before");
    case LowByFlag:
        return QLatin1String("low while the port is open, by the port's flag");
    case LowByFile:
        return QString::fromLatin1("%1 ms while the port is open, else %2 ms, by the driver's file")
            .arg(QString::number(LOW_MS), QString::number(m_ownMs));
    case Held:
        return QString::fromLatin1("up to %1 ms").arg(m_ownMs);
    case None:
        break;
    }
    return QString();
}

QString PortLatency::hint() const
{
    if (m_state != Held)
        return QString();
    return QString::fromLatin1("%1 holds received characters for up to %2 ms, and this user may "
                               "not shorten that: install the udev rule 60-kv-hostlink.rules, or "
                               "write %3 into %4")
        .arg(m_device, QString::number(m_ownMs), QString::number(LOW_MS), m_file);
}
