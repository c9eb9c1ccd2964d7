// list-ports: the serial ports of this machine.
#include "command_line.h"
#include "commands.h"
#include "runtime/failure.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>
#include <QtCore/QVector>
#include <QtSerialPort/QSerialPortInfo>

#include <memory>

namespace
{

const char *const COLUMNS[] = {"device",       "description", "manufacturer",
                               "serialNumber", "vidPid",      "busy"};
enum { COLUMN_COUNT = 6 };

// The files that processes have open, as far as we may see. Opening a port only to learn whether it
// is taken would set its line's levels.
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

QVector<QStringList> portRows()
{
    QVector<QStringList> rows;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    const QSet<QString> taken = ports.isEmpty() ? QSet<QString>() : openFiles();
    for (const QSerialPortInfo &port : ports) {
        const QString device = port.systemLocation();
        const QString file = QFileInfo(device).canonicalFilePath();
        rows.append(QStringList{device, port.description(), port.manufacturer(),
                                port.serialNumber(), usbId(port),
                                QLatin1String(taken.contains(file) ? "yes" : "no")});
    }
    return rows;
}

void printJson(const QVector<QStringList> &rows, QTextStream &out)
{
    QJsonArray ports;
    for (const QStringList &row : rows) {
        QJsonObject port;
        for (int i = 0; i < COLUMN_COUNT - 1; ++i)
            port.insert(QLatin1String(COLUMNS[i]), row.at(i));
        port.insert(QLatin1String(COLUMNS[COLUMN_COUNT - 1]), row.last() == QLatin1String("yes"));
        ports.append(port);
    }
    out << QString::fromUtf8(QJsonDocument(ports).toJson(QJsonDocument::Compact)) << '\n';
}

void printTable(QVector<QStringList> rows, QTextStream &out)
{
    int widths[COLUMN_COUNT] = {};
    rows.prepend({QLatin1String("device"), QLatin1String("description"),
                  QLatin1String("manufacturer"), QLatin1String("serial number"),
                  QLatin1String("VID:PID"), QLatin1String("busy")});
    for (QStringList &row : rows) {
        for (int i = 0; i < COLUMN_COUNT; ++i) {
            row[i] =
                row.at(i).isEmpty() ? QString(QLatin1Char('-')) : escapedText(row.at(i).toUtf8());
            widths[i] = qMax(widths[i], row.at(i).size());
        }
    }
    for (const QStringList &row : qAsConst(rows)) {
        for (int i = 0; i < COLUMN_COUNT - 1; ++i)
            out << row.at(i).leftJustified(widths[i] + 2);
        out << row.last() << '\n';
    }
}

int runListPorts(const std::string &format, QTextStream &out, QTextStream &err)
{
    const QVector<QStringList> rows = portRows();
    if (format == "json")
        printJson(rows, out);
    else if (rows.isEmpty())
        err << "kvlink: no serial ports\n";
    else
        printTable(rows, out);
    return StatusGood;
}

} // namespace

void addListPortsCommand(CLI::App &app, CommandLine *line)
{
    const auto format = std::make_shared<std::string>("text");
    CLI::App *command = app.add_subcommand("list-ports", "List the serial ports of this machine");
    command->add_option("--format", *format, "Form of the output")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("text|json")
        ->capture_default_str();
    command->callback([line, format] {
        line->needsLink = false;
        line->run = [format](const LinkOptions &, QTextStream &out, QTextStream &err) {
            return runListPorts(*format, out, err);
        };
    });
}
