// monitor: reads items again and again on a steady schedule, also through an outage.
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/link_sampler.h"
#include "apps/kvlink/monitor_options.h"
#include "apps/kvlink/run_report.h"
#include "apps/kvlink/sample_output.h"
#include "runtime/client.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>

namespace
{

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

int runMonitor(const MonitorOptions &options, const LinkOptions &link, QTextStream &out,
               QTextStream &err)
{
    QVector<Item> items;
    if (Failure failure = parseReadItems(options, link, &items))
        return complain(err, failure);
    // A trace on the same terminal would run through the table.
    SampleOutput output(options, items, link.trace != TRACE_TO_STDERR, out, err);
    RunReport report(options.report, QLatin1String("kvlink monitor"));
    Client client(link, err);
    Failure failure = output.open();
    if (!failure)
        failure = report.check();
    if (!failure)
        failure = client.open();
    if (failure)
        return complain(err, failure);
    report.watch(&client);
    LinkSampler sampler(options, client, items, output, report);
    sampler.run();
    output.finish();
    const bool isGone = output.isGone();
    if (!isGone)
        output.say({sampler.summary()});
    failure = report.write(lineName(link), client);
    if (failure)
        return complain(err, failure);
    return isGone || output.isLogBehind() ? StatusOpen : sampler.status();
}

} // namespace

void addMonitorCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App *monitor = app.add_subcommand("monitor", "Read items again and again");
    addMonitorOptions(monitor, options.get());
    monitor->callback([line, options] { line->run = withOptions(options, runMonitor); });
}
