#include "link.h"

#include "host/device_channel.h"
#include "host/escaped_text.h"
#include "host/port_error.h"
#include "host/serial_port.h"
#include "host/tcp_port.h"
#include "host/traced_channel.h"
#include "command_line.h"
#include "simulator/background_simulator.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QTextStream>

Link::Link() {}

Link::~Link() {}

bool Link::check(const LinkOptions &options, QString *error)
{
    SerialPortSetting serial;
    TcpAddress tcp;
    return (options.port.empty() || parseSerialPort(argumentText(options.port), &serial, error)) &&
           (options.tcp.empty() || parseTcpAddress(argumentText(options.tcp), &tcp, error));
}

bool Link::open(const LinkOptions &options, const DriverSetting &setting, QTextStream *trace,
                QTextStream &warning, QString *error)
{
    const bool opened = options.simulated ? openSimulated(setting.stationid, warning, error)
                        : options.tcp.empty()
                            ? openSerial(argumentText(options.port), warning, error)
                            : openSocket(argumentText(options.tcp), setting.timeout, error);
    if (!opened)
        return false;
    m_channel.reset(new DeviceChannel(m_port.get(), setting));
    if (trace) {
        m_portChannel.swap(m_channel);
        m_channel.reset(new TracedChannel(*m_portChannel, *trace));
    }
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

QString Link::brokenText() const
{
    return brokenPortText(*m_port);
}
