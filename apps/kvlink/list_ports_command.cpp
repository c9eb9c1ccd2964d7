// list-ports: the serial ports of this machine.
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_output.h"
#include "runtime/failure_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QDir>
#include <QtCore/QTextStream>
#include <QtCore/QVector>
#include <QtSerialPort/QSerialPortInfo>

#include <memory>

namespace
{

// The files that processes have open, as far as we may see. Opening a port only to learn whether it
// is taken would set the levels on its wire.
QSet<QString> openFiles()
{
    QSet<QString> files;
    QDir processes(QLatin1String("/proc"));
    for (const QString &process : processes.entryList({QLatin1String("[0-9]*")}, QDir::Dirs)) {
        const QDir open(processes.filePath(process + QLatin1String("/fd")));
        for (const QFileInfo &file : open.entryInfoList(QDir::Files | QDir::System))
            files += file.symLinkTarget();
    }
    return files;
}

QString usbId(const QSerialPortInfo &port)
{
    if (!port.hasVendorIdentifier() || !port.hasProductIdentifier())
        return QString();
    return QString::fromLatin1("%1:%2")
        .arg(port.vendorIdentifier(), 4, 16, QLatin1Char('0'))
        .arg(port.productIdentifier(), 4, 16, QLatin1Char('0'));
}

OutputTable portTable()
{
    OutputTable table;
    table.columns = {{"device", "device"},
                     {"description", "description"},
                     {"manufacturer", "manufacturer"},
                     {"serialNumber", "serial number"},
                     {"vidPid", "VID:PID"},
                     {"busy", "busy"}};
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    const QSet<QString> taken = ports.isEmpty() ? QSet<QString>() : openFiles();
    for (const QSerialPortInfo &port : ports) {
        const QString device = port.systemLocation();
        const QString file = QFileInfo(device).canonicalFilePath();
        table.rows.append(QVector<QJsonValue>{device, port.description(), port.manufacturer(),
                                              port.serialNumber(), usbId(port),
                                              taken.contains(file)});
    }
    return table;
}

int runListPorts(const OutputFormat &format, QTextStream &out, QTextStream &err)
{
    const OutputTable table = portTable();
    if (table.rows.isEmpty() && format.isForPeople)
        return complain(err, QLatin1String("no serial ports"), StatusGood);
    format.printTable(table, out);
    return StatusGood;
}

} // namespace

void addListPortsCommand(CLI::App &app, CommandLine *line)
{
    const auto format = std::make_shared<const OutputFormat *>(defaultFormat());
    CLI::App *command = app.add_subcommand("list-ports", "List the serial ports of this machine");
    addFormatOption(command, format.get(), true);
    command->callback([line, format] {
        line->needsLink = false;
        line->run = [format](const LinkOptions &, QTextStream &out, QTextStream &err) {
            return runListPorts(**format, out, err);
        };
    });
}
