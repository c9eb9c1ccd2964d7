// batch: carries out commands from the standard input, and answers each one.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_options.h"
#include "apps/kvlink/json_output.h"
#include "apps/standard_streams.h"
#include "items/item_writer.h"
#include "items/named_items.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"
#include "runtime/stop_request.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <cerrno>
#include <memory>

#include <unistd.h>

namespace
{

// Longer than any line of items; the rest of a longer one is thrown away.
const int MAX_LINE_LENGTH = 65536;

// Of a line in an error text.
const int MAX_SHOWN = 60;

struct BatchOptions {
    ItemOptions items;
    bool allowWrite = false;
    bool verify = false;
};

// The lines of the standard input, as they come.
class InputLines
{
public:
    /// @param line   gets the line without its end
    /// @param isCut  gets whether it was too long
    /// @return false at the end of the input, at a stop, and when it cannot be read
    bool next(QByteArray *line, bool *isCut)
    {
        int end = -1;
        *isCut = false;
        while ((end = m_bytes.indexOf('\n')) < 0) {
            if (m_bytes.size() > MAX_LINE_LENGTH) {
                m_bytes.truncate(0);
                *isCut = true;
            }
            char chunk[4096];
            const ssize_t count =
                waitForInput(STDIN_FILENO) ? ::read(STDIN_FILENO, chunk, sizeof chunk) : -1;
            if (count < 0 && !stopRequested())
                m_failure = Failure(StatusOpen, QLatin1String("cannot read the lines: ") +
                                                    qt_error_string(errno));
            if (count <= 0) {
                *line = m_bytes;
                m_bytes.clear();
                return count == 0 && (*isCut || !line->isEmpty());
            }
            m_bytes.append(chunk, static_cast<int>(count));
        }
        *line = m_bytes.left(end);
        m_bytes.remove(0, end + 1);
        *isCut = *isCut || end > MAX_LINE_LENGTH;
        return true;
    }

    /// Why the input cannot be read.
    const Failure &failure() const { return m_failure; }

private:
    QByteArray m_bytes;
    Failure m_failure;
};

// A line taken apart.
struct BatchLine {
    bool isWrite = false;
    QVector<Item> items;
};

class Batch
{
public:
    Batch(const BatchOptions &options, const QVector<Item> &tags, Client &client, QTextStream &out)
        : m_options(options), m_tags(tags), m_client(client), m_out(out)
    {}

    /// @return 0 when every line was carried out, else 6
    Status run(InputLines *lines);

private:
    Failure parse(const QByteArray &line, BatchLine *parsed) const;
    Failure check(const Item &item, bool isWrite) const;
    QVector<ItemResult> carryOut(const BatchLine &line, Failure *failure);
    bool answer(int number, const BatchLine &line, const QVector<ItemResult> &results,
                const Failure &failure);

