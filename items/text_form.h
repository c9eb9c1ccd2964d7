/// The characters of a string as bytes of the PLC.
#ifndef ITEMS_TEXT_FORM_H
#define ITEMS_TEXT_FORM_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

/// How the characters of a string lie in the PLC's words.
struct TextForm {
    QByteArray encoding;        ///< a name of `textEncodings`; empty for Latin-1 as bytes: only
                                ///< ASCII is shown as it is
    bool highByteFirst = false; ///< whether a word's first byte is its high one
};

/// The names of the encodings: latin1, shift-jis and utf-8.
QStringList textEncodings();

/// The bytes of a text in its encoding, without regard to their order in words.
/// @param bytes is filled on success
/// @return whether the encoding has all characters; there is no zero byte
bool encodeText(const QString &text, const TextForm &form, QByteArray *bytes);

/// The text of bytes, those of no character included.
QString decodeText(const QByteArray &bytes, const TextForm &form);

/// A decoded text for people: a backslash, what is not printable and bytes of no character appear as
/// the escapes of `reversiblyEscapedText`.
QString shownText(const QString &text, const TextForm &form);

/// A decoded text for programs: bytes of no character appear as \\xHH, all else is as it was.
QString plainText(const QString &text);

#endif
