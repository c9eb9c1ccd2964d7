#include "runtime/escaped_text.h"

#include "runtime/undecoded_bytes.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>

QString escapedText(const QByteArray &bytes)
{
    QString text;
    for (int i = 0; i < bytes.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(bytes.at(i));
        if (c == '\r')
            text += QLatin1String("\\r");
        else if (c == '\n')
            text += QLatin1String("\\n");
        else if (c >= 0x20 && c <= 0x7E)
            text += QLatin1Char(bytes.at(i));
        else
            text += QString::fromLatin1("\\x%1").arg(c, 2, 16, QLatin1Char('0'));
    }
    return text;
}

QString reversiblyEscapedText(const QByteArray &bytes)
{
    QStringList parts;
    for (const QByteArray &part : bytes.split('\\'))
        parts += escapedText(part);
    return parts.join(QLatin1String("\\x5c"));
}

bool isPrintable(uint ucs4)
{
    const QChar::Category category = QChar::category(ucs4);
    return QChar::isPrint(ucs4) && category != QChar::Separator_Line &&
           category != QChar::Separator_Paragraph;
}

QString printableText(const QString &text)
{
    QString printable;
    for (const QString &character : charactersOf(text)) {
        if (isUndecodedByte(character))
            printable += escapedText(QByteArray(1, static_cast<char>(character.at(0).cell())));
        else if (isPrintable(character.toUcs4().first()))
            printable += character;
        else
            printable += escapedText(character.toUtf8());
    }
    return printable;
}

bool readEscapedText(const QString &text, QByteArray *bytes)
{
    static const QRegularExpression piece(
        QLatin1String("\\G(?:([ -\\[\\]-~]+)|\\\\(r|n|x([0-9a-f]{2})))"));
    bytes->clear();
    int at = 0;
    while (at < text.size()) {
        const QRegularExpressionMatch match = piece.match(text, at);
        if (!match.hasMatch())
            return false;
        at = match.capturedEnd();
        if (!match.captured(1).isEmpty())
            *bytes += match.captured(1).toLatin1();
        else if (!match.captured(3).isEmpty())
            *bytes += static_cast<char>(match.captured(3).toInt(nullptr, 16));
        else
            *bytes += match.captured(2) == QLatin1String("r") ? '\r' : '\n';
    }
    return true;
}

QString countText(qint64 count, const char *singular, const char *plural)
{
    return QString::fromLatin1("%1 %2").arg(count).arg(
        QLatin1String(count == 1 ? singular : plural));
}
