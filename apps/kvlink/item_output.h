/// The formats of kvlink's output, for people and for scripts, and why items failed.
#ifndef APPS_KVLINK_ITEM_OUTPUT_H
#define APPS_KVLINK_ITEM_OUTPUT_H

#include "apps/kvlink/output_table.h"
#include "items/item.h"
#include "items/item_reader.h"

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

class QTextStream;

/// One item of one sample, as it is printed.
struct ItemRecord {
    const Item &item;
    const ItemResult &result;
    const QStringList &parts; ///< of the item's rows, as the format has made them
    const QString &time;      ///< when it was read or written, as the format writes it
    bool isFirst;             ///< of the output
    bool isNamed; ///< people need the item's name and its time: there are several, or samples
};

/// The items of one sample, as they are printed together.
struct ItemSample {
    const QVector<Item> &items; ///< of the output
    int first;                  ///< index of the item that the first result is of
    const QVector<ItemResult> &results;
    const QVector<QStringList> &parts; ///< as of an item, of all items of the output
    const QString &time;               ///< as of an item
};

/// A format of the output.
struct OutputFormat {
    const char *name;   ///< as --format has it
    bool isForPeople;   ///< read and write print the time for scripts only
    bool isLiveTable;   ///< on a terminal, monitor redraws a table instead
    const char *noRows; ///< what an output without any item consists of

    /// The line in front of the first item; null where there is none.
    QString (*header)(const QVector<Item> &items);

    /// The texts in the rows of each item that are the same in all samples, so that they are made
    /// once; what each of them is, the format knows. Null where it has none.
    QVector<QStringList> (*rowParts)(const QVector<Item> &items);

    /// How the rows of a sample write its time (ISO 8601; empty for none); null: as it is.
    QString (*timeText)(const QString &time);

    /// Appends the rows of an item; null: prints whole samples.
    void (*print)(const ItemRecord &record, QString *rows);

    /// Appends all items of a sample as one row; null where items are printed one by one.
    void (*printSample)(const ItemSample &sample, QString *rows);

    const char *end; ///< stands behind the last item; null where nothing does
    void (*printTable)(const OutputTable &table, QTextStream &out); ///< null: has no tables
    bool hasState; ///< tells that an item is down, also where its link cannot be opened at all
};

/// What programs call a status, such as no-reply.
const char *statusName(Status status);

/// An item's values for people, with blanks between them.
QString shownValues(const Item &item, const QStringList &values);

/// The same, with the unit of the item's tag behind them.
QString shownWithUnit(const Item &item, const QStringList &values);

/// The format that is meant where none is named.
const OutputFormat *defaultFormat();

/// What a command prints, and with it the formats that --format takes.
enum class OutputKind {
    Items,
    Table,
    Object ///< a text, or one JSON value
};

/// Adds --format to a command. @return the option
CLI::Option *addFormatOption(CLI::App *command, const OutputFormat **format,
                             OutputKind kind = OutputKind::Items);

/// Prints samples of a list of items, in the formats of kvlink(1), FORMATS.
class ItemPrinter
{
public:
    /// Requires: @p out and @p format outlive the printer.
    /// @param hasHeader false where the header is printed by others
    ItemPrinter(QTextStream &out, const OutputFormat &format, const QVector<Item> &items,
                bool hasHeader = true);

    /// Prints one sample of all items, or of those of a link.
    /// @param time  when it was taken, for people and machines alike (ISO 8601); empty for none
    /// @param first index of the item that the first result is of
    void print(const QVector<ItemResult> &results, const QString &time = QString(), int first = 0);

    /// The same of those items only that have changed since they were printed last: their values by
    /// more than the item's deadband, or the kind of their failure. A format with a row for a sample
    /// prints the row when one item has changed.
    /// @return whether it printed all items of the sample
    bool printChanges(const QVector<ItemResult> &results, const QString &time, int first = 0);

    /// Lets `printChanges` print all items next time, as what it has printed is lost or elsewhere.
    void forgetPrinted() { m_printed.clear(); }

    /// Ends the output. Requires: called once, nothing is printed afterwards.
    void finish();

private:
    void appendItem(int item, const ItemResult &result, const QString &timeText);
    QString timeText(const QString &time) const;
    void begin();
    void writeRows();
    bool hasChanged(int item, const ItemResult &result) const;

    QTextStream &m_out;
    const OutputFormat &m_format;
    const QVector<Item> m_items;
    const QVector<QStringList> m_parts; // of the rows, by item
    const bool m_hasHeader;
    bool m_begun;
    QString m_rows;                  // of one sample, to be written at once
    QMap<int, ItemResult> m_printed; // by printChanges, by item
};

/// Prints lines to the PLC, each on a line of its own, escaped.
void printLines(const QByteArray &lines, QTextStream &out);

/// The program's exit status: 0 when all items succeeded, the first failure's own when all failed or
/// all failures are of values read back, else 6.
Status statusOf(const QVector<ItemResult> &results);

/// Why items failed, each reason once with the items that it is true of.
QStringList failureTexts(const QVector<Item> &items, const QVector<ItemResult> &results);

/// Prints why items failed, each reason once with the items that it is true of.
/// @return `statusOf`
Status reportFailures(QTextStream &err, const QVector<Item> &items,
                      const QVector<ItemResult> &results);

#endif
