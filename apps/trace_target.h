/// The value of the programs' option --trace.
#ifndef APPS_TRACE_TARGET_H
#define APPS_TRACE_TARGET_H

#include "runtime/trace_log.h"

#include <CLI/CLI.hpp>

#include <string>

/// Takes --trace as TRACE_TO_STDERR, and --trace=FILE as FILE.
inline CLI::Validator traceTarget()
{
    return CLI::Validator(
        [](std::string &text) {
            // The parser's own text for a flag without a value.
            if (text == "true")
                text = TRACE_TO_STDERR;
            return std::string();
        },
        "");
}

#endif
