#include "runtime/undecoded_bytes.h"

#include <QtCore/QTextCodec>

#include <cstring>

#include <langinfo.h>

namespace
{

const int LONGEST_UTF8 = 4;

// The character that a number of bytes are, all of them; empty when they are none.
QString characterOf(const QTextCodec &codec, const char *bytes, int count)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const QString text = codec.toUnicode(bytes, count, &state);
    const bool isOne = text.size() == 1 || (text.size() == 2 && text.at(0).isHighSurrogate());
    return isOne && text.at(0) != QChar::ReplacementCharacter ? text : QString();
}

// How many bytes at the end may be the beginning of a character in UTF-8.
int unfinished(const QByteArray &bytes)
{
    for (int count = 1; count < LONGEST_UTF8 && count <= bytes.size(); ++count) {
        const unsigned char c = static_cast<unsigned char>(bytes.at(bytes.size() - count));
        if (c >= 0xC0)
            return count < (c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2) ? count : 0;
        if (c < 0x80)
            break;
    }
    return 0;
}

// UTF-8 and, both ways, bytes of no character. What a block of a stream begins is kept for the next one.
class ByteCodec : public QTextCodec
{
public:
    QByteArray name() const override { return "UTF-8 and bytes"; }
    int mibEnum() const override { return 0; }

protected:
    QString convertToUnicode(const char *in, int length, ConverterState *state) const override
    {
        QByteArray bytes(in, length);
        if (state) {
            bytes.prepend(reinterpret_cast<const char *>(state->state_data), state->remainingChars);
            const int rest = unfinished(bytes);
            std::memcpy(state->state_data, bytes.constData() + bytes.size() - rest,
                        static_cast<size_t>(rest));
            state->remainingChars = rest;
            bytes.chop(rest);
        }
        const QTextCodec &utf8 = *QTextCodec::codecForName("UTF-8");
        ConverterState whole(IgnoreHeader);
        const QString text = utf8.toUnicode(bytes.constData(), bytes.size(), &whole);
        const bool isKept =
            whole.remainingChars == 0 && !text.contains(QChar::ReplacementCharacter);
        return isKept ? text : keptText(utf8, LONGEST_UTF8, bytes);
    }

    QByteArray convertFromUnicode(const QChar *in, int length, ConverterState *state) const override
    {
        QString text(in, length);
        if (state && state->remainingChars > 0)
            text.prepend(QChar(static_cast<ushort>(state->state_data[0])));
        QByteArray bytes;
        int begin = 0;
        for (int at = 0; at < text.size(); ++at) {
            if (at > 0 && text.at(at - 1).isHighSurrogate())
                continue;
            const QString character(text.at(at));
            if (!isUndecodedByte(character))
                continue;
            bytes += text.mid(begin, at - begin).toUtf8() + static_cast<char>(text.at(at).cell());
            begin = at + 1;
        }
        if (state) {
            const bool isHalf = text.size() > begin && text.at(text.size() - 1).isHighSurrogate();
            state->remainingChars = isHalf ? 1 : 0;
            state->state_data[0] = isHalf ? text.at(text.size() - 1).unicode() : 0;
            text.chop(state->remainingChars);
        }
        return bytes + text.mid(begin).toUtf8();
    }
};

} // namespace

QStringList charactersOf(const QString &text)
{
    QStringList characters;
    for (int at = 0; at < text.size(); at += characters.last().size())
        characters += text.mid(at, text.at(at).isHighSurrogate() ? 2 : 1);
    return characters;
}

bool isUndecodedByte(const QString &character)
{
    const ushort unit = character.at(0).unicode();
    return unit >= UNDECODED_BYTES && unit <= UNDECODED_BYTES + 0xFF;
}

QString keptText(const QTextCodec &codec, int longest, const QByteArray &bytes)
{
    QString text;
    for (int at = 0, used = 0; at < bytes.size(); at += used) {
        const int most = qMin(longest, bytes.size() - at);
        QString character;
        for (used = 0; character.isEmpty() && used < most;)
            character = characterOf(codec, bytes.constData() + at, ++used);
        if (character.isEmpty()) {
            used = 1;
            character = QChar(UNDECODED_BYTES + static_cast<unsigned char>(bytes.at(at)));
        }
        text += character;
    }
    return text;
}

void keepUndecodedBytes()
{
    const QByteArray codeset = nl_langinfo(CODESET);
    if (codeset != "UTF-8" && codeset != "ANSI_X3.4-1968") // the C locale's
        return;
    static QTextCodec *const codec = new ByteCodec; // which Qt deletes
    QTextCodec::setCodecForLocale(codec);
}
