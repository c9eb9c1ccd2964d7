/// The value of the programs' option --trace.
#ifndef APPS_TRACE_TARGET_H
#define APPS_TRACE_TARGET_H

#include <CLI/CLI.hpp>

#include <string>

/// Takes --trace as "-", which stands for stderr, and --trace=FILE as FILE.
inline CLI::Validator traceTarget()
{
    return CLI::Validator(
        [](std::string &text) {
            // The parser's own text for a flag without a value.
            if (text == "true")
                text = "-";
            return std::string();
        },
        "");
}

#endif
