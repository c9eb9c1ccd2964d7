// monitor: reads items again and again on a steady schedule, also through an outage.
#include "apps/option_checks.h"
#include "apps/duration.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_options.h"
#include "apps/kvlink/live_table.h"
#include "apps/kvlink/run_report.h"
#include "apps/standard_streams.h"
#include "items/outage_reader.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"
#include "runtime/log_file.h"
#include "runtime/schedule.h"
#include "runtime/stop_request.h"

#include <CLI/CLI.hpp>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>

#include <cmath>
#include <memory>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

struct MonitorOptions {
    ItemOptions items;
    int intervalMs = 1000;
    int count = 0;         ///< samples, 0 for no end
    qint64 durationMs = 0; ///< 0 for no end
    bool changesOnly = false;
    double deadband = 0; ///< of items without one of their own
    std::string output;  ///< file for the rows; empty for the standard output
    LogRotation rotation;
    QString report; ///< file for the page; empty for none
};

class Monitor
{
public:
    /// @param live whether to redraw a table rather than to print rows
    /// @param log  gets the rows instead of @p out; null for none
    Monitor(const MonitorOptions &options, bool live, LogFile *log, RunReport &runReport,
            Client &client, const QVector<Item> &items, QTextStream &out, QTextStream &err);

    /// @return the exit status that the last whole sample calls for, also after a signal
    Status run();

    /// Whether nobody takes what would be printed.
    bool isOutputGone() const;

    /// What the requests so far came to, on one line.
    QString summary() const;

private:
    void reportChanges(const QVector<ItemResult> &results);
    void print(const QString &text);
    void show(const QVector<ItemResult> &results);
    void judgePace(qint64 sampleMs);
    void keep(const QString &time, bool isWhole);

    const MonitorOptions &m_options;
    const Client &m_client;
    LogFile *m_log;
    RunReport &m_runReport;
    const QVector<Item> m_items;
    QTextStream &m_out;
    QTextStream &m_err;
    OutageReader m_reader;
    QString m_rows; // for the log
    QTextStream m_rowStream;
    ItemPrinter m_printer;
    LiveTable m_table;
    const bool m_isLive;
    QElapsedTimer m_clock;
    QString m_reported;     // failures other than outages
    Status m_status;        // of the last sample
    qint64 m_outageSinceMs; // -1 without an outage
    qint64 m_missed;        // ticks that were left out, as the sample before took too long
    qint64 m_previousMs;    // that the last good sample took
    bool m_isPaceKnown;     // that the interval is too short for the link
    qint64 m_unlogged;      // samples since the log could be written
    qint64 m_lost;          // samples that are not in the log
};

Monitor::Monitor(const MonitorOptions &options, bool live, LogFile *log, RunReport &runReport,
                 Client &client, const QVector<Item> &items, QTextStream &out, QTextStream &err)
    : m_options(options), m_client(client), m_log(log), m_runReport(runReport), m_items(items),
      m_out(out), m_err(err), m_reader(client, items, options.items.read, options.items.order),
      m_rowStream(&m_rows), m_printer(log ? m_rowStream : out, *options.items.format, items, !log),
      m_table(out, items), m_isLive(live), m_status(StatusNoReply), m_outageSinceMs(-1),
      m_missed(0), m_previousMs(0), m_isPaceKnown(false), m_unlogged(0), m_lost(0)
{
    m_clock.start();
}

Status Monitor::run()
{
    const auto report = [this] { print(QLatin1String("so far ") + summary()); };
    qint64 tick = 0;
    for (int taken = 0; m_options.count == 0 || taken < m_options.count; ++taken) {
        const qint64 dueMs = tick * m_options.intervalMs;
        if ((m_options.durationMs > 0 && dueMs >= m_options.durationMs) ||
            waitForStop(dueMs - m_clock.elapsed(), report))
            break;
        const qint64 startMs = m_clock.elapsed();
        const QVector<ItemResult> results = m_reader.read();
        const qint64 sampleMs = m_clock.elapsed() - startMs;
        // A request that the signal has cut short says nothing about the PLC.
        if (stopRequested() && outageIn(results))
            break;
        reportChanges(results);
        show(results);
        judgePace(m_status == StatusGood ? sampleMs : 0);
        m_runReport.addSample(m_items, results);
        if (isOutputGone())
            break;
        tick = tickAfter(tick, m_clock.elapsed(), m_options.intervalMs, &m_missed);
    }
    m_printer.finish();
    return m_unlogged > 0 ? StatusOpen : m_status;
}

