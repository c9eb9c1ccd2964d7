// tags: tag files.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_links.h"
#include "apps/kvlink/item_options.h"
#include "apps/kvlink/link_names.h"
#include "items/item_reader.h"
#include "items/tag_file.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <algorithm>
#include <memory>

namespace
{

OutputTable tagTable(const QVector<Item> &tags, const QVector<ItemResult> &results)
{
    OutputTable table;
    table.columns = {{"name", "NAME"},   {"address", "ADDRESS"}, {"type", "TYPE"},
                     {"value", "VALUE"}, {"unit", "UNIT"},       {"error", "ERROR"}};
    for (int i = 0; i < tags.size(); ++i) {
        const Item &tag = tags.at(i);
        const Failure &failure = results.at(i).failure;
        table.rows += {tag.text,
                       tag.address,
                       itemTypeName(tag.type),
                       failure ? QJsonValue() : shownValues(tag, results.at(i).values),
                       tag.tag.unit,
                       failure ? failure.text() : QJsonValue()};
    }
    return table;
}

// Reads each tag over its link, one link after the other.
int readTags(const ItemOptions &options, const QVector<Item> &tags, const QVector<LinkItems> &links,
             QTextStream &out, QTextStream &err)
{
    QVector<ItemResult> results(tags.size());
    for (const LinkItems &link : links) {
        Client client(link.link, err);
        ItemResult unopened;
        unopened.failure = client.open();
        if (unopened.failure && links.size() == 1)
            return complain(err, unopened.failure);
        const QVector<ItemResult> read =
            unopened.failure ? QVector<ItemResult>(link.items.size(), unopened)
                             : ItemReader(client, link.items, options.read, options.order).read();
        for (int i = 0; i < read.size(); ++i)
            results[link.places.at(i)] = read.at(i);
    }
    options.format->printTable(tagTable(tags, results), out);
    out.flush();
    return statusOf(results); // the table has the reasons
}

int runTagsCheck(const ItemOptions &options, const LinkOptions &link, QTextStream &out,
                 QTextStream &err)
{
    TagFile file;
    if (Failure failure = readTagFile(options.tagFile, &file, isOtherDriver(link)))
        return complain(err, failure);
    for (const QString &error : qAsConst(file.errors))
        complain(err, error, StatusUsage);
    if (!file.errors.isEmpty())
        return StatusUsage;
    for (Item &tag : file.tags)
        tag.textForm = options.defaults.textForm;
    // Who names a link wants the tags read; else they are where each one's link is known.
    QVector<LinkItems> links;
    const Failure unlinked = divideByLink(*options.line, file.tags, &links);
    const bool isAsked = link.isReachable() || isTyped(*options.line, "links");
    if (unlinked && isAsked)
        return complain(err, unlinked);
    if (!unlinked && !links.isEmpty())
        return readTags(options, file.tags, links, out, err);
    const bool hasLinks = std::any_of(file.tags.begin(), file.tags.end(),
                                      [](const Item &tag) { return !tag.link.isEmpty(); });
    return complain(
        err,
        QString::fromLatin1("%1: %2, no errors%3")
            .arg(options.tagFile, countText(file.tags.size(), "tag", "tags"),
                 hasLinks ? QLatin1String("; not read: ") + unlinked.text() : QString()),
        StatusGood);
}

} // namespace

void addTagsCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<ItemOptions>();
    CLI::App *tags = app.add_subcommand("tags", "Check a tag file, and read its tags");
    tags->require_subcommand(1);
    CLI::App *check =
        tags->add_subcommand("check", "Check a tag file; read each tag once where a PLC is named");
    check
        ->add_option_function<std::string>("FILE", into(&options->tagFile),
                                           "Comma-separated values; see kvlink(1), TAGS")
        ->required()
        ->type_name("FILE");
    addLayoutOptions(check, options.get());
    addFormatOption(check, &options->format, OutputKind::Table);
    check->callback([line, options] {
        line->needsLink = false;
        line->itemsNameLinks = true;
        options->line = line;
        line->run = withOptions(options, runTagsCheck);
    });
}
