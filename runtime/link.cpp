#include "runtime/link.h"

#include "runtime/device_channel.h"
#include "runtime/escaped_text.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "runtime/traced_channel.h"
#include "simulator/background_simulator.h"
#include "runtime/stop_request.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QTextStream>

#include <cstring>

namespace
{

// A stop does not wait for late replies.
class PortChannel : public DeviceChannel
{
public:
    PortChannel(Port &port, const DriverSetting &setting) : DeviceChannel(port, setting) {}

protected:
    bool mayWait() const override { return !stopRequested(); }
};

// Lets a driver end in step with the PLC when the program is asked to stop: a running exchange goes
// on to its close line, for the time-out at most, and nothing new is begun.
class StoppableChannel : public TracedChannel
{
public:
    StoppableChannel(DeviceChannel &channel, int timeoutMs, TraceLog *trace)
        : TracedChannel(channel, trace), m_port(channel), m_timeoutMs(timeoutMs), m_closed(false)
    {}

    int read(char *buffer, int maxLength) override
    {
        if (stopRequested()) {
            const qint64 leftMs = m_timeoutMs - msSinceStop();
            m_closed = m_closed || leftMs <= 0;
            m_port.setTimeout(static_cast<int>(qMax<qint64>(0, leftMs)));
        }
        return m_closed ? 0 : TracedChannel::read(buffer, maxLength);
    }

    int write(const char *buffer, int length) override
    {
        m_closed = stopRequested() && length >= 2 && std::memcmp(buffer, "CR", 2) == 0;
        return m_closed ? -1 : TracedChannel::write(buffer, length);
    }

    int getRetry() override { return stopRequested() ? 0 : TracedChannel::getRetry(); }

    // The delay is waited for here: the driver's own sleep cannot be ended.
    unsigned long getDelay() override
    {
        waitForStop(static_cast<qint64>(TracedChannel::getDelay()));
        return 0;
    }

private:
    DeviceChannel &m_port;
    int m_timeoutMs;
    bool m_closed;
};

} // namespace

Link::Link() : m_isShared(false) {}

// A serial wire has no memory of who asked: the next program would get the replies still due.
Link::~Link()
{
    if (m_portChannel && m_isShared)
        m_portChannel->awaitReplies();
}

bool Link::check(const LinkOptions &options, QString *error)
{
    SerialPortSetting serial;
    TcpAddress tcp;
    return (options.port.isEmpty() || parseSerialPort(options.port, &serial, error)) &&
           (options.tcp.isEmpty() || parseTcpAddress(options.tcp, &tcp, error));
}

bool Link::open(const LinkOptions &options, const DriverSetting &setting, TraceLog *trace,
                QTextStream &warning, QString *error)
{
    const bool opened = options.simulated       ? openSimulated(setting.stationid, warning, error)
                        : options.tcp.isEmpty() ? openSerial(options.port, warning, error)
                                                : openSocket(options.tcp, setting.timeout, error);
    if (!opened)
        return false;
    m_isShared = !options.simulated && options.tcp.isEmpty();
    m_portChannel.reset(new PortChannel(*m_port, setting));
    m_channel.reset(new StoppableChannel(*m_portChannel, setting.timeout, trace));
    return true;
}

bool Link::openSerial(const QString &text, QTextStream &warning, QString *error)
{
    SerialPortSetting setting;
    if (!parseSerialPort(text, &setting, error))
        return false;
    m_name = setting.device;
    QStringList warnings;
    m_port = openSerialPort(setting, error, &warnings);
    for (const QString &line : qAsConst(warnings))
        warning << "kvlink: " << escapedText(line.toUtf8()) << '\n';
    if (!m_port)
        *error = QString::fromLatin1("cannot open %1: %2").arg(setting.device, *error);
    return m_port != nullptr;
}

bool Link::openSimulated(int station, QTextStream &warning, QString *error)
{
    m_simulator.reset(new BackgroundSimulator(station));
    if (!m_simulator->start(error)) {
        *error = QLatin1String("cannot start the simulated PLC: ") + *error;
        return false;
    }
    return openSerial(m_simulator->path() + QLatin1String(",9600,8n1"), warning, error);
}

bool Link::openSocket(const QString &text, int timeoutMs, QString *error)
{
    TcpAddress address;
    if (!parseTcpAddress(text, &address, error))
        return false;
    m_name = text;
    m_port = openTcp(address, timeoutMs, error);
    if (!m_port)
        *error = QString::fromLatin1("cannot connect to %1: %2").arg(text, *error);
    return m_port != nullptr;
}

SerialErrors Link::errors() const
{
    return m_port->errors();
}

QString Link::brokenText() const
{
    return m_port->brokenText();
}
