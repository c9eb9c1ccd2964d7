/// The lines of a wire as a trace, or another program, has recorded them.
#ifndef RUNTIME_CAPTURE_H
#define RUNTIME_CAPTURE_H

#include "runtime/statistics.h"
#include "runtime/wire_line.h"

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

class QIODevice;

/// A line of the wire out of a file.
struct CapturedLine {
    int number = 0;      ///< in the file, from 1
    char direction = 0;  ///< '>' towards the PLC, '<' from it
    double seconds = -1; ///< of any clock; -1 without a time
    QByteArray bytes;
};

/// Reads traces of kvlink and kvsim, and lines such as `12:30:01.250 TX: 43 52 20 30 30 0d 0a`,
/// `> CR 00\r\n` or `CC 00`: a time, a direction, then bytes in hexadecimal digits or text with
/// escapes. Time and direction may be missing, or stand in a line of their own before the bytes.
/// Pieces of a line are joined; a text without a line end gets one. A direction that is not said is
/// told by what the line means.
/// @param file   open for reading; holds any bytes
/// @param take   gets each line of the wire, with seconds that go on at midnight; returns whether it
///               wants more
/// @param refuse gets the number of each line of the file that has another form
void readCapture(QIODevice &file, const std::function<bool(const CapturedLine &)> &take,
                 const std::function<void(int)> &refuse);

/// Puts lines and replies together, and counts.
class CaptureSummary
{
public:
    /// Takes the next line. @return what is wrong with it besides its form; empty for nothing
    QString add(const CapturedLine &line);

    /// Ends the last exchange. @return lines for people. Requires: called once, last
    QStringList finish();

private:
    void endExchange();

    QMap<QString, int> m_lines; // how many with that meaning, towards the PLC
    QMap<QString, int> m_replies;
    Statistics m_times;
    bool m_isAsked = false; // m_asked has no reply yet
    CapturedLine m_asked;
    int m_missing = 0;
    int m_firstMissing = 0; // its number in the file
    int m_unfitting = 0;
};

#endif
