/// How the programs' options take a time.
#ifndef APPS_DURATION_H
#define APPS_DURATION_H

#include <CLI/CLI.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <utility>

/// Milliseconds of a second, for options whose bare numbers are seconds.
const std::int64_t SECOND_MS = 1000;

/// Milliseconds of a day.
const std::int64_t DAY_MS = 86400000;

/// A unit of time and its milliseconds.
using TimeUnit = std::pair<const char *, std::int64_t>;

/// The units that a time may have, the longest first.
inline std::array<TimeUnit, 5> timeUnits()
{
    return {{{"d", DAY_MS}, {"h", 3600000}, {"min", 60000}, {"s", SECOND_MS}, {"ms", 1}}};
}

/// A time in the longest unit that divides it, such as 1d for 86400000 ms.
inline std::string timeWithUnit(std::int64_t ms)
{
    for (const TimeUnit &unit : timeUnits()) {
        if (ms > 0 && ms % unit.second == 0)
            return std::to_string(ms / unit.second) + unit.first;
    }
    return std::to_string(ms) + "ms";
}

/// Examples of times in a range, for people; empty where there is none.
inline std::string timeExamples(std::int64_t minMs, std::int64_t maxMs)
{
    std::string examples;
    for (const std::int64_t ms : {500, 1000, 300000, 3600000}) {
        if (ms >= minMs && ms <= maxMs)
            examples += (examples.empty() ? ", such as " : ", ") + timeWithUnit(ms);
    }
    return examples;
}

/// Accepts a whole number and a unit, such as 500ms, 1s, 5min or 1h, and turns it into milliseconds.
/// @param minMs, maxMs what is allowed, in milliseconds
/// @param bareMs       the milliseconds of a number without a unit
inline CLI::Validator duration(std::int64_t minMs, std::int64_t maxMs, std::int64_t bareMs = 1)
{
    return CLI::Validator(
        [minMs, maxMs, bareMs](std::string &text) {
            const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
            std::int64_t unitMs = digits == text.size() ? bareMs : 0;
            for (const TimeUnit &unit : timeUnits()) {
                if (text.substr(digits) == unit.first)
                    unitMs = unit.second;
            }
            const bool isDuration = digits > 0 && digits <= 9 && unitMs > 0;
            const std::int64_t ms = isDuration ? std::stoll(text.substr(0, digits)) * unitMs : -1;
            if (ms < minMs || ms > maxMs)
                return text + " is not a time from " + timeWithUnit(minMs) + " to " +
                       timeWithUnit(maxMs) + timeExamples(minMs, maxMs);
            text = std::to_string(ms);
            return std::string();
        },
        "");
}

#endif