bool Monitor::isOutputGone() const
{
    return !m_log && (m_out.status() != QTextStream::Ok || readerIsGone());
}

QString Monitor::summary() const
{
    QString text = m_client.statistics().text();
    if (m_missed > 0)
        text += QLatin1String("; ") + countText(m_missed, "sample", "samples") +
                QLatin1String(" left out");
    if (m_lost > 0)
        text += QLatin1String("; ") + countText(m_lost, "sample", "samples") +
                QLatin1String(" not in the log");
    return text;
}

void Monitor::print(const QString &text)
{
    m_out.flush();
    m_table.leave();
    complain(m_err, text, m_status);
}

// Failures are reported when they begin or change, not with every sample.
void Monitor::reportChanges(const QVector<ItemResult> &results)
{
    QString text;
    QTextStream reasons(&text);
    m_status = reportFailures(reasons, m_items, results);
    const Failure *outage = outageIn(results);
    if (outage && m_outageSinceMs < 0) {
        m_outageSinceMs = m_clock.elapsed();
        print(QLatin1String("outage: ") + outage->text());
    } else if (!outage && m_outageSinceMs >= 0) {
        print(QString::fromLatin1("the PLC answers again after %1 s")
                  .arg(static_cast<double>(m_clock.elapsed() - m_outageSinceMs) / 1000, 0, 'f', 1));
        m_outageSinceMs = -1;
    }
    if (!outage && text != m_reported) {
        m_table.leave();
        m_out.flush();
        m_err << text;
        m_err.flush();
        m_reported = text;
    }
}

void Monitor::show(const QVector<ItemResult> &results)
{
    const QString time = wallTime();
    if (m_isLive) {
        winsize size = {};
        const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
        m_table.draw(results, time, known ? size.ws_col : 80, known ? size.ws_row : 24);
    }
    bool isWhole = true;
    if (m_options.changesOnly)
        isWhole = m_printer.printChanges(results, time);
    else if (!m_isLive)
        m_printer.print(results, time);
    m_out.flush();
    if (m_log)
        keep(time, isWhole);
}

// Two slow samples in a row are no chance; what a fault costs is not the link's pace.
void Monitor::judgePace(qint64 sampleMs)
{
    const qint64 steadyMs = qMin(sampleMs, m_previousMs);
    m_previousMs = sampleMs;
    if (m_isPaceKnown || steadyMs <= m_options.intervalMs)
        return;
    m_isPaceKnown = true;
    const int fitting =
        itemsWithin(m_items, m_options.items.read.merge,
                    static_cast<double>(m_options.intervalMs) / static_cast<double>(steadyMs));
    QString text = QString::fromLatin1("a sample takes %1 ms, longer than the interval of %2 ms: "
                                       "use --interval %3")
                       .arg(QString::number(steadyMs), QString::number(m_options.intervalMs),
                            QString::number(roomyIntervalMs(steadyMs)));
    if (fitting > 0)
        text += QString::fromLatin1(" or fewer items (about %1)").arg(fitting);
    print(text);
}

// A full disk may have room again: the samples until then are lost, those behind it are not.
// @param isWhole whether the rows are those of all items
void Monitor::keep(const QString &time, bool isWhole)
{
    const int lengthOfDay = 10;
    const QByteArray rows = m_rows.toUtf8();
    m_rows.clear();
    if (rows.isEmpty())
        return;
    const Failure failure = m_log->append(time.left(lengthOfDay).toLatin1(), rows);
    if (failure && m_unlogged == 0)
        print(failure.text() + QLatin1String("; samples are lost until that works"));
    else if (!failure && m_unlogged > 0)
        print(QLatin1String("the log is written again; ") +
              countText(m_unlogged, "sample is", "samples are") + QLatin1String(" lost"));
    // Whoever opens one file alone is to find all values there.
    if (failure || (!isWhole && m_log->hasBegun()))
        m_printer.forgetPrinted();
    m_unlogged = failure ? m_unlogged + 1 : 0;
    m_lost += failure ? 1 : 0;
}

// @return StatusUsage for an item that monitor does not read
Failure parseReadItems(const MonitorOptions &options, const LinkOptions &link, QVector<Item> *items)
{
    Failure failure = parseItems(options.items, link, items);
    for (Item &item : *items) {
        if (!failure && !item.values.isEmpty())
            failure = Failure(StatusUsage, item.text + QLatin1String(" has a value to write"));
        if (item.tag.deadband <= 0)
            item.tag.deadband = options.deadband;
    }
    return failure;
}

