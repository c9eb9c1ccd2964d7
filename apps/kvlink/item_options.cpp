#include "apps/kvlink/item_options.h"

#include "apps/argument_text.h"
#include "apps/option_checks.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/link_names.h"
#include "items/named_items.h"
#include "items/tag_file.h"
#include "runtime/driver_plugin.h"
#include "runtime/escaped_text.h"
#include "runtime/whole_file.h"

#include <CLI/CLI.hpp>

#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

#include <functional>

namespace
{

// Longer than any item; a file without line ends is not read as a whole.
const int MAX_ITEM_LINE_LENGTH = 65536;

// A standard input may have no end.
const int MAX_ITEMS = 65536;

// The names that -k takes beside those of the types.
const std::map<std::string, ItemType> &kinds()
{
    static const std::map<std::string, ItemType> names = {
        {"byte", ItemType::U8},   {"block", ItemType::U8},     {"word", ItemType::U16},
        {"dword", ItemType::U32}, {"bitblock", ItemType::Bit},
    };
    return names;
}

std::string kindForm()
{
    std::string form = "TYPE";
    for (const auto &kind : kinds())
        form += "|" + kind.first;
    return form;
}

bool kindByName(const std::string &name, ItemType *type)
{
    const auto kind = kinds().find(name);
    if (kind == kinds().end())
        return itemTypeByName(argumentText(name), type);
    *type = kind->second;
    return true;
}

// Reads items with the tags of their links.
class ItemParser
{
public:
    explicit ItemParser(const ItemOptions &options) : m_options(options) {}

    Failure parse(const QString &text, QVector<Item> *items)
    {
        QVector<Item> tags;
        const Failure failure = findTags(text, &tags);
        return failure ? failure : parseNamedItems(text, tags, m_options.defaults, items);
    }

    // The same with the values apart.
    Failure parse(const QString &head, const QStringList &values, QVector<Item> *items)
    {
        QVector<Item> tags;
        const Failure failure = findTags(head, &tags);
        return failure ? failure : parseNamedItems(head, values, tags, m_options.defaults, items);
    }

private:
    // @param tags gets those that the text may name
    Failure findTags(const QString &text, QVector<Item> *tags)
    {
        const QString link = m_options.line ? linkOf(text, m_options.defaults) : QString();
        Failure failure;
        if (!m_tags.contains(link)) {
            ItemOptions options = m_options;
            failure = link.isEmpty() ? Failure() : takeTagFile(link, &options);
            if (!failure)
                failure = loadTags(options, &m_tags[link]);
        }
        *tags = m_tags.value(link);
        return failure;
    }

    // A file that the command line names is that of all links.
    static Failure takeTagFile(const QString &link, ItemOptions *options)
    {
        NamedLink named;
        const auto origin = options->line->origins.find("tags");
        const bool isOfLink = origin != options->line->origins.end() && !origin->second.empty();
        Failure failure = findNamedLink(*options->line, link, &named);
        if (options->tagFile.isEmpty() || isOfLink)
            options->tagFile = named.tagFile;
        return failure;
    }

    const ItemOptions &m_options;
    QMap<QString, QVector<Item>> m_tags; // by link
};

// The items of the file, one a line.
Failure readItems(const ItemOptions &options, ItemParser *parser, QVector<Item> *items)
{
    static const QRegularExpression comment(QLatin1String("(^|\\s)#.*"));
    const QString path = argumentText(options.file);
    const QString name = path == QLatin1String("-") ? QLatin1String("standard input") : path;
    QFile file;
    if (!openInput(path, &file))
        return Failure(
            StatusOpen,
            QString::fromLatin1("cannot read the items %1: %2").arg(name, file.errorString()));
    QTextStream lines(&file);
    for (int number = 1; !lines.atEnd(); ++number) {
        const QString item = lines.readLine(MAX_ITEM_LINE_LENGTH).remove(comment).trimmed();
        if (item.isEmpty())
            continue;
        Failure failure = parser->parse(item, items);
        if (!failure && items->size() > MAX_ITEMS)
            failure = Failure(StatusUsage,
                              QString::fromLatin1("more than %1 items: give fewer").arg(MAX_ITEMS));
        if (failure)
            return Failure(failure.status(),
                           QString::fromLatin1("%1:%2: %3")
                               .arg(name, QString::number(number), failure.text()));
    }
    return Failure();
}

// @param take gets whether the high part comes first
void addOrderOption(CLI::App *command, const char *name, const char *text,
                    const std::function<void(bool isHighFirst)> &take)
{
    const std::vector<std::string> orders = {"low-first", "high-first"};
    command
        ->add_option_function<std::string>(
            name, [take](const std::string &order) { take(order == "high-first"); }, text)
        ->default_str(orders.front())
        ->check(CLI::IsMember(orders).description(""))
        ->type_name(CLI::detail::join(orders, "|"));
}

} // namespace

