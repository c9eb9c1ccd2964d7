#include "commands.h"

#include "drivers/driver_interface.h"
#include "host/driver_outcome.h"
#include "host/driver_plugin.h"
#include "host/escaped_text.h"
#include "host/project_database.h"
#include "host/tcp_port.h"
#include "item_values.h"
#include "link.h"
#include "options.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QTextStream>

#include <memory>

namespace
{

const struct {
    DriverOutcome outcome;
    ExitStatus status;
    const char *fault;
} FAILURES[] = {
    {DriverOutcome::PlcError, StatusPlcError, "the PLC answered with an error"},
    {DriverOutcome::NoReply, StatusNoReply, "no reply"},
    {DriverOutcome::UnusableReply, StatusUnusable, "unusable reply"},
    {DriverOutcome::Refused, StatusUnusable, "request refused"},
};

// Addresses and texts of a peer may hold anything; the message is one printable line.
int complain(QTextStream &err, const QString &text, ExitStatus status)
{
    err << "kvlink: " << escapedText(text.toUtf8()) << '\n';
    return status;
}

// The station that the project database names, into the options.
bool takeProjectStation(Options *options, ProjectLink *link, QString *error)
{
    TcpAddress tcp;
    if (!options->tcp.empty() && !parseTcpAddress(argumentText(options->tcp), &tcp, error))
        return false;
    if (!registerProjectDatabase(argumentText(options->projectFile), error) ||
        !findProjectLink(argumentText(options->projectPort), tcp.host, tcp.port, link, error))
        return false;
    options->station = link->station;
    return true;
}

bool loadDriver(const Options &options, DriverPlugin *plugin, QString *error)
{
    const QString path =
        options.driverPath.empty() ? DriverPlugin::defaultPath() : argumentText(options.driverPath);
    return plugin->load(path, error);
}

// The driver's defaults, as far as the command line does not say otherwise.
DriverSetting pacing(const Options &options, DriverInterface *driver)
{
    const std::unique_ptr<DriverSetting> defaults(driver->getDefaultDriverSetting());
    return DriverSetting(options.timeoutMs < 0 ? defaults->timeout : options.timeoutMs,
                         options.retry < 0 ? defaults->retry : options.retry,
                         options.station < 0 ? defaults->stationid : options.station,
                         options.delayMs < 0 ? defaults->delay : options.delayMs);
}

int reportFailure(const Options &options, DriverInterface *driver, const Link &link,
                  QTextStream &err)
{
    const QString text = driver->hasError() ? driver->getLastError() : QString();
    const DriverOutcome outcome = driverOutcome(text);
    for (const auto &failure : FAILURES) {
        if (failure.outcome != outcome)
            continue;
        QString message = QLatin1String(failure.fault);
        if (!text.isEmpty())
            message += QLatin1String(": ") + text;
        message += QString::fromLatin1(" (address %1, port %2")
                       .arg(argumentText(options.address), link.name());
        const QString broken = link.brokenText();
        if (!broken.isEmpty())
            message += QLatin1String(": ") + broken;
        return complain(err, message + QLatin1Char(')'), failure.status);
    }
    return StatusUnusable;
}

int runProjectInit(const Options &options, QTextStream &err)
{
    QString error;
    const QString file = argumentText(options.projectFile);
    if (!writeExampleProject(file, &error))
        return complain(err, error, StatusOpen);
    err << "kvlink: wrote " << escapedText(file.toUtf8())
        << ": COM2 leads to station 1, ETHERNET to 127.0.0.1:8501\n";
    return StatusGood;
}

int runInfo(const DriverPlugin &plugin, const ProjectLink *project, QTextStream &out)
{
    DriverInterface *driver = plugin.driver();
    const std::unique_ptr<DeviceSetting> device(driver->getDefaultSerialDeviceSetting());
    const std::unique_ptr<DriverSetting> link(driver->getDefaultDriverSetting());
    out << "name: " << driver->name() << '\n'
        << "vendor: " << driver->vender() << '\n'
        << "version: " << driver->getVersionNumber() << '\n'
        << "supported flags: " << driver->supportedCommunicationFlags() << '\n'
        << "default serial setting: " << driver->getStringBasedDefaultDriverSetting() << '\n'
        << "default serial device: " << device->string << ", " << device->baudrate << " baud, "
        << device->databits << " data bits, stop-bit code " << device->stopbits << ", parity code "
        << device->parity << '\n'
        << "default driver setting: timeout " << link->timeout << " ms, retry " << link->retry
        << ", station " << link->stationid << ", delay " << link->delay << " ms\n"
        << "total size: " << driver->totalSize() << '\n'
        << "block size: " << driver->getBlockAccessSize() << '\n'
        << "bit block size: " << driver->getBitBlockAccessSize() << '\n'
        << "plug-in: " << plugin.path() << '\n';
    if (project)
        out << "project link: HMI port " << project->hmiPort << ", link " << project->linkId
            << ", station " << project->station << '\n';
    return StatusGood;
}

int runRead(const Options &options, DriverInterface *driver, const Link &link, QTextStream &out,
            QTextStream &err)
{
    const ItemKind &kind = itemKind(options.kind);
    const CommunicatorCommand command(kind.kind, static_cast<quint32>(options.count),
                                      argumentText(options.address));
    const QByteArray data = driver->read(link.channel(), command);
    if (data.isEmpty() || data.size() < command.byteLength())
        return reportFailure(options, driver, link, err);
    printValues(kind, data, options.count, out);
    return StatusGood;
}

int runWrite(const Options &options, DriverInterface *driver, const Link &link,
             const QByteArray &data, QTextStream &err)
{
    const CommunicatorCommand command(itemKind(options.kind).kind,
                                      static_cast<quint32>(options.values.size()),
                                      argumentText(options.address));
    if (driver->write(link.channel(), command, data) != 1)
        return reportFailure(options, driver, link, err);
    return StatusGood;
}

} // namespace

int runCommand(const Options &given, QTextStream &out, QTextStream &err)
{
    // Everything that the command line alone can get wrong comes before anything is opened.
    Options options(given);
    QString error;
    QByteArray data;
    if (!Link::check(options, &error) ||
        !packValues(itemKind(options.kind), options.values, &data, &error))
        return complain(err, error, StatusUsage);
    if (options.command == Options::ProjectInit)
        return runProjectInit(options, err);

    ProjectLink project = {0, 0, 0};
    const bool ofProject = !options.projectPort.empty();
    DriverPlugin plugin;
    if ((ofProject && !takeProjectStation(&options, &project, &error)) ||
        !loadDriver(options, &plugin, &error))
        return complain(err, error, StatusOpen);
    if (options.command == Options::Info)
        return runInfo(plugin, ofProject ? &project : nullptr, out);

    Link link;
    if (!link.open(options, pacing(options, plugin.driver()), options.trace ? &err : nullptr, err,
                   &error))
        return complain(err, error, StatusOpen);
    plugin.driver()->initialize(link.channel());
    return options.command == Options::Read ? runRead(options, plugin.driver(), link, out, err)
                                            : runWrite(options, plugin.driver(), link, data, err);
}
