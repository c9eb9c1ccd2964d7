// list-ports: the serial ports of this machine.
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_output.h"
#include "runtime/failure_text.h"
#include "runtime/port_inspector.h"
#include "runtime/port_latency.h"

#include <CLI/CLI.hpp>

#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QTextStream>
#include <QtCore/QVector>
#include <QtSerialPort/QSerialPortInfo>

#include <memory>

namespace
{

QString usbId(const QSerialPortInfo &port)
{
    if (!port.hasVendorIdentifier() || !port.hasProductIdentifier())
        return QString();
    return QString::fromLatin1("%1:%2")
        .arg(port.vendorIdentifier(), 4, 16, QLatin1Char('0'))
        .arg(port.productIdentifier(), 4, 16, QLatin1Char('0'));
}

bool mayOpen(const QString &device)
{
    const QFileInfo file(device);
    return file.isReadable() && file.isWritable();
}

OutputTable portTable(const QList<QSerialPortInfo> &ports)
{
    OutputTable table;
    table.columns = {{"device", "device"},
                     {"byId", "by-id"},
                     {"description", "description"},
                     {"manufacturer", "manufacturer"},
                     {"serialNumber", "serial number"},
                     {"vidPid", "VID:PID"},
                     {"allowed", "allowed"},
                     {"busy", "busy"},
                     {"usedBy", "used by"},
                     {"latencyMs", "latency (ms)"}};
    const PortInspector inspector;
    for (const QSerialPortInfo &port : ports) {
        const QString device = port.systemLocation();
        const QStringList users = inspector.users(device);
        const int latencyMs = adapterLatencyMs(device);
        table.rows.append(QVector<QJsonValue>{
            device, inspector.lastingName(device), port.description(), port.manufacturer(),
            port.serialNumber(), usbId(port), mayOpen(device), !users.isEmpty(),
            users.join(QLatin1String(", ")), latencyMs < 0 ? QJsonValue() : QJsonValue(latencyMs)});
    }
    return table;
}

// Names the group that may open the ports that we may not, if there is one.
void explainRights(const QList<QSerialPortInfo> &ports, QTextStream &err)
{
    QMap<QString, QStringList> closed;
    for (const QSerialPortInfo &port : ports) {
        const QString device = port.systemLocation();
        const bool isForGroup = QFileInfo(device).permission(QFile::WriteGroup);
        if (!mayOpen(device))
            closed[isForGroup ? QFileInfo(device).group() : QString()] += device;
    }
    for (auto group = closed.constBegin(); group != closed.constEnd(); ++group)
        complain(err,
                 QString::fromLatin1("you may not open %1: %2")
                     .arg(group.value().join(QLatin1String(", ")),
                          group.key().isEmpty()
                              ? QLatin1String("only its owner may")
                              : QString::fromLatin1("its group %1 may; \"sudo usermod -aG %1 "
                                                    "$USER\" adds you from your next login on")
                                    .arg(group.key())),
                 StatusGood);
}

int runListPorts(const OutputFormat &format, QTextStream &out, QTextStream &err)
{
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    const OutputTable table = portTable(ports);
    if (table.rows.isEmpty() && format.isForPeople)
        return complain(err, QLatin1String("no serial ports"), StatusGood);
    format.printTable(table, out);
    explainRights(ports, err);
    return StatusGood;
}

} // namespace

void addListPortsCommand(CLI::App &app, CommandLine *line)
{
    const auto format = std::make_shared<const OutputFormat *>(defaultFormat());
    CLI::App *command = app.add_subcommand("list-ports", "List the serial ports of this machine");
    addFormatOption(command, format.get(), OutputKind::Table);
    command->callback([line, format] {
        line->needsLink = false;
        line->run = [format](const LinkOptions &, QTextStream &out, QTextStream &err) {
            return runListPorts(**format, out, err);
        };
    });
}