// @param log null where the rows go to the standard output
Failure openLog(const MonitorOptions &options, const QVector<Item> &items,
                std::unique_ptr<LogFile> *log)
{
    const OutputFormat &format = *options.items.format;
    if (options.output.empty())
        return Failure();
    if (format.finish)
        return Failure(StatusUsage,
                       QString::fromLatin1("--output takes no %1, which ends only with "
                                           "its last sample: use jsonl")
                           .arg(QLatin1String(format.name)));
    const QByteArray header = format.header ? format.header(items).toUtf8() : QByteArray();
    log->reset(new LogFile(QByteArray::fromStdString(options.output), header, options.rotation));
    return (*log)->open();
}

int runMonitor(const MonitorOptions &options, const LinkOptions &link, QTextStream &out,
               QTextStream &err)
{
    QVector<Item> items;
    std::unique_ptr<LogFile> log;
    RunReport report(options.report, QLatin1String("kvlink monitor"));
    Client client(link, err);
    Failure failure = parseReadItems(options, link, &items);
    if (!failure)
        failure = openLog(options, items, &log);
    if (!failure)
        failure = report.check();
    if (!failure)
        failure = client.open();
    if (failure)
        return complain(err, failure);
    report.watch(&client);
    // A trace on the same terminal would run through the table.
    const bool live = !log && canRedraw(STDOUT_FILENO) && options.items.format->isLiveTable &&
                      !options.changesOnly && link.trace != TRACE_TO_STDERR;
    Monitor monitor(options, live, log.get(), report, client, items, out, err);
    const Status status = monitor.run();
    out.flush();
    if (!monitor.isOutputGone())
        complain(err, monitor.summary(), status);
    failure = report.write(lineName(link), client);
    if (failure)
        return complain(err, failure);
    return monitor.isOutputGone() ? StatusOpen : status;
}

// Bytes of a size such as 10M, of 1024 * 1024 bytes each; 0 for any other text.
qint64 sizeOf(std::string text)
{
    try {
        CLI::AsSizeValue{false}(text);
    } catch (const CLI::ValidationError &) {
        return 0;
    }
    return qMax<qint64>(0, QString::fromStdString(text).toLongLong());
}

// A number from 0 on; the library takes nan and inf as well.
CLI::Validator amount()
{
    return CLI::Validator(
        [](const std::string &text) {
            bool isNumber = false;
            const double value = QString::fromStdString(text).toDouble(&isNumber);
            const bool isAmount = isNumber && value >= 0 && std::isfinite(value);
            return isAmount ? std::string() : text + " is not a number from 0, such as 5 or 0.25";
        },
        "");
}

CLI::Option *addRotateOption(CLI::App *monitor, LogRotation *rotation)
{
    return monitor
        ->add_option_function<std::string>(
            "--rotate",
            [rotation](const std::string &text) {
                rotation->isDaily = text == "daily";
                rotation->maxBytes = rotation->isDaily ? 0 : sizeOf(text);
                if (!rotation->isDaily && rotation->maxBytes == 0)
                    throw CLI::ValidationError(
                        "--rotate", text + ": expected daily, or a size such as 10M or 512k");
            },
            "When FILE is renamed and begun anew")
        ->option_text("daily|SIZE");
}

} // namespace

void addMonitorCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App *monitor = app.add_subcommand("monitor", "Read items again and again");
    addReadOptions(monitor, &options->items);
    monitor
        ->add_option("--interval", options->intervalMs,
                     "Time from one sample to the next; a bare number is in ms")
        ->type_name("TIME")
        ->transform(duration(1, 86400000))
        ->default_str("1s");
    monitor->add_option("--count", options->count, "Number of samples")
        ->default_str("no end")
        ->transform(decimalRange(1, 999999999));
    monitor
        ->add_option("--duration", options->durationMs,
                     "Time to go on; a bare number is in seconds")
        ->default_str("no end")
        ->type_name("TIME")
        ->transform(duration(1, 999999999 * SECOND_MS, SECOND_MS));
    CLI::Option *changesOnly = monitor->add_flag("--changes-only", options->changesOnly,
                                                 "Print an item when it has changed");
    monitor
        ->add_option("--deadband", options->deadband,
                     "With --changes-only: how far a number may move unprinted")
        ->option_text("N")
        ->check(amount())
        ->needs(changesOnly);
    CLI::Option *output =
        monitor->add_option("--output", options->output, "File to append the rows to")
            ->type_name("FILE")
            ->check(notEmpty());
    addRotateOption(monitor, &options->rotation)->needs(output);
    addReportOption(monitor, &options->report);
    monitor->callback([line, options] { line->run = withOptions(options, runMonitor); });
}
