#include "runtime/link.h"

#include "runtime/device_channel.h"
#include "runtime/failure_text.h"
#include "runtime/link_channel.h"
#include "runtime/serial_port.h"
#include "runtime/stop_request.h"
#include "runtime/tcp_port.h"
#include "runtime/wire_line.h"
#include "simulator/background_simulator.h"
#include "tools/drv_dev_setting.h"

// A stop does not wait for late replies.
class PortChannel : public DeviceChannel
{
public:
    PortChannel(Port &port, const DriverSetting &setting) : DeviceChannel(port, setting) {}

    StrayInput stray;

protected:
    bool mayWait() const override { return !stopRequested(); }

    void noteStray(const char *bytes, int length, bool isLate) override
    {
        for (int i = 0; i < length; ++i)
            ++(!isReplyByte(bytes[i]) ? stray.damaged : isLate ? stray.late : stray.unasked);
    }
};

QString aboutLink(const QString &link, const QString &text)
{
    return link.isEmpty() ? text : link + QLatin1String(": ") + text;
}

QString lineName(const LinkOptions &options)
{
    return options.simulated ? QString::fromLatin1("simulated PLC") : options.port + options.tcp;
}

LineSpeed lineSpeed(const LinkOptions &options, int baudRate)
{
    SerialPortSetting setting;
    const bool isPort = !options.port.isEmpty() && !parseSerialPort(options.port, &setting);
    const int ownRate = isPort && !isPseudoTerminal(setting.device) ? setting.baudRate : 0;
    return {baudRate > 0 ? baudRate : ownRate, bitsPerCharacter(setting)};
}

Failure openPort(const LinkOptions &options, int timeoutMs, std::unique_ptr<Port> *port,
                 QString *name, QStringList *warnings)
{
    SerialPortSetting serial;
    TcpAddress tcp;
    const bool isTcp = !options.tcp.isEmpty();
    Failure failure =
        isTcp ? parseTcpAddress(options.tcp, &tcp) : parseSerialPort(options.port, &serial);
    if (failure)
        return failure;
    *name = isTcp ? options.tcp : serial.device;
    failure = isTcp ? openTcp(tcp, timeoutMs, port) : openSerialPort(serial, port, warnings);
    if (failure)
        return Failure(StatusOpen, QString::fromLatin1(isTcp ? "cannot connect to %1: %2"
                                                             : "cannot open %1: %2")
                                       .arg(*name, failure.text()));
    return Failure();
}

Link::Link() : m_isShared(false) {}

// A serial wire has no memory of who asked: the next program would get the replies still due.
Link::~Link()
{
    if (m_portChannel && m_isShared)
        m_portChannel->awaitReplies();
}

Failure Link::check(const LinkOptions &options)
{
    SerialPortSetting serial;
    TcpAddress tcp;
    if (!options.port.isEmpty())
        return parseSerialPort(options.port, &serial);
    return options.tcp.isEmpty() ? Failure() : parseTcpAddress(options.tcp, &tcp);
}

Failure Link::open(const LinkOptions &options, const DriverSetting &setting, TraceLog *trace,
                   QTextStream &warning)
{
    Failure failure = options.simulated ? openSimulated(setting.stationid, warning)
                                        : openNamed(options, setting.timeout, warning);
    if (failure)
        return failure;
    m_isShared = !options.simulated && options.tcp.isEmpty();
    m_portChannel.reset(new PortChannel(*m_port, setting));
    m_channel.reset(new LinkChannel(*m_portChannel, setting.timeout, trace));
    return Failure();
}

Failure Link::openNamed(const LinkOptions &options, int timeoutMs, QTextStream &warning)
{
    QStringList warnings;
    Failure failure = openPort(options, timeoutMs, &m_port, &m_name, &warnings);
    for (const QString &line : qAsConst(warnings))
        complain(warning, aboutLink(options.name, line), StatusGood);
    return failure;
}

Failure Link::openSimulated(int station, QTextStream &warning)
{
    QString error;
    m_simulator.reset(new BackgroundSimulator(station));
    if (!m_simulator->start(&error))
        return Failure(StatusOpen, QLatin1String("cannot start the simulated PLC: ") + error);
    LinkOptions options;
    options.port = m_simulator->path() + QLatin1String(",9600,8n1");
    return openNamed(options, 0, warning);
}

SerialErrors Link::errors() const
{
    return m_port->errors();
}

QString Link::latencyText() const
{
    return m_port->latencyText();
}

StrayInput Link::stray() const
{
    return m_portChannel->stray;
}

QString Link::brokenText() const
{
    return m_port->brokenText();
}
