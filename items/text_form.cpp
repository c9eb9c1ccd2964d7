#include "items/text_form.h"

#include "runtime/escaped_text.h"
#include "runtime/undecoded_bytes.h"

#include <QtCore/QTextCodec>

namespace
{

struct Encoding {
    const char *name;
    const char *codec;
    int longest; // bytes of a character
};

// The first is the default.
const Encoding ENCODINGS[] = {
    {"latin1", "ISO-8859-1", 1},
    {"shift-jis", "Shift_JIS", 2},
    {"utf-8", "UTF-8", 4},
};

const Encoding &encodingOf(const TextForm &form)
{
    const Encoding *found = ENCODINGS;
    for (const Encoding &row : ENCODINGS)
        found = form.encoding == row.name ? &row : found;
    return *found;
}

const QTextCodec &codecOf(const TextForm &form)
{
    return *QTextCodec::codecForName(encodingOf(form).codec);
}

} // namespace

QStringList textEncodings()
{
    QStringList names;
    for (const Encoding &row : ENCODINGS)
        names += QLatin1String(row.name);
    return names;
}

bool encodeText(const QString &text, const TextForm &form, QByteArray *bytes)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const QByteArray encoded = codecOf(form).fromUnicode(text.constData(), text.size(), &state);
    *bytes = encoded;
    return !encoded.contains('\0') && decodeText(encoded, form) == text;
}

QString decodeText(const QByteArray &bytes, const TextForm &form)
{
    return keptText(codecOf(form), encodingOf(form).longest, bytes);
}

QString shownText(const QString &text, const TextForm &form)
{
    if (form.encoding.isEmpty())
        return reversiblyEscapedText(text.toLatin1());
    QString shown;
    for (const QString &character : charactersOf(text)) {
        if (isUndecodedByte(character))
            shown += plainText(character);
        else if (character == QLatin1String("\\") || !isPrintable(character.toUcs4().first()))
            shown += reversiblyEscapedText(codecOf(form).fromUnicode(character));
        else
            shown += character;
    }
    return shown;
}

QString plainText(const QString &text)
{
    QString plain;
    for (const QString &character : charactersOf(text))
        plain += isUndecodedByte(character) ? printableText(character) : character;
    return plain;
}
