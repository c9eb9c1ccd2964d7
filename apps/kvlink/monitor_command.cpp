// monitor: reads items again and again on a steady schedule, also through an outage.
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_links.h"
#include "apps/kvlink/monitor_options.h"
#include "apps/kvlink/monitor_run.h"

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
    QVector<LinkItems> links;
    Failure failure = parseReadItems(options, link, &items);
    if (!failure)
        failure = divideByLink(*options.items.line, items, &links);
    if (failure)
        return complain(err, failure);
    MonitorRun run(options, links, out, err);
    failure = run.prepare();
    return failure ? complain(err, failure) : run.run();
}

} // namespace

void addMonitorCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App *monitor = app.add_subcommand("monitor", "Read items again and again");
    addMonitorOptions(monitor, options.get());
    monitor->callback([line, options] {
        line->itemsNameLinks = true;
        options->items.line = line;
        line->run = withOptions(options, runMonitor);
    });
}
