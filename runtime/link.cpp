#include "runtime/link.h"

#include "runtime/device_channel.h"
#include "runtime/escaped_text.h"
#include "runtime/link_channel.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "runtime/stop_request.h"
#include "simulator/background_simulator.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QTextStream>

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
    m_channel.reset(new LinkChannel(*m_portChannel, setting.timeout, trace));
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