Failure loadTags(const ItemOptions &options, QVector<Item> *tags)
{
    if (options.tagFile.isEmpty())
        return Failure();
    TagFile file;
    if (Failure failure = readTagFile(options.tagFile, &file, options.defaults.otherDriver))
        return failure;
    const int more = file.errors.size() - 1;
    if (more > 0)
        return Failure(StatusUsage,
                       QString::fromLatin1("%1 (and %2: kvlink tags check FILE "
                                           "lists them)")
                           .arg(file.errors.first(), countText(more, "more error", "more errors")));
    if (more == 0)
        return Failure(StatusUsage, file.errors.first());
    *tags = file.tags;
    return Failure();
}

void addItems(CLI::App *command, ItemOptions *options, const char *form, const char *examples)
{
    command
        ->add_option("ITEM", options->expressions,
                     std::string(examples) + "\nTYPE: " + itemTypeNames().toStdString())
        ->expected(1, 1 + MAX_ITEM_COUNT)
        ->type_name(form);
    // "--" ends the options only as long as the library expects a positional argument.
    command->add_option("NONE", options->expressions)->group("");
    command->add_option("--items", options->file, "More items, one a line; - for standard input")
        ->type_name("FILE");
}

void addLayoutOptions(CLI::App *command, ItemOptions *options)
{
    std::vector<std::string> encodings;
    for (const QString &name : textEncodings())
        encodings.push_back(name.toStdString());
    addOrderOption(command, "--word-order", "Order of the words of 32-bit values",
                   [options](bool isHighFirst) {
                       options->order = isHighFirst ? WordOrder::HighFirst : WordOrder::LowFirst;
                   });
    addOrderOption(
        command, "--string-order", "Byte of a word that has a string's first character",
        [options](bool isHighFirst) { options->defaults.textForm.highByteFirst = isHighFirst; });
    command
        ->add_option_function<std::string>(
            "--encoding",
            [options](const std::string &name) {
                options->defaults.textForm.encoding = QByteArray::fromStdString(name);
            },
            "Encoding of strings")
        ->default_str("latin1, of which ASCII is shown")
        ->check(CLI::IsMember(encodings).description(""))
        ->type_name(textEncodings().join(QLatin1Char('|')).toStdString());
}

void addTagsOption(CLI::App *command, QString *tagFile)
{
    command
        ->add_option_function<std::string>("--tags", into(tagFile),
                                           "Tag file, whose names stand wherever items do")
        ->type_name("FILE")
        ->envname(TAGS_VARIABLE);
}

void addTypeOptions(CLI::App *command, ItemOptions *options)
{
    addTagsOption(command, &options->tagFile);
    command
        ->add_option_function<std::string>(
            "-k,--kind",
            [options](const std::string &name) {
                options->defaults.hasType = true;
                if (!kindByName(name, &options->defaults.type))
                    throw CLI::ValidationError("--kind", name + ": expected " +
                                                             itemTypeNames().toStdString());
            },
            "Type where an item names none")
        ->default_str("that of the device")
        ->type_name(kindForm());
    addLayoutOptions(command, options);
}

void addReadOptions(CLI::App *command, ItemOptions *options)
{
    addItems(command, options, "ADDRESS[:TYPE][[COUNT]]...",
             "Such as DM100, DM102:f32, DM200[8], R1215:bit or T3; or a name of --tags, "
             "such as oven.temp or oven.*; behind LINK: on a link of that name");
    command->add_option("-n", options->defaults.count, "Number of values where an item names none")
        ->default_str("1")
        ->transform(decimalRange(1, MAX_ITEM_COUNT));
    addTypeOptions(command, options);
    command
        ->add_option("--max-gap", options->read.merge.maxGap,
                     "Most unwanted words that one request may read between two items")
        ->transform(decimalRange(0, MAX_ITEM_COUNT))
        ->capture_default_str();
    command->add_flag_callback(
        "--no-merge", [options] { options->read.merge.merge = false; },
        "One request for each item");
    command->add_flag("--twice", options->read.twice,
                      "Read until two readings agree, for values that must not be wrong");
    command->add_flag("--ask-all", options->read.askAll,
                      "Ask for the other items too after one got no reply");
    addFormatOption(command, &options->format);
}

bool isOtherDriver(const LinkOptions &link)
{
    return DriverPlugin::isOther(link.driverPath);
}

Failure parseItems(const ItemOptions &given, const LinkOptions &link, QVector<Item> *items)
{
    ItemOptions options = given;
    options.defaults.otherDriver = isOtherDriver(link);
    QVector<Item> parsed;
    ItemParser parser(options);
    Failure failure;
    for (size_t i = 0; i < options.expressions.size() && !failure; ++i)
        failure = parser.parse(argumentText(options.expressions.at(i)), &parsed);
    if (!failure && !options.file.empty())
        failure = readItems(options, &parser, &parsed);
    if (!failure && parsed.isEmpty())
        failure = Failure(StatusUsage, QLatin1String("no items: give ITEM or --items FILE"));
    if (!failure)
        *items = parsed;
    return failure;
}

Failure parseItem(const ItemOptions &given, const LinkOptions &link, const QString &head,
                  const QStringList &values, QVector<Item> *items)
{
    ItemOptions options = given;
    options.defaults.otherDriver = isOtherDriver(link);
    options.defaults.eitherSign = true;
    return ItemParser(options).parse(head, values, items);
}
