#include "apps/kvlink/item_options.h"

#include "apps/argument_text.h"
#include "apps/decimal_range.h"
#include "apps/kvlink/command_line.h"

#include <CLI/CLI.hpp>

namespace
{

// The names that -k takes beside those of the types.
const std::map<std::string, ItemType> &kinds()
{
    static const std::map<std::string, ItemType> names = {
        {"byte", ItemType::U8},   {"block", ItemType::U8},     {"word", ItemType::U16},
        {"dword", ItemType::U32}, {"bitblock", ItemType::Bit},
    };
    return names;
}

bool kindByName(const std::string &name, ItemType *type)
{
    const auto kind = kinds().find(name);
    if (kind == kinds().end())
        return itemTypeByName(argumentText(name), type);
    *type = kind->second;
    return true;
}

} // namespace

std::string typeHelp()
{
    return "\nTYPE: " + itemTypeNames().toStdString();
}

void addTypeOptions(CLI::App *command, ItemOptions *options)
{
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
        ->type_name("TYPE");
    command
        ->add_option_function<std::string>(
            "--word-order",
            [options](const std::string &name) {
                options->order = name == "low-first" ? WordOrder::LowFirst : WordOrder::HighFirst;
            },
            "Order of the words of 32-bit values")
        ->default_str("low-first")
        ->check(CLI::IsMember({"low-first", "high-first"}).description(""))
        ->type_name("low-first|high-first");
}

void addReadOptions(CLI::App *command, ItemOptions *options)
{
    command
        ->add_option("ITEM", options->expressions,
                     "Such as DM100, DM102:f32, DM200[8], R1215:bit or T3" + typeHelp())
        ->required()
        ->expected(1, MAX_ITEM_COUNT)
        ->type_name("ADDRESS[:TYPE][[COUNT]]...");
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

Failure parseItems(const ItemOptions &options, QVector<Item> *items)
{
    QVector<Item> parsed;
    for (const std::string &expression : options.expressions) {
        Item item;
        if (Failure failure = parseItem(argumentText(expression), options.defaults, &item))
            return failure;
        parsed += item;
    }
    *items = parsed;
    return Failure();
}
