/// How the programs' options take a time.
#ifndef APPS_DURATION_H
#define APPS_DURATION_H

#include <CLI/CLI.hpp>

#include <cstdint>
#include <map>
#include <string>

/// Milliseconds of a second, for options whose bare numbers are seconds.
const std::int64_t SECOND_MS = 1000;

/// Accepts a whole number and a unit, such as 500ms, 1s, 5min or 1h, and turns it into milliseconds.
/// @param minMs, maxMs what is allowed, in milliseconds
/// @param bareMs       the milliseconds of a number without a unit
inline CLI::Validator duration(std::int64_t minMs, std::int64_t maxMs, std::int64_t bareMs = 1)
{
    return CLI::Validator(
        [minMs, maxMs, bareMs](std::string &text) {
            const std::map<std::string, std::int64_t> units = {
                {"", bareMs},   {"ms", 1},      {"s", SECOND_MS},
                {"min", 60000}, {"h", 3600000}, {"d", 86400000},
            };
            const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
            const auto unit = units.find(text.substr(digits));
            const bool isDuration = digits > 0 && digits <= 9 && unit != units.end();
            const std::int64_t ms =
                isDuration ? std::stoll(text.substr(0, digits)) * unit->second : -1;
            if (ms < minMs || ms > maxMs)
                return text + " is not a time from " + std::to_string(minMs) + "ms to " +
                       std::to_string(maxMs) + "ms, such as 500ms, 1s, 5min or 1h";
            text = std::to_string(ms);
            return std::string();
        },
        "");
}

#endif