    const BatchOptions &m_options;
    const QVector<Item> m_tags;
    Client &m_client;
    QTextStream &m_out;
};

// As a shell takes words apart: blanks in values stand between quotes.
Failure Batch::parse(const QByteArray &line, BatchLine *parsed) const
{
    CLI::App parser;
    std::vector<std::string> expressions;
    parser.set_help_flag();
    parser.require_subcommand(1);
    CLI::App *write = nullptr;
    for (const char *name : {"read", "write"}) {
        write = parser.add_subcommand(name);
        write->set_help_flag();
        write->add_option("ITEM", expressions)->required();
    }
    try {
        parser.parse(line.toStdString());
    } catch (const CLI::ParseError &) {
        return Failure(StatusUsage,
                       QString::fromLatin1("\"%1\": expected read ITEM... or write ITEM=VALUE...")
                           .arg(printableText(QString::fromUtf8(line.left(MAX_SHOWN)))));
    }
    parsed->isWrite = write->parsed();
    if (parsed->isWrite && !m_options.allowWrite)
        return Failure(StatusUsage, QLatin1String("writing is not allowed: start batch with "
                                                  "--allow-write"));
    for (const std::string &expression : expressions) {
        if (Failure failure = parseNamedItems(argumentText(expression), m_tags,
                                              m_options.items.defaults, &parsed->items))
            return failure;
    }
    Failure failure;
    for (int i = 0; i < parsed->items.size() && !failure; ++i)
        failure = check(parsed->items.at(i), parsed->isWrite);
    return failure;
}

// Whether an item goes with the line's command and is on this link.
Failure Batch::check(const Item &item, bool isWrite) const
{
    if (item.values.isEmpty() == isWrite)
        return Failure(StatusUsage,
                       item.text + QLatin1String(isWrite ? " has no value to write"
                                                         : " has values: write takes them"));
    if (!item.link.isEmpty() && item.link.toStdString() != m_options.items.line->linkName)
        return Failure(StatusUsage,
                       nameWithLink(item) + QLatin1String(" is on a link that is not open: start "
                                                          "batch with --link for it"));
    return Failure();
}

QVector<ItemResult> Batch::carryOut(const BatchLine &line, Failure *failure)
{
    if (m_client.doubtsLink())
        *failure = m_client.openLink();
    if (*failure)
        return {};
    if (!line.isWrite)
        return ItemReader(m_client, line.items, m_options.items.read, m_options.items.order).read();
    // What the driver refuses is found before the first item is written.
    QByteArray lines;
    const QVector<ItemResult> rehearsed = rehearseItems(
        m_client.driver(), m_client.station(), line.items, m_options.items.order, false, &lines);
    const QStringList refusals = failureTexts(line.items, rehearsed);
    if (!refusals.isEmpty()) {
        *failure = Failure(StatusUnusable, refusals.join(QLatin1String("; ")) +
                                               QLatin1String("; nothing of the line was written"));
        return {};
    }
    return writeItems(m_client, line.items, m_options.items.order, m_options.verify);
}

// @return whether the line was carried out
bool Batch::answer(int number, const BatchLine &line, const QVector<ItemResult> &results,
                   const Failure &failure)
{
    const QString time = wallTime();
    QStringList items;
    for (int i = 0; i < results.size(); ++i)
        items += itemJson(line.items.at(i), results.at(i), time);
    const QString error =
        failure ? failure.text() : failureTexts(line.items, results).join(QLatin1String("; "));
    const Status status = failure ? failure.status() : statusOf(results);
    m_out << "{\"error\":" << (error.isEmpty() ? QString::fromLatin1("null") : jsonText(error))
          << ",\"items\":[" << items.join(QLatin1Char(',')) << "],\"line\":" << number
          << ",\"status\":\"" << statusName(status) << "\"}\n";
    m_out.flush();
    return status == StatusGood;
}

Status Batch::run(InputLines *lines)
{
    QByteArray text;
    bool isCut = false;
    bool areAllGood = true;
    for (int number = 1; lines->next(&text, &isCut); ++number) {
        text = text.trimmed();
        if (!isCut && (text.isEmpty() || text.startsWith('#')))
            continue;
        BatchLine line;
        Failure failure = isCut
                              ? Failure(StatusUsage, QString::fromLatin1("the line is longer than "
                                                                         "%1 bytes")
                                                         .arg(MAX_LINE_LENGTH))
                              : parse(text, &line);
        QVector<ItemResult> results;
        if (!failure)
            results = carryOut(line, &failure);
        areAllGood = answer(number, line, results, failure) && areAllGood;
        if (m_out.status() != QTextStream::Ok || readerIsGone())
            break;
    }
    return areAllGood ? StatusGood : StatusSome;
}

int runBatch(const BatchOptions &given, const LinkOptions &link, QTextStream &out, QTextStream &err)
{
    BatchOptions options = given;
    options.items.defaults.otherDriver = isOtherDriver(link);
    QVector<Item> tags;
    if (Failure failure = loadTags(options.items, &tags))
        return complain(err, failure);
    Client client(link, err);
    if (Failure failure = client.open())
        return complain(err, failure);
    InputLines lines;
    const Status status = Batch(options, tags, client, out).run(&lines);
    return lines.failure() ? complain(err, lines.failure()) : status;
}

} // namespace

void addBatchCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<BatchOptions>();
    CLI::App *batch = app.add_subcommand(
        "batch", "Carry out lines of standard input: read ITEM..., and with "
                 "--allow-write also write ITEM=VALUE...; answers each with JSON");
    addTypeOptions(batch, &options->items);
    batch->add_flag("--allow-write", options->allowWrite, "Carry out write lines too");
    batch->add_flag("--verify", options->verify, "Read back what was written and compare");
    batch->callback([line, options] {
        options->items.line = line;
        line->run = withOptions(options, runBatch);
    });
}
