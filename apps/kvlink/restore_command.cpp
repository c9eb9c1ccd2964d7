// restore: writes a memory image to the PLC.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_output.h"
#include "apps/kvlink/memory_output.h"
#include "apps/kvlink/progress.h"
#include "items/item_writer.h"
#include "items/memory_file.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>

namespace
{

struct RestoreOptions {
    QString file;
    bool dryRun = false;
    bool verify = false;
};

void printLeftOut(const QVector<MemoryRun> &runs, QTextStream &err)
{
    QStringList parts;
    for (const MemoryRun &run : runs)
        parts += leftOut(run);
    parts.removeAll(QString());
    if (!parts.isEmpty())
        complain(err,
                 QString::fromLatin1("not restored: %1: the PLC's program sets them")
                     .arg(parts.join(QLatin1String(", "))),
                 StatusGood);
}

// What the driver would send, and refuses.
int rehearse(const QVector<MemoryRun> &runs, bool verify, const Client &client, QByteArray *lines,
             QTextStream &err)
{
    QVector<Item> items;
    for (const MemoryRun &run : runs) {
        for (const MemoryRun &block : blocksOf(run))
            items += itemsToWrite(block);
    }
    return reportFailures(err, items,
                          rehearseItems(client.driver(), client.station(), items,
                                        WordOrder::LowFirst, verify, lines));
}

int carry(const QVector<MemoryRun> &runs, bool verify, const LinkOptions &link, Client *client,
          QTextStream &err)
{
    if (Failure failure = client->openLink())
        return complain(err, failure);
    Progress progress(err, link.trace);
    const qint64 total = cellCount(runs);
    MemoryTransfer transfer([&](MemoryRun *block) { return writeBlock(*client, *block, verify); },
                            [](const MemoryRun &) { return Failure(); },
                            blocksOn(&progress, 0, total));
    const Failure failure = transfer.carry(runs);
    progress.clear();
    const Status status = reportTransfer(err, transfer, failure);
    if (failure)
        complain(
            err,
            QString::fromLatin1("%1 of %2 written; restore the file again")
                .arg(QString::number(transfer.carried()), countText(total, "address", "addresses")),
            status);
    return status;
}

int runRestore(const RestoreOptions &options, const LinkOptions &link, QTextStream &out,
               QTextStream &err)
{
    QVector<MemoryRun> runs;
    if (Failure failure = loadMemoryFile(options.file, &runs))
        return complain(err, failure);
    Client client(link, err);
    if (Failure failure = client.loadDriver())
        return complain(err, failure);
    QByteArray lines;
    const int refused = rehearse(runs, options.dryRun && options.verify, client, &lines, err);
    if (options.dryRun)
        printLines(lines, out);
    printLeftOut(runs, err);
    if (options.dryRun || refused != StatusGood)
        return refused;
    return carry(runs, options.verify, link, &client, err);
}

} // namespace

void addRestoreCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App *restore = app.add_subcommand("restore", "Write a file of dump or kvsim to the PLC");
    restore->add_option_function<std::string>("file", into(&options->file), "Memory image to write")
        ->required()
        ->type_name("FILE");
    restore->add_flag("--dry-run", options->dryRun,
                      "Print the lines that would be sent; opens no port");
    restore->add_flag("--verify", options->verify, "Read back and compare");
    restore->callback([line, options] {
        line->needsLink = !options->dryRun;
        line->run = withOptions(options, runRestore);
    });
}
