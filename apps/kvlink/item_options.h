/// The options of all commands that read items.
#ifndef APPS_KVLINK_ITEM_OPTIONS_H
#define APPS_KVLINK_ITEM_OPTIONS_H

#include "apps/kvlink/item_output.h"
#include "items/expression.h"
#include "items/item_reader.h"
#include "items/item_values.h"

#include <string>
#include <vector>

namespace CLI
{
class App;
}

struct CommandLine;

/// The variable that names a tag file when the command line does not.
const char TAGS_VARIABLE[] = "KVLINK_TAGS";

/// What the command line says of items.
struct ItemOptions {
    const CommandLine *line = nullptr; ///< with the links that items may name; null for none
    std::vector<std::string> expressions;
    std::string file; ///< more items, "-" for the standard input; empty for none
    QString tagFile;  ///< empty for none
    ItemDefaults defaults;
    ReadOptions read;
    WordOrder order = WordOrder::LowFirst;
    const OutputFormat *format = defaultFormat();
};

/// Adds the items and --items to a command. @param form, examples for the help
void addItems(CLI::App *command, ItemOptions *options, const char *form, const char *examples);

/// Adds --word-order, --string-order and --encoding to a command.
void addLayoutOptions(CLI::App *command, ItemOptions *options);

/// Adds --tags to a command. @param tagFile gets the file; stays empty for none
void addTagsOption(CLI::App *command, QString *tagFile);

/// Adds these, --tags and -k to a command.
void addTypeOptions(CLI::App *command, ItemOptions *options);

/// Adds the items, --items, -n, the options of types, --max-gap, --no-merge, --twice, --ask-all and
/// --format to a command that reads items.
void addReadOptions(CLI::App *command, ItemOptions *options);

/// Whether a link's driver is another one than this PLC's: its devices are not known.
bool isOtherDriver(const LinkOptions &link);

/// Reads the tag file, if there is one. @param tags is filled on success
/// @return StatusUsage with what is wrong; StatusOpen when it cannot be read
Failure loadTags(const ItemOptions &options, QVector<Item> *tags);

/// Reads the tag file, the expressions, then those of the file of items.
/// @param items is filled on success
/// @return StatusUsage with what is wrong with one of them and in which line of the file it is, also
///         when there are no items; StatusOpen when a file cannot be read
Failure parseItems(const ItemOptions &options, const LinkOptions &link, QVector<Item> *items);

/// Reads the tag file, and one item whose values stand apart. Unsigned types take negative values.
/// @param head  a name or ADDRESS[:TYPE][[COUNT]]
/// @param items is filled on success
/// @return StatusUsage with what is wrong
Failure parseItem(const ItemOptions &options, const LinkOptions &link, const QString &head,
                  const QStringList &values, QVector<Item> *items);

#endif
