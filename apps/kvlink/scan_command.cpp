// scan: finds a PLC of which settings or station are unknown.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_output.h"
#include "apps/kvlink/progress.h"
#include "runtime/escaped_text.h"
#include "runtime/failure_text.h"
#include "runtime/line_scan.h"
#include "runtime/link.h"
#include "runtime/stop_request.h"
#include "runtime/trace_log.h"

#include <CLI/CLI.hpp>

#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

#include <memory>

namespace
{

const int MAX_STATION = 99;

struct ScanArguments {
    QString stations = QStringLiteral("0-99");
    bool findsAll = false;
    const OutputFormat *format = defaultFormat();
};

// The stations of a list such as 0,3,10-12, each once; none when the text is no such list.
QVector<int> stationsOf(const QString &text)
{
    static const QRegularExpression range(QLatin1String("\\A([0-9]{1,3})(?:-([0-9]{1,3}))?\\z"));
    QVector<int> stations;
    for (const QString &part : text.split(QLatin1Char(','))) {
        const QRegularExpressionMatch match = range.match(part);
        const int first = match.captured(1).toInt();
        const int last = match.captured(2).isEmpty() ? first : match.captured(2).toInt();
        if (!match.hasMatch() || last < first || last > MAX_STATION)
            return QVector<int>();
        for (int station = first; station <= last; ++station) {
            if (!stations.contains(station))
                stations += station;
        }
    }
    return stations;
}

std::string stationsError(const std::string &text)
{
    return stationsOf(argumentText(text)).isEmpty()
               ? text + " is not a list of stations from 0 to 99, such as 0,3,10-12"
               : std::string();
}

QString durationText(qint64 ms)
{
    const qint64 seconds = (ms + 999) / 1000;
    const QString rest = QString::number(seconds % 60) + QLatin1String(" s");
    return seconds < 60 ? rest : QString::number(seconds / 60) + QLatin1String(" min ") + rest;
}

// Says what is searched and how long that takes; on a terminal also how far it is, in a line that
// is written again and again.
class ScanProgress
{
public:
    ScanProgress(QTextStream &err, const QString &trace)
        : m_err(err), m_line(err, trace), m_isFirst(true)
    {}

    void show(const ScanStep &step)
    {
        const QString settings = countText(step.settings, "setting", "settings");
        if (step.isFirst) {
            clear();
            const QString stations = step.stations == 1
                                         ? QString::fromLatin1("station %1").arg(step.station)
                                         : countText(step.stations, "station", "stations");
            const char *start = m_isFirst         ? "searching"
                                : step.isRepeated ? "no reply in time; with longer waits, searching"
                                                  : "nothing yet; searching";
            const QString what = step.hasPlc
                                     ? QString::fromLatin1("a PLC answers under %1; searching %2")
                                           .arg(step.setting, stations)
                                     : QString::fromLatin1("%1 %2 for %3")
                                           .arg(QLatin1String(start), settings, stations);
            complain(m_err,
                     QString::fromLatin1("%1; at most %2").arg(what, durationText(step.leftMs)),
                     StatusGood);
            m_isFirst = false;
        }
        m_line.show(QString::fromLatin1("%1, station %2; %3 left, %4")
                        .arg(step.setting, QString::number(step.station), settings,
                             durationText(qMax<qint64>(0, step.leftMs))));
    }

