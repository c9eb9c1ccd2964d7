/// Texts that keep each byte they were made of, also those that are part of no character.
#ifndef RUNTIME_UNDECODED_BYTES_H
#define RUNTIME_UNDECODED_BYTES_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

class QTextCodec;

/// The code unit, half of a pair, that stands for a byte of no character: this plus the byte.
const ushort UNDECODED_BYTES = 0xDC00;

/// The characters of a text, each of one or two code units.
QStringList charactersOf(const QString &text);

/// Whether a character, one or two code units, stands for such a byte.
bool isUndecodedByte(const QString &character);

/// The text of bytes, with a code unit for each byte that is part of no character.
/// @param longest the most bytes of a character of the codec
QString keptText(const QTextCodec &codec, int longest, const QByteArray &bytes);

/// Makes Qt keep the bytes of arguments, file names and devices in a UTF-8 or C locale, where it
/// would replace what is not UTF-8. Other locales stay as they are.
/// Requires: a QCoreApplication; no text stream is open yet.
void keepUndecodedBytes();

#endif
