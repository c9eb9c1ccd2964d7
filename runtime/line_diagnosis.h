/// What is wrong with a line: from the ends of its exchanges and the counts of its port to likely
/// causes, and what to check.
#ifndef RUNTIME_LINE_DIAGNOSIS_H
#define RUNTIME_LINE_DIAGNOSIS_H

#include "runtime/link.h"
#include "runtime/port.h"
#include "runtime/wire_line.h"

#include <QtCore/QVector>

#include <array>

struct RequestReport;

/// What was seen on a line, over many requests.
struct LineCounts {
    std::array<int, EXCHANGE_ENDS> ends = {}; ///< exchanges, by how they ended
    SerialErrors errors;                      ///< what the system counted on the port
    StrayInput stray;                         ///< what came that nobody waited for
    int losses = 0;                           ///< times that the port or the connection was lost

    /// Counts what was seen during a request.
    void add(const RequestReport &report);

    /// Exchanges that ended so.
    int of(ExchangeEnd end) const { return ends[static_cast<size_t>(end)]; }

    /// Whether lines were sent and nothing at all came back, not even noise.
    bool isSilent() const;
};

/// A likely cause of what was seen.
struct LineCause {
    const char *name;  ///< for scripts, such as noise
    const char *text;  ///< what it is, for people
    const char *check; ///< what to check, for people

    /// Whether the counts speak for it.
    bool (*fits)(const LineCounts &counts);
};

/// @return the causes that the counts speak for, the likeliest first; none for a good line
QVector<const LineCause *> likelyCauses(const LineCounts &counts);

/// The name of an end of an exchange for scripts, such as noReply.
const char *exchangeEndName(ExchangeEnd end);

#endif