    void clear() { m_line.clear(); }

private:
    QTextStream &m_err;
    RewrittenLine m_line;
    bool m_isFirst;
};

OutputTable tableOf(const LineScan &scan)
{
    OutputTable table;
    table.columns = {{"options", "options"}, {"station", "station"}, {"openMs", "open (ms)"}};
    for (const ScanFind &find : scan.finds()) {
        const QString options =
            QString::fromLatin1("%1 --station %2").arg(find.option).arg(find.station);
        const double ms = static_cast<double>(qRound(find.openMs * 1000)) / 1000;
        table.rows.append(QVector<QJsonValue>{options, find.station, ms});
    }
    return table;
}

// What came under a setting that is no reply.
QString garbageText(const ScanSetting &setting)
{
    const QString counts = serialErrorsText(setting.errors);
    return QString::fromLatin1("%1: \"%2\" is no reply%3%4")
        .arg(setting.name, reversiblyEscapedText(setting.garbage),
             counts.isEmpty() ? QString() : QString::fromLatin1(" (%1)").arg(counts),
             QLatin1String(setting.isEcho ? ": what is sent comes back; switch the echo off" : ""));
}

// Says why no station was found.
int reportNothing(const LineScan &scan, QTextStream &err)
{
    int heard = 0;
    for (const ScanSetting &setting : scan.settings()) {
        const QString refusal = setting.refusal.isEmpty()
                                    ? QString()
                                    : QString::fromLatin1(" (error reply \"%1\")")
                                          .arg(escapedText(setting.refusal.trimmed()));
        if (setting.hasPlc)
            return complain(err,
                            QString::fromLatin1("a PLC answers at %1, but opens none of the "
                                                "stations that were tried%2; check --stations and "
                                                "the PLC's mode")
                                .arg(setting.option, refusal),
                            refusal.isEmpty() ? StatusNoReply : StatusPlcError);
        if (!setting.failure.isEmpty())
            complain(err, setting.name + QLatin1String(" was not tried: ") + setting.failure,
                     StatusGood);
        if (setting.garbage.isEmpty())
            continue;
        ++heard;
        complain(err, garbageText(setting), StatusGood);
    }
    if (stopRequested())
        return complain(err, QLatin1String("interrupted before a PLC was found"), StatusNoReply);
    const QString settings = countText(scan.settings().size(), "setting", "settings");
    if (heard > 0)
        return complain(err,
                        QString::fromLatin1("no PLC found: bytes came under %1 of %2, and none "
                                            "are a reply; check for noise, another master and "
                                            "other speeds, and try a longer --timeout")
                            .arg(heard)
                            .arg(settings),
                        StatusNoReply);
    return complain(err,
                    QString::fromLatin1("no PLC found: nothing came under %1; check cable, power, "
                                        "the PLC's port and its mode, and try a longer --timeout")
                        .arg(settings),
                    StatusNoReply);
}

int runScan(const ScanArguments &arguments, const LinkOptions &options, QTextStream &out,
            QTextStream &err)
{
    if (options.simulated)
        return complain(err, QLatin1String("scan searches a wire: name --port or --tcp, not --sim"),
                        StatusUsage);
    if (Failure failure = watchStopSignals())
        return complain(err, failure);
    std::unique_ptr<TraceLog> trace;
    if (!options.trace.isEmpty()) {
        if (Failure failure = openTraceLog(options.trace, err, &trace))
            return complain(err, failure);
    }
    ScanOptions scanned;
    scanned.port = options.port;
    scanned.tcp = options.tcp;
    scanned.stations =
        options.station < 0 ? stationsOf(arguments.stations) : QVector<int>(1, options.station);
    scanned.findsAll = arguments.findsAll;
    scanned.timeoutMs = options.timeoutMs;
    ScanProgress progress(err, options.trace);
    LineScan scan(scanned, trace.get(), [&](const ScanStep &step) { progress.show(step); });
    Failure failure = scan.run();
    progress.clear();
    const OutputTable table = tableOf(scan);
    if (!table.rows.isEmpty() || (!failure && !arguments.format->isForPeople))
        arguments.format->printTable(table, out);
    if (failure)
        return complain(err, Failure(failure.status(), QLatin1String("cannot search ") +
                                                           lineName(options) + QLatin1String(": ") +
                                                           failure.text()));
    return table.rows.isEmpty() ? reportNothing(scan, err) : StatusGood;
}

} // namespace

void addScanCommand(CLI::App &app, CommandLine *line)
{
    const auto scan = std::make_shared<ScanArguments>();
    CLI::App *command = app.add_subcommand("scan", "Find a PLC: baud rate, format and station");
    command
        ->add_option_function<std::string>("--stations", into(&scan->stations),
                                           "Stations to try, in order, such as 0,3,10-12")
        ->default_str("0-99")
        ->type_name("LIST")
        ->check(CLI::Validator(stationsError, ""))
        ->excludes(app.get_option("--station"));
    command->add_flag("--all", scan->findsAll, "Go on behind the first PLC");
    addFormatOption(command, &scan->format, OutputKind::Object);
    command->callback([line, scan] { line->run = withOptions(scan, runScan); });
}
