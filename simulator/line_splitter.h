/// Where the lines of a wire end, and how received bytes are gathered to lines.
#ifndef SIMULATOR_LINE_SPLITTER_H
#define SIMULATOR_LINE_SPLITTER_H

#include <QtCore/QByteArray>

/// How many of the bytes from @p start on belong to the line that continues there: up to and with
/// its LF, or all. Requires: @p start lies within @p bytes.
int lineLength(const QByteArray &bytes, int start);

/// Whether @p line has its LF.
bool isWholeLine(const QByteArray &line);

/// Cuts a byte stream behind every LF, wherever the stream was cut before. A line of more than
/// MAX_LINE bytes is not kept, however long it grows.
class LineSplitter
{
public:
    /// The bytes of the longest line, its LF included: enough for the longest write there is.
    enum { MAX_LINE = 16384 };

    enum Result {
        NO_LINE,      ///< no LF has come yet
        LINE,         ///< a line was taken
        OVERLONG_LINE ///< the end of a line came whose bytes were dropped
    };

    LineSplitter();

    /// Adds bytes of the stream, in chunks of any size.
    void append(const QByteArray &bytes);

    /// Takes the next line, its LF included, into @p line; any other result leaves @p line
    /// unchanged.
    Result take(QByteArray *line);

private:
    void dropTaken();

    QByteArray m_bytes;
    int m_start;     // of the line to take next
    int m_searched;  // no LF from m_start up to here
    bool m_dropping; // the line's first bytes are gone
};

#endif
