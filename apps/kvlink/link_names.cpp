#include "apps/kvlink/link_names.h"

#include "apps/argument_text.h"
#include "apps/command_help.h"
#include "apps/kvlink/command_line.h"

#include <CLI/CLI.hpp>

#include <QtCore/QFile>
#include <QtCore/QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>

namespace
{

const char COMMAND_LINE[] = "command line";
const char TAGS[] = "tags";

// Of a section; each is an option as well, tags of some commands.
const std::vector<std::string> &keys()
{
    static const std::vector<std::string> names = {"port",  "tcp",   "station", "timeout",
                                                   "retry", "delay", TAGS};
    return names;
}

// Values are one text each, whatever they hold, and a section's name has no parts.
class LinkSyntax : public CLI::ConfigBase
{
public:
    LinkSyntax()
    {
        arrayStart = arrayEnd = arraySeparator = '\1';
        parentSeparatorChar = '\1';
    }
};

struct LinkFile {
    std::string path;
    std::vector<CLI::ConfigItem> items;
};

[[noreturn]] void fail(const std::string &text)
{
    throw CLI::ConfigError(text);
}

std::string known(const std::vector<std::string> &names)
{
    return names.empty() ? std::string() : " (known: " + CLI::detail::join(names, ", ") + ")";
}

// The keys of a file are checked as a whole: one that is not known is most likely mistyped.
void checkKeys(const LinkFile &file)
{
    for (const CLI::ConfigItem &item : file.items) {
        const std::string place = file.path + ": ";
        if (item.parents.empty())
            fail(place + item.name +
                 " stands in no section; expected [NAME] above it, other than [default]");
        const std::string link = place + "[" + item.parents.front() + "] ";
        if (std::find(keys().begin(), keys().end(), item.name) == keys().end())
            fail(link + unknownText(item.name, "a key", keys()) + known(keys()));
        if (item.inputs.size() != 1 || item.inputs.front().empty())
            fail(link + item.name + ": expected one value");
    }
}

// @param isOptional whether the file may be missing
LinkFile readLinks(const std::string &path, bool isOptional, std::vector<std::string> *names)
{
    LinkFile file = {path, {}};
    std::ifstream input(path);
    const bool isMissing = !input && isOptional && errno == ENOENT;
    input.peek(); // a folder can be opened, but not read
    if (!isMissing && !input)
        throw CLI::FileError("cannot read the links " + path + ": " + std::strerror(errno));
    // Editors mark UTF-8 by these bytes.
    for (const int byte : {0xEF, 0xBB, 0xBF}) {
        if (input.peek() == byte)
            input.get();
    }
    for (const CLI::ConfigItem &item : LinkSyntax().from_config(input)) {
        const bool isSection = item.name == "++" || item.name == "--";
        if (!isSection)
            file.items.push_back(item);
        else if (item.name == "--")
            names->push_back(item.parents.front());
    }
    checkKeys(file);
    return file;
}

std::vector<std::string> defaultFiles()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return {QFile::encodeName(folder + QLatin1String("/kvlink/links.ini")).toStdString(),
            "/etc/kvlink/links.ini"};
}

// @param source what has named the link, for the error; empty for the command line
// @return the file with the link; only the link's items are left in it
LinkFile findLink(const CommandLine &line, const std::string &name, const std::string &source)
{
    const std::string &given = line.linksFile;
    const std::vector<std::string> paths =
        given.empty() ? defaultFiles() : std::vector<std::string>{given};
    std::vector<std::string> all;
    for (const std::string &path : paths) {
        std::vector<std::string> names;
        LinkFile file = readLinks(path, given.empty(), &names);
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            const auto isOther = [name](const CLI::ConfigItem &item) {
                return item.parents.front() != name;
            };
            file.items.erase(std::remove_if(file.items.begin(), file.items.end(), isOther),
                             file.items.end());
            return file;
        }
        all.insert(all.end(), names.begin(), names.end());
    }
    fail(source + unknownText(name, "a link of " + CLI::detail::join(paths, " or "), all) +
         known(all));
}

// The value of a key. The path of a tag file begins in the folder of the links.
std::string valueOf(const CLI::ConfigItem &item, const std::string &path)
{
    const std::string &value = item.inputs.front();
    const bool isRelative = item.name == TAGS && value.front() != '/';
    return isRelative ? path.substr(0, path.rfind('/') + 1) + value : value;
}

