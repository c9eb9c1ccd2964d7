// decode: the lines of a trace or capture with their meanings and times, and what they come to.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "runtime/capture.h"
#include "runtime/failure_text.h"
#include "runtime/trace_log.h"
#include "runtime/whole_file.h"

#include <CLI/CLI.hpp>

#include <QtCore/QFile>
#include <QtCore/QTextStream>

#include <memory>

namespace
{

const int SHOWN_BAD_LINES = 20;

// One line, with the seconds since the first line and since the line before.
void printLine(const CapturedLine &line, const QString &fault, double *first, double *previous,
               QTextStream &out)
{
    if (line.seconds >= 0) {
        *first = *first < 0 ? line.seconds : *first;
        const double since = *previous < 0 ? 0 : line.seconds - *previous;
        *previous = line.seconds;
        out << QString::number(line.seconds - *first, 'f', 6) << ' '
            << QLatin1String(since < 0 ? "" : "+") << QString::number(since, 'f', 6) << ' ';
    }
    out << explainedLine(line.direction, line.bytes);
    if (!fault.isEmpty())
        out << ", " << fault;
    out << '\n';
}

int runDecode(const QString &name, QTextStream &out, QTextStream &err)
{
    QFile file;
    if (!openInput(name, &file))
        return complain(err,
                        QString::fromLatin1("cannot read %1: %2").arg(name, file.errorString()),
                        StatusOpen);
    CaptureSummary summary;
    double first = -1;
    double previous = -1;
    int lines = 0;
    int bad = 0;
    const auto take = [&](const CapturedLine &line) {
        ++lines;
        printLine(line, summary.add(line), &first, &previous, out);
        return out.status() == QTextStream::Ok;
    };
    const auto refuse = [&](int number) {
        if (++bad <= SHOWN_BAD_LINES)
            complain(err,
                     QString::fromLatin1("%1:%2: expected time, direction and a line, as text or "
                                         "hexadecimal bytes")
                         .arg(name, QString::number(number)),
                     StatusGood);
    };
    readCapture(file, take, refuse);
    if (bad > SHOWN_BAD_LINES)
        complain(err, QString::fromLatin1("and %1 more such lines").arg(bad - SHOWN_BAD_LINES),
                 StatusGood);
    out.flush();
    if (lines == 0)
        return complain(err, name + QLatin1String(" holds no line of the wire"), StatusUsage);
    for (const QString &text : summary.finish())
        complain(err, text, StatusGood);
    return bad > 0 ? StatusSome : StatusGood;
}

} // namespace

void addDecodeCommand(CLI::App &app, CommandLine *line)
{
    const auto file = std::make_shared<QString>();
    CLI::App *command =
        app.add_subcommand("decode", "Explain the lines of a trace or capture; opens no port");
    command
        ->add_option_function<std::string>("file", into(file.get()),
                                           "Trace, or capture of another program; - for stdin")
        ->required()
        ->type_name("TRACE");
    command->callback([line, file] {
        line->needsLink = false;
        line->run = [file](const LinkOptions &, QTextStream &out, QTextStream &err) {
            return runDecode(*file, out, err);
        };
    });
}
