#include "session.h"

#include "command_line.h"
#include "drivers/driver_interface.h"
#include "host/driver_outcome.h"
#include "host/escaped_text.h"
#include "host/tcp_port.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QTextStream>

namespace
{

struct OutcomeRow {
    DriverOutcome outcome;
    ExitStatus status;
    const char *fault;
};

const OutcomeRow OUTCOMES[] = {
    {DriverOutcome::PlcError, StatusPlcError, "the PLC answered with an error"},
    {DriverOutcome::NoReply, StatusNoReply, "no reply"},
    {DriverOutcome::UnusableReply, StatusUnusable, "unusable reply"},
    {DriverOutcome::Refused, StatusUnusable, "request refused"},
};

const OutcomeRow &outcomeRow(DriverOutcome outcome)
{
    for (const OutcomeRow &row : OUTCOMES) {
        if (row.outcome == outcome)
            return row;
    }
    return OUTCOMES[3];
}

} // namespace

int complain(QTextStream &err, const QString &text, ExitStatus status)
{
    err << "kvlink: " << escapedText(text.toUtf8()) << '\n';
    return status;
}

Session::Session(const LinkOptions &options, QTextStream &err)
    : m_options(options), m_err(err), m_hasProject(false)
{}

Session::~Session() {}

bool Session::loadDriver(Failure *failure)
{
    failure->status = StatusOpen;
    const QString path = m_options.driverPath.empty() ? DriverPlugin::defaultPath()
                                                      : argumentText(m_options.driverPath);
    return (m_options.projectPort.empty() || findProject(failure)) &&
           m_plugin.load(path, &failure->text);
}

bool Session::findProject(Failure *failure)
{
    TcpAddress tcp;
    if (!m_options.tcp.empty() &&
        !parseTcpAddress(argumentText(m_options.tcp), &tcp, &failure->text))
        return false;
    m_hasProject = registerProjectDatabase(argumentText(m_options.projectFile), &failure->text) &&
                   findProjectLink(argumentText(m_options.projectPort), tcp.host, tcp.port,
                                   &m_project, &failure->text);
    return m_hasProject;
}

// The driver's defaults, as far as neither the command line nor the project says otherwise.
DriverSetting Session::pacing() const
{
    const std::unique_ptr<DriverSetting> defaults(driver()->getDefaultDriverSetting());
    const int station = m_hasProject ? m_project.station : m_options.station;
    return DriverSetting(m_options.timeoutMs < 0 ? defaults->timeout : m_options.timeoutMs,
                         m_options.retry < 0 ? defaults->retry : m_options.retry,
                         station < 0 ? defaults->stationid : station,
                         m_options.delayMs < 0 ? defaults->delay : m_options.delayMs);
}

bool Session::openLink(Failure *failure)
{
    m_link.reset(); // a port is locked: it cannot be opened anew before it is closed
    m_link.reset(new Link);
    failure->status = StatusOpen;
    if (!m_link->open(m_options, pacing(), m_options.trace ? &m_err : nullptr, m_err,
                      &failure->text))
        return false;
    driver()->initialize(channel());
    return true;
}

QByteArray Session::read(const CommunicatorCommand &command, Failure *failure)
{
    const QByteArray data = driver()->read(channel(), command);
    if (!data.isEmpty() && data.size() >= command.byteLength())
        return data;
    *failure = requestFailure(command);
    return QByteArray();
}

bool Session::write(const CommunicatorCommand &command, const QByteArray &data, Failure *failure)
{
    if (driver()->write(channel(), command, data) == 1)
        return true;
    *failure = requestFailure(command);
    return false;
}

Failure Session::requestFailure(const CommunicatorCommand &command) const
{
    const QString text = driver()->hasError() ? driver()->getLastError() : QString();
    const OutcomeRow &row = outcomeRow(driverOutcome(text));
    Failure failure;
    failure.status = row.status;
    failure.text = QLatin1String(row.fault);
    if (!text.isEmpty())
        failure.text += QLatin1String(": ") + text;
    failure.text +=
        QString::fromLatin1(" (address %1, port %2").arg(command.address, m_link->name());
    const QString broken = m_link->brokenText();
    if (!broken.isEmpty())
        failure.text += QLatin1String(": ") + broken;
    failure.text += QLatin1Char(')');
    return failure;
}
