/// A timed log of the lines between a client and its PLC.
#ifndef RUNTIME_TRACE_LOG_H
#define RUNTIME_TRACE_LOG_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QString>
#include <QtCore/QTextStream>

#include <memory>

/// The place of a trace that goes to stderr.
const char TRACE_TO_STDERR[] = "-";

/// @return the wall-clock time for people and machines: local, ISO 8601 with milliseconds and the
///         offset from UTC, such as 2026-11-22T21:09:01.123+01:00
QString wallTime();

/// What a line of the protocol means by itself, in a few words: "open station 00",
/// "read 2 words from DM100", "2 words", "error reply 0"; "unknown" for a complete line of no known
/// form, "no line end" for one without CR LF.
/// @param direction '>' towards the PLC, '<' from it
QString lineMeaning(char direction, const QByteArray &line);

/// A line with escapes and its meaning, such as `> CR 00\r\n ; open station 00`.
QString explainedLine(char direction, const QByteArray &line);

/// Prints lines such as
/// `2026-11-22T21:09:01.123+01:00 0.001250 +0.000310 #1 > CR 00\r\n ; open station 00`: wall time,
/// seconds since the log began and since its line before (both from a monotonic clock), the client
/// where there are several, attempt, direction, text with escapes, meaning.
class TraceLog
{
public:
    /// @param out    where to print; outlives the log
    /// @param client of the lines that name none; without blanks
    explicit TraceLog(QTextStream &out, const QString &client = QString());

    /// The same with a file that is open for writing.
    explicit TraceLog(std::unique_ptr<QFile> file, const QString &client = QString());

    /// Prints one line and flushes.
    /// @param direction '>' towards the PLC, '<' from it
    /// @param bytes     the whole line with its end
    /// @param attempt   number of the attempt within a request, or of the client, from 1; 0 leaves
    ///                  it out
    /// @param client    whose line it is, without blanks; empty for the client of the log
    void line(char direction, const QByteArray &bytes, int attempt,
              const QString &client = QString());

    /// Whether a line could not be written.
    bool failed() const;

private:
    std::unique_ptr<QFile> m_file; // null for a stream of the caller
    QTextStream m_fileText;
    QTextStream &m_out;
    const QString m_client;
    QElapsedTimer m_clock;
    qint64 m_previousNs;
};

/// Begins a log.
/// @param place  a file, which is overwritten, or TRACE_TO_STDERR
/// @param err    stderr; outlives the log
/// @param log    gets the log
/// @param client see `TraceLog`
/// @return StatusOpen with file and reason when it cannot be written
Failure openTraceLog(const QString &place, QTextStream &err, std::unique_ptr<TraceLog> *log,
                     const QString &client = QString());

/// A line of such a log, read back.
struct TracedLine {
    char direction;   ///< '>' towards the PLC, '<' from it
    double seconds;   ///< since the log began
    QByteArray bytes; ///< without the escapes
};

/// Whether a line is what the programs print on stderr beside a trace, or is empty.
bool isTraceRemark(const QString &text);

/// Reads one line that a `TraceLog` has printed; the offset of its time may be missing.
/// @return false when it has another form
bool parseTracedLine(const QString &text, TracedLine *line);

#endif
