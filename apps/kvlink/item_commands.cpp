// read and write: items of one device, one request a command.
#include "apps/decimal_range.h"
#include "command_line.h"
#include "commands.h"
#include "item_values.h"
#include "session.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>

namespace
{

struct ItemOptions {
    std::string address;
    std::string kind = "word"; ///< name of an item kind
    int count = 1;
    std::vector<std::string> values;
};

int runRead(const ItemOptions &items, const LinkOptions &options, QTextStream &out,
            QTextStream &err)
{
    Session session(options, err);
    Failure failure;
    if (!session.loadDriver(&failure) || !session.openLink(&failure))
        return complain(err, failure.text, failure.status);
    const ItemKind &kind = itemKind(items.kind);
    const CommunicatorCommand command(kind.kind, static_cast<quint32>(items.count),
                                      argumentText(items.address));
    const QByteArray data = session.read(command, &failure);
    if (data.isEmpty())
        return complain(err, failure.text, failure.status);
    printValues(kind, data, items.count, out);
    return StatusGood;
}

int runWrite(const ItemOptions &items, const LinkOptions &options, QTextStream &err)
{
    // Values that do not fit are found before anything is opened.
    Failure failure;
    QByteArray data;
    const ItemKind &kind = itemKind(items.kind);
    if (!packValues(kind, items.values, &data, &failure.text))
        return complain(err, failure.text, StatusUsage);
    Session session(options, err);
    const CommunicatorCommand command(kind.kind, static_cast<quint32>(items.values.size()),
                                      argumentText(items.address));
    if (!session.loadDriver(&failure) || !session.openLink(&failure) ||
        !session.write(command, data, &failure))
        return complain(err, failure.text, failure.status);
    return StatusGood;
}

void addItemOptions(CLI::App *command, ItemOptions *items)
{
    command->add_option("address", items->address, "First device, such as DM100")
        ->required()
        ->type_name("ADDRESS");
    command->add_option("-k,--kind", items->kind, "Kind of the items")
        ->check(CLI::IsMember(itemKindNames()))
        ->capture_default_str()
        ->type_name("KIND");
}

} // namespace

void addReadCommand(CLI::App &app, CommandLine *line)
{
    const auto items = std::make_shared<ItemOptions>();
    CLI::App *read = app.add_subcommand("read", "Read items from the PLC");
    addItemOptions(read, items.get());
    read->add_option("-n,--count", items->count, "Number of items")
        ->transform(decimalRange(1, MAX_ITEM_COUNT))
        ->capture_default_str();
    read->callback([line, items] {
        line->run = [items](const LinkOptions &options, QTextStream &out, QTextStream &err) {
            return runRead(*items, options, out, err);
        };
    });
}

void addWriteCommand(CLI::App &app, CommandLine *line)
{
    const auto items = std::make_shared<ItemOptions>();
    CLI::App *write = app.add_subcommand("write", "Write items to the PLC");
    addItemOptions(write, items.get());
    write->add_option("value", items->values, "Values: decimal, or hexadecimal with 0x")
        ->required()
        ->expected(1, MAX_ITEM_COUNT)
        ->type_name("VALUE...");
    write->callback([line, items] {
        line->run = [items](const LinkOptions &options, QTextStream &, QTextStream &err) {
            return runWrite(*items, options, err);
        };
    });
}
