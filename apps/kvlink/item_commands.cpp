// read and write: items of the PLC's devices.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_links.h"
#include "apps/kvlink/item_options.h"
#include "items/item_reader.h"
#include "items/item_writer.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

#include <algorithm>
#include <memory>

namespace
{

struct WriteOptions {
    ItemOptions items;
    bool dryRun = false;
    bool verify = false;
};

int printResults(const QVector<Item> &items, const QVector<ItemResult> &results,
                 const OutputFormat &format, QTextStream &out, QTextStream &err)
{
    ItemPrinter printer(out, format, items);
    printer.print(results, format.isForPeople ? QString() : wallTime());
    printer.finish();
    return reportFailures(err, items, results);
}

int runRead(const ItemOptions &options, const LinkOptions &given, QTextStream &out,
            QTextStream &err)
{
    QVector<Item> items;
    if (Failure failure = parseItems(options, given, &items))
        return complain(err, failure);
    for (const Item &item : items) {
        if (!item.values.isEmpty())
            return complain(err, item.text + QLatin1String(" has values: write takes them"),
                            StatusUsage);
    }
    LinkOptions link;
    if (Failure failure = findOnlyLink(*options.line, items, &link))
        return complain(err, failure);
    Client client(link, err);
    if (Failure failure = client.open()) {
        ItemResult down;
        down.failure = failure;
        if (options.format->hasState)
            ItemPrinter(out, *options.format, items).print(QVector<ItemResult>(items.size(), down));
        return complain(err, failure);
    }
    ItemReader reader(client, items, options.read, options.order);
    return printResults(items, reader.read(), *options.format, out, err);
}

// Whether an address and its values are given, each by itself.
bool isShortForm(const ItemOptions &options)
{
    const auto hasValue = [](const std::string &argument) {
        return argument.find('=') != std::string::npos;
    };
    return options.file.empty() && !options.expressions.empty() &&
           std::none_of(options.expressions.begin(), options.expressions.end(), hasValue);
}

Failure parseShortForm(const ItemOptions &options, const LinkOptions &link, QVector<Item> *items)
{
    QStringList values;
    for (const std::string &argument : options.expressions)
        values += argumentText(argument);
    const QString address = values.takeFirst();
    if (values.isEmpty())
        return Failure(StatusUsage,
                       QString::fromLatin1("no value to write to %1: give ITEM=VALUE, or "
                                           "ADDRESS VALUE")
                           .arg(address));
    return parseItem(options, link, address, values, items);
}

// 1,5 is two values, which many a user means as one.
void warnOfDecimalCommas(const QVector<Item> &items, QTextStream &err)
{
    static const QRegularExpression pair(QLatin1String("\\A[+-]?[0-9]+,[0-9]+\\z"));
    for (const Item &item : items) {
        const QString values = item.values.join(QLatin1Char(','));
        if (item.type != ItemType::F32 || item.text.contains(QLatin1Char('[')) ||
            !pair.match(values).hasMatch())
            continue;
        complain(err,
                 QString::fromLatin1("%1=%2 writes two numbers; a decimal number has a point. Give "
                                     "%1[2]=%2 to write two without this warning")
                     .arg(item.text, values),
                 StatusGood);
    }
}

int rehearse(const WriteOptions &options, const QVector<Item> &items, const Client &client,
             QTextStream &out, QTextStream &err)
{
    QByteArray sent;
    const QVector<ItemResult> results = rehearseItems(client.driver(), client.station(), items,
                                                      options.items.order, options.verify, &sent);
    printLines(sent, out);
    return reportFailures(err, items, results);
}

int runWrite(const WriteOptions &options, const LinkOptions &given, QTextStream &out,
             QTextStream &err)
{
    // Values that do not fit are found before anything is opened.
    QVector<Item> items;
    const bool isShort = isShortForm(options.items);
    if (Failure failure = isShort ? parseShortForm(options.items, given, &items)
                                  : parseItems(options.items, given, &items))
        return complain(err, failure);
    if (!isShort)
        warnOfDecimalCommas(items, err);
    // Lines are shown without any link, too.
    LinkOptions link = given;
    const Failure unlinked = findOnlyLink(*options.items.line, items, &link);
    if (unlinked && (!options.dryRun || given.isReachable()))
        return complain(err, unlinked);
    Client client(link, err);
    if (Failure failure = client.loadDriver())
        return complain(err, failure);
    if (options.dryRun)
        return rehearse(options, items, client, out, err);
    // What the driver refuses is found before the first item is written.
    QByteArray lines;
    const int refused = reportFailures(err, items,
                                       rehearseItems(client.driver(), client.station(), items,
                                                     options.items.order, false, &lines));
    if (refused != StatusGood)
        return StatusUnusable;
    if (Failure failure = client.openLink())
        return complain(err, failure);
    return printResults(items, writeItems(client, items, options.items.order, options.verify),
                        *options.items.format, out, err);
}

} // namespace

void addReadCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<ItemOptions>();
    CLI::App *read = app.add_subcommand("read", "Read items from the PLC");
    addReadOptions(read, options.get());
    const auto refuseCount = [](const std::string &count) {
        throw CLI::ValidationError("--count " + count, "it counts samples and pings; for the "
                                                       "number of values take -n");
    };
    read->add_option_function<std::string>("--count", refuseCount)->group("");
    read->callback([line, options] {
        line->itemsNameLinks = true;
        options->line = line;
        line->run = withOptions(options, runRead);
    });
}

void addWriteCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<WriteOptions>();
    CLI::App *write = app.add_subcommand("write", "Write items to the PLC");
    addItems(write, &options->items, "ADDRESS[:TYPE][[COUNT]]=VALUE,...",
             "Such as DM100:f32=1.5 or DM200=1,2,3; or one address and its values");
    addTypeOptions(write, &options->items);
    CLI::Option *dryRun = write->add_flag("--dry-run", options->dryRun,
                                          "Print the lines that would be sent; opens no port");
    write->add_flag("--verify", options->verify, "Read back and compare");
    addFormatOption(write, &options->items.format)->excludes(dryRun);
    write->callback([line, options] {
        line->needsLink = !options->dryRun;
        line->itemsNameLinks = true;
        options->items.line = line;
        line->run = withOptions(options, runWrite);
    });
}
