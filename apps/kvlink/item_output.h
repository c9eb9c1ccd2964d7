/// The results of reads and writes, printed for people and for scripts.
#ifndef APPS_KVLINK_ITEM_OUTPUT_H
#define APPS_KVLINK_ITEM_OUTPUT_H

#include "items/expression.h"
#include "items/item_reader.h"

#include <QtCore/QString>
#include <QtCore/QVector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

class QTextStream;

enum class OutputFormat { Text, Json, JsonLines, Csv, Value };

/// Adds --format to a command. @return the option
CLI::Option *addFormatOption(CLI::App *command, OutputFormat *format);

/// Prints samples of a list of items; docs/kvlink-output.md has the formats.
class ItemPrinter
{
public:
    /// Requires: @p out outlives the printer.
    ItemPrinter(QTextStream &out, OutputFormat format, const QVector<Item> &items);

    /// Prints one sample of all items. @param time when it was taken, for people and machines alike
    /// (ISO 8601); empty for none
    void print(const QVector<ItemResult> &results, const QString &time = QString());

    /// Prints one item of a sample. @param item its index in the list
    void printItem(int item, const ItemResult &result, const QString &time = QString());

    /// Ends the output. Requires: called once, nothing is printed afterwards.
    void finish();

private:
    void printText(const Item &item, const ItemResult &result, const QString &time);
    void printJson(const Item &item, const ItemResult &result, const QString &time);
    void printCsv(const Item &item, const ItemResult &result, const QString &time);

    QTextStream &m_out;
    const OutputFormat m_format;
    const QVector<Item> m_items;
    bool m_begun;
};

/// Prints why items failed, each reason once with the items that it is true of.
/// @return the program's exit status: 0 when all items succeeded, the first failure's own when all
/// failed
///         or all failures are of values read back, else 6
Status reportFailures(QTextStream &err, const QVector<Item> &items,
                      const QVector<ItemResult> &results);

#endif
