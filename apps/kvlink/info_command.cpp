// info: what the driver says of itself. Opens no port, even where one is named.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_options.h"
#include "drivers/driver_interface.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"
#include "runtime/port_latency.h"
#include "runtime/serial_port.h"
#include "tools/drv_dev_setting.h"

#include <CLI/CLI.hpp>

#include <QtCore/QFile>
#include <QtCore/QTextStream>

#include <memory>

namespace
{

// The kinds of devices that a driver supports; only one of them has a name here.
QString kindsText(int flags)
{
    QStringList kinds, others;
    for (quint32 kind = 1; kind != 0; kind <<= 1) {
        if (!(static_cast<quint32>(flags) & kind))
            continue;
        if (kind == RS232Device)
            kinds += QString::fromLatin1("RS-232C (%1)").arg(kind);
        else
            others += QString::number(kind);
    }
    if (!others.isEmpty())
        kinds +=
            QString::fromLatin1("others of the runtime (%1)").arg(others.join(QLatin1String(", ")));
    return kinds.join(QLatin1String(", "));
}

// A code of a serial setting; only one of each has a name here.
QString codeText(int code, int known, const char *text, const char *what)
{
    return code == known ? QString(QLatin1String(text))
                         : QString::fromLatin1("%1 code %2").arg(QLatin1String(what)).arg(code);
}

// What is in force, and where it comes from.
void printSettings(const CommandLine &line, const QString &tagFile, const Client &client,
                   QTextStream &out)
{
    const auto print = [&](const char *option, const QString &value, const char *otherwise) {
        const auto origin = line.origins.find(option);
        out << option << ": " << printableText(value) << " ("
            << (origin == line.origins.end() ? otherwise : origin->second.c_str()) << ")\n";
    };
    const LinkOptions &options = line.link;
    const DriverSetting pacing = client.pacing();
    if (!line.linkName.empty())
        print("link", argumentText("[" + line.linkName + "] of " + line.linksFile), "");
    if (!options.port.isEmpty())
        print("port", options.port, "");
    SerialPortSetting serial;
    const bool isSerial = !options.port.isEmpty() && !parseSerialPort(options.port, &serial);
    const int latencyMs = isSerial ? adapterLatencyMs(serialDevicePath(serial.device)) : -1;
    if (latencyMs >= 0)
        print("latency", QString::fromLatin1("%1 ms").arg(latencyMs),
              "the adapter's; low while the port is open, where that may be set");
    if (!options.tcp.isEmpty())
        print("tcp", options.tcp, "");
    print("station", QString::number(pacing.stationid), client.project() ? "project" : "default");
    print("timeout", QString::number(pacing.timeout) + QLatin1String(" ms"), "default");
    print("retry", QString::number(pacing.retry), "default");
    print("delay", QString::number(pacing.delay) + QLatin1String(" ms"), "default");
    if (!tagFile.isEmpty())
        print("tags", tagFile,
              QFile::decodeName(qgetenv(TAGS_VARIABLE)) == tagFile ? TAGS_VARIABLE
                                                                   : "command line");
}

int runInfo(const CommandLine &line, const QString &tagFile, const LinkOptions &options,
            QTextStream &out, QTextStream &err)
{
    Client client(options, err);
    if (Failure failure = client.loadDriver())
        return complain(err, failure);
    DriverInterface *driver = client.driver();
    const std::unique_ptr<DeviceSetting> device(driver->getDefaultSerialDeviceSetting());
    const std::unique_ptr<DriverSetting> link(driver->getDefaultDriverSetting());
    out << "name: " << printableText(driver->name()) << '\n'
        << "vendor: " << printableText(driver->vender()) << '\n'
        << "version: " << printableText(driver->getVersionNumber()) << '\n'
        << "supported kinds: " << kindsText(driver->supportedCommunicationFlags()) << '\n'
        << "default serial setting: " << printableText(driver->getStringBasedDefaultDriverSetting())
        << '\n'
        << "default serial device: " << printableText(device->string) << ", " << device->baudrate
        << " baud, " << device->databits << " data bits, "
        << codeText(device->parity, EvenParityCode, "even parity", "parity") << ", "
        << codeText(device->stopbits, OneStopBitCode, "1 stop bit", "stop-bit") << '\n'
        << "default driver setting: timeout " << link->timeout << " ms, retry " << link->retry
        << ", station " << link->stationid << ", delay " << link->delay << " ms\n"
        << "total size: " << driver->totalSize() << '\n'
        << "block size: " << driver->getBlockAccessSize() << '\n'
        << "bit block size: " << driver->getBitBlockAccessSize() << '\n'
        << "plug-in: " << printableText(client.plugin().path()) << '\n';
    if (const ProjectLink *project = client.project())
        out << "project link: HMI port " << project->hmiPort << ", link " << project->linkId
            << ", station " << project->station << '\n';
    printSettings(line, tagFile, client, out);
    return StatusGood;
}

} // namespace

void addInfoCommand(CLI::App &app, CommandLine *line)
{
    CLI::App *info = app.add_subcommand("info", "Describe the driver and the link; opens no port");
    const auto tagFile = std::make_shared<QString>();
    addTagsOption(info, tagFile.get());
    info->callback([line, tagFile] {
        line->needsLink = false;
        line->run = [line, tagFile](const LinkOptions &options, QTextStream &out,
                                    QTextStream &err) {
            return runInfo(*line, *tagFile, options, out, err);
        };
    });
}
