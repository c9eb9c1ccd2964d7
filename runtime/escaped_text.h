/// Bytes of a line and counts as text for people.
#ifndef RUNTIME_ESCAPED_TEXT_H
#define RUNTIME_ESCAPED_TEXT_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// @return @p bytes with CR as \\r, LF as \\n and every other byte outside 0x20 to 0x7E as \\x and
///         two lower-case hexadecimal digits; text that is escaped already stays as it is
QString escapedText(const QByteArray &bytes);

/// @return the same with each backslash as \\x5c, so that each text stands for one run of bytes
QString reversiblyEscapedText(const QByteArray &bytes);

/// Whether a terminal shows a character as a sign of its own: no control, no mark that only changes
/// how others are shown, no line end.
bool isPrintable(uint ucs4);

/// @return @p text with every character that is not printable as the escapes of its bytes in UTF-8,
///         and each byte of no character as its escape
QString printableText(const QString &text);

/// Reads what `reversiblyEscapedText` has made. @return false for another text
bool readEscapedText(const QString &text, QByteArray *bytes);

/// "1 reply", "2 replies": a count with its word. @param plural the word for all counts but one
QString countText(qint64 count, const char *singular, const char *plural);

#endif
