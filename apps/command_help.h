/// What the programs' parsers print: help, and what is wrong with a command line.
#ifndef APPS_COMMAND_HELP_H
#define APPS_COMMAND_HELP_H

#include "apps/nearest_word.h"
#include "apps/version.h"
#include "runtime/escaped_text.h"
#include "runtime/failure.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

/// Help in which every option with a default shows it in the same way.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_option_opts(const CLI::Option *option) const override
    {
        std::string text = CLI::Formatter::make_option_opts(option);
        const std::string shown = "=" + option->get_default_str();
        if (shown.size() > 1 && option->get_option_text().empty())
            text.erase(text.find(shown), shown.size());
        // The manual says what goes together.
        return text.substr(0, std::min(text.find(" Needs:"), text.find(" Excludes:")));
    }

    std::string make_option_desc(const CLI::Option *option) const override
    {
        const std::string shown = option->get_default_str();
        return option->get_description() + (shown.empty() ? "" : "; default: " + shown);
    }

    // A hidden argument leaves a blank behind.
    std::string make_usage(const CLI::App *app, std::string name) const override
    {
        return CLI::detail::find_and_replace(CLI::Formatter::make_usage(app, name), " \n", "\n");
    }

    // The library writes "(1x)" behind an argument that may be repeated a limited number of times.
    std::string make_option_usage(const CLI::Option *option) const override
    {
        if (option->get_group().empty())
            return std::string();
        const std::string name = option->get_name(true);
        const std::string repeated = option->get_expected_max() > 1 ? name + "..." : name;
        return option->get_required() ? repeated : "[" + repeated + "]";
    }
};

/// The option names of a command and of those that it is a part of.
inline std::vector<std::string> optionNames(const CLI::App *command)
{
    std::vector<std::string> names;
    const auto isShown = [](const CLI::Option *option) { return !option->get_group().empty(); };
    for (; command; command = command->get_parent()) {
        for (const CLI::Option *option : command->get_options(isShown)) {
            for (const std::string &name : option->get_lnames())
                names.push_back("--" + name);
        }
    }
    return names;
}

/// Says that a word is none of those that are known, and which one is near.
inline std::string unknownText(const std::string &typed, const std::string &what,
                               const std::vector<std::string> &known)
{
    const std::string nearest = nearestWord(typed, known);
    return typed + " is not " + what + (nearest.empty() ? "" : "; did you mean " + nearest + "?");
}

/// The exit status for an error of a command line. A file that cannot be read is none of usage.
inline Status statusOf(const CLI::Error &error)
{
    const bool isOfFile = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::FileError);
    return isOfFile ? StatusOpen : StatusUsage;
}

/// What is wrong with an option that was not taken. One that the command has stood in front of it.
/// @param words the program and the command, as typed
inline std::string unknownOptionText(const std::string &option, const CLI::App *command,
                                     const std::string &words)
{
    const std::vector<std::string> names = optionNames(command);
    if (std::find(names.begin(), names.end(), option) == names.end())
        return unknownText(option, "an option", names);
    return option + " stands before its command; expected " + words + " " + option;
}

/// What is wrong with a command line, for people. The library does not say which word it did not
/// take for a command.
inline std::string usageError(const CLI::App *app, const CLI::Error &error)
{
    std::string text = error.what();
    const CLI::App *command = app;
    std::string words = app->get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        words += " " + command->get_name();
    }
    std::vector<std::string> commands;
    for (const CLI::App *known : command->get_subcommands({}))
        commands.push_back(known->get_name());
    for (const std::string &word : app->remaining()) {
        if (word == "--")
            continue;
        if (word.compare(0, 1, "-") == 0)
            text = unknownOptionText(word.substr(0, word.find('=')), command, words);
        else if (!commands.empty())
            text = unknownText(word, "a command", commands);
        break;
    }
    const std::string next =
        statusOf(error) == StatusUsage ? "Run " + words + " --help for its usage.\n" : "";
    return app->get_name() + ": " + escapedText(text.c_str()).toStdString() + "\n" + next;
}

/// Gives a program's parser its help, its version and its error texts. Requires: the parser has the
/// program's name, and no command yet.
inline void setUpParser(CLI::App *app)
{
    const int helpColumn = 34; // behind the longest option of kvsim and kvbridge
    app->formatter(std::make_shared<HelpFormatter>());
    app->get_formatter()->column_width(helpColumn);
    app->set_version_flag("--version", app->get_name() + ' ' + versionText(),
                          "Print the version and exit");
    app->set_help_flag("-h,--help", "Print this help and exit");
    app->failure_message(usageError);
}

/// Prints why a parse has ended: help or the version to the first stream, an error to the other one.
inline Status reportParse(const CLI::App &app, const CLI::ParseError &end, QTextStream &out,
                          QTextStream &err)
{
    std::ostringstream help;
    std::ostringstream wrong;
    const int code = app.exit(end, help, wrong);
    out << help.str().c_str();
    err << wrong.str().c_str();
    err.flush();
    return code == 0 ? StatusGood : statusOf(end);
}

#endif
