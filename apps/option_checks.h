/// Options, and checks of them, that the programs share.
#ifndef APPS_OPTION_CHECKS_H
#define APPS_OPTION_CHECKS_H

#include "apps/argument_text.h"

#include <CLI/CLI.hpp>

#include <string>

/// Accepts a decimal number from @p min to @p max, both from 0 to 999999999. Leading zeros do not
/// make it octal.
inline CLI::Validator decimalRange(int min, int max)
{
    const std::string range = std::to_string(min) + " to " + std::to_string(max);
    return CLI::Validator(
        [min, max, range](std::string &text) {
            const bool digits = !text.empty() && text.size() <= 9 &&
                                text.find_first_not_of("0123456789") == std::string::npos;
            const int value = digits ? std::stoi(text) : -1;
            if (value < min || value > max)
                return text + " is not a number from " + range;
            text = std::to_string(value);
            return std::string();
        },
        range);
}

/// Refuses an empty argument, which an empty shell variable gives: it must not count as an option
/// that is not there.
inline CLI::Validator notEmpty()
{
    return CLI::Validator(
        [](const std::string &text) {
            return std::string(text.empty() ? "the value is empty" : "");
        },
        "");
}

/// Adds an option with a text, which must not be empty. @param type how the help names the text
inline CLI::Option *addText(CLI::App &app, const char *name, QString *text, const char *type,
                            const char *help)
{
    return app.add_option_function<std::string>(name, into(text), help)
        ->option_text(type)
        ->check(notEmpty());
}

#endif
