// dump: saves ranges of the PLC's memory as a memory image.
#include "apps/argument_text.h"
#include "apps/option_checks.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/memory_output.h"
#include "apps/kvlink/progress.h"
#include "items/memory_file.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>

namespace
{

const int MAX_RANGES = 1024;

struct DumpOptions {
    QStringList ranges;
    QString file;
    bool resume = false;
};

// What is left of a dump that did not end well.
void printKept(const MemoryFile &file, qint64 left, qint64 total, QTextStream &err)
{
    if (!file.partName().isEmpty())
        complain(err,
                 QString::fromLatin1("%1 keeps %2 of %3; dump the same ranges with --resume to "
                                     "go on")
                     .arg(file.partName(), QString::number(total - left),
                          countText(total, "address", "addresses")),
                 StatusGood);
}

int carry(MemoryFile *file, qint64 total, const LinkOptions &link, QTextStream &out,
          QTextStream &err)
{
    Client client(link, err);
    const qint64 rest = cellCount(file->rest());
    if (Failure failure = client.open()) {
        if (rest == total)
            file->discard();
        return complain(err, failure);
    }
    Progress progress(err, link.trace);
    MemoryTransfer transfer([&](MemoryRun *block) { return readBlock(client, block); },
                            [file](const MemoryRun &block) { return file->append(block); },
                            blocksOn(&progress, total - rest, total));
    Failure failure = transfer.carry(file->rest());
    const bool hasNone = rest == total && transfer.carried() == 0;
    progress.clear();
    if (!failure && !hasNone)
        failure = file->finish();
    const Status status = reportTransfer(err, transfer, failure);
    if (hasNone)
        file->discard();
    else if (failure)
        printKept(*file, rest - transfer.carried(), total, err);
    if (!failure && !hasNone && file->partName().isEmpty())
        out << file->image();
    out.flush(); // a serial link may wait when it closes
    return !hasNone && status == StatusPlcError ? StatusSome : status;
}

int runDump(const DumpOptions &options, const LinkOptions &link, QTextStream &out, QTextStream &err)
{
    QVector<MemoryRun> runs;
    if (Failure failure = parseRanges(options.ranges, &runs))
        return complain(err, failure);
    MemoryFile file(options.file, runs);
    if (Failure failure = file.begin(options.resume))
        return complain(err, failure);
    return carry(&file, cellCount(runs), link, out, err);
}

} // namespace

void addDumpCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<DumpOptions>();
    CLI::App *dump = app.add_subcommand("dump", "Save ranges of devices in a file");
    dump->add_option_function<std::vector<std::string>>(
            "RANGE", into(&options->ranges), "Such as DM0-9999, W0-FF, R0-R99915 or T0-T9")
        ->required()
        ->expected(1, MAX_RANGES)
        ->type_name("ADDRESS[-ADDRESS]...");
    CLI::Option *file = addText(*dump, "-o,--output", &options->file, "FILE", "File to write")
                            ->default_str("standard output");
    dump->add_flag("--resume", options->resume, "Go on where an interrupted dump has ended")
        ->needs(file);
    dump->callback([line, options] { line->run = withOptions(options, runDump); });
}