// Gives an option its value, which is checked as one of the command line.
void take(CLI::Option *option, const std::string &value, const std::string &place)
{
    try {
        option->add_result(value);
        option->run_callback();
    } catch (const CLI::ValidationError &error) {
        const std::string text = error.what();
        fail(place + text.substr(text.find(": ") + 2));
    }
}

// @param optionOf gives the option that a key stands for, to be set; null for none
void takeSettings(const LinkFile &file, const std::string &name, CommandLine *line,
                  const std::function<CLI::Option *(const std::string &key)> &optionOf)
{
    const std::string link = "[" + name + "]";
    const bool hasProject = !line->link.projectPort.isEmpty();
    for (const CLI::ConfigItem &item : file.items) {
        const std::string place = file.path + ": " + link + " " + item.name + ": ";
        std::string &origin = line->origins[item.name];
        if (origin == link)
            fail(place + "it stands there twice");
        CLI::Option *option = optionOf(item.name);
        if (!option || (hasProject && item.name == "station"))
            continue;
        take(option, valueOf(item, file.path), place);
        origin = link;
        if (Failure failure = Link::check(line->link))
            fail(place + failure.text().toStdString());
    }
    if (line->link.port.isEmpty() == line->link.tcp.isEmpty())
        fail(file.path + ": " + link + ": expected either port or tcp");
}

} // namespace

void addLinkNames(CLI::App &app, CommandLine *line)
{
    CLI::Option *link =
        app.add_option("--link", line->linkName, "Link of this name, from a file of links")
            ->option_text("NAME")
            ->default_str("KVLINK_LINK");
    app.add_option("--links", line->linksFile, "File of the links")
        ->option_text("FILE")
        ->default_str("kvlink/links.ini in ~/.config or /etc");
    for (const char *reach : {"--port", "--tcp", "--sim"})
        link->excludes(app.get_option(reach));
}

void takeNamedLink(CLI::App &app, CommandLine *line)
{
    for (const CLI::Option *option : app.get_options()) {
        if (option->count() > 0 && !option->get_lnames().empty())
            line->origins[option->get_lnames().front()] = COMMAND_LINE;
    }
    line->given = line->link;
    std::string name = line->linkName;
    if (app.get_option("--link")->empty() && !line->link.isReachable()) {
        name = qgetenv("KVLINK_LINK").toStdString();
        line->origins["link"] = "KVLINK_LINK";
    }
    if (name.empty()) {
        if (!app.get_option("--link")->empty() ||
            (!line->linksFile.empty() && !line->itemsNameLinks))
            fail("no link is named; give --link NAME");
        return;
    }
    const LinkFile file = findLink(*line, name, isTyped(*line, "link") ? "" : "KVLINK_LINK: ");
    line->linkName = name;
    line->linksFile = file.path;
    takeSettings(file, name, line, [&app](const std::string &key) {
        CLI::App &owner = key == TAGS ? *app.get_subcommands().front() : app;
        CLI::Option *option = owner.get_option_no_throw("--" + key);
        return option && option->count() > 0 ? nullptr : option;
    });
}

bool isTyped(const CommandLine &line, const std::string &option)
{
    const auto origin = line.origins.find(option);
    return origin != line.origins.end() && origin->second == COMMAND_LINE;
}

Failure findNamedLink(const CommandLine &line, const QString &name, NamedLink *link)
{
    CommandLine own;
    own.link = line.given;
    own.link.port.clear();
    own.link.tcp.clear();
    own.link.simulated = false;
    CLI::App app;
    addLinkOptions(app, &own.link);
    app.add_option_function<std::string>("--tags", into(&link->tagFile));
    try {
        takeSettings(findLink(line, name.toStdString(), ""), name.toStdString(), &own,
                     [&](const std::string &key) {
                         const bool isReach = key == "port" || key == "tcp";
                         return isTyped(line, key) && !isReach ? nullptr
                                                               : app.get_option("--" + key);
                     });
    } catch (const CLI::ParseError &error) {
        return Failure(statusOf(error), QString::fromStdString(error.what()));
    }
    link->options = own.link;
    return Failure();
}
