// diff: compares a memory image with the PLC or with another image.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_output.h"
#include "apps/kvlink/memory_output.h"
#include "apps/kvlink/progress.h"
#include "items/memory_diff.h"
#include "items/memory_file.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>

namespace
{

struct DiffOptions {
    QString left;
    QString right; ///< empty for the PLC
    const OutputFormat *format = defaultFormat();
};

// One value as a number, several as a text, none as nothing.
QJsonValue valueText(const QVector<quint32> &values)
{
    if (values.size() == 1)
        return static_cast<qint64>(values.first());
    QStringList texts;
    for (quint32 value : values)
        texts += QString::number(value);
    return texts.isEmpty() ? QJsonValue() : QJsonValue(texts.join(QLatin1Char(',')));
}

// Reads what the left side names. @return how that ended
Status readPlc(const QVector<MemoryRun> &runs, const LinkOptions &link, QVector<MemoryRun> *read,
               QTextStream &err)
{
    Client client(link, err);
    if (Failure failure = client.open())
        return complain(err, failure);
    Progress progress(err, link.trace);
    MemoryTransfer transfer([&](MemoryRun *block) { return readBlock(client, block); },
                            [read](const MemoryRun &block) {
                                *read += block;
                                return Failure();
                            },
                            blocksOn(&progress, 0, cellCount(runs)));
    const Failure failure = transfer.carry(runs);
    progress.clear();
    return reportTransfer(err, transfer, failure);
}

int runDiff(const DiffOptions &options, const LinkOptions &link, QTextStream &out, QTextStream &err)
{
    QVector<MemoryRun> left;
    QVector<MemoryRun> right;
    const bool hasPlc = options.right.isEmpty();
    Failure failure = loadMemoryFile(options.left, &left);
    if (!failure && !hasPlc)
        failure = loadMemoryFile(options.right, &right);
    if (failure)
        return complain(err, failure);
    const Status status = hasPlc ? readPlc(left, link, &right, err) : StatusGood;
    if (status != StatusGood && status != StatusSome)
        return status;
    OutputTable table;
    table.columns = {{"address", "address"}, {"left", "left"}, {"right", "right"}};
    for (const MemoryDifference &difference : memoryDifferences(left, right, !hasPlc))
        table.rows += QVector<QJsonValue>{difference.address, valueText(difference.left),
                                          valueText(difference.right)};
    if (!table.rows.isEmpty() || !options.format->isForPeople)
        options.format->printTable(table, out);
    if (status != StatusGood)
        return status;
    return table.rows.isEmpty() ? StatusGood : StatusDiffers;
}

} // namespace

void addDiffCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<DiffOptions>();
    CLI::App *diff = app.add_subcommand("diff", "Compare a file of dump with the PLC or another");
    diff->add_option_function<std::string>("file", into(&options->left), "Memory image")
        ->required()
        ->type_name("FILE");
    diff->add_option_function<std::string>("other", into(&options->right),
                                           "Image to compare it with; the PLC unless given")
        ->type_name("FILE");
    addFormatOption(diff, &options->format, OutputKind::Table);
    diff->callback([line, options] {
        line->needsLink = options->right.isEmpty();
        line->run = withOptions(options, runDiff);
    });
}
