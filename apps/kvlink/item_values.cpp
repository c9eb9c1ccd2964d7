#include "item_values.h"

#include "host/escaped_text.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

namespace
{

const ItemKind ITEM_KINDS[] = {
    {"bit", Bit, 1},           {"byte", Byte, 8},   {"word", Word, 16},
    {"dword", DoubleWord, 32}, {"block", Block, 8}, {"bitblock", BitBlock, 1},
};

bool parseValue(const std::string &text, qint64 *value)
{
    static const QRegularExpression number(
        QLatin1String("\\A(-?)(?:0[xX]([0-9a-fA-F]+)|([0-9]+))\\z"));
    const QRegularExpressionMatch match =
        number.match(QString::fromLatin1(text.data(), static_cast<int>(text.size())));
    const bool hexadecimal = !match.captured(2).isEmpty();
    bool ok = false;
    const qint64 magnitude =
        hexadecimal ? match.captured(2).toLongLong(&ok, 16) : match.captured(3).toLongLong(&ok, 10);
    *value = match.captured(1).isEmpty() ? magnitude : -magnitude;
    return ok;
}

} // namespace

std::vector<std::string> itemKindNames()
{
    std::vector<std::string> names;
    for (const ItemKind &kind : ITEM_KINDS)
        names.push_back(kind.name);
    return names;
}

const ItemKind &itemKind(const std::string &name)
{
    const ItemKind *kind = ITEM_KINDS;
    while (kind->name != name)
        ++kind;
    return *kind;
}

bool packValues(const ItemKind &kind, const std::vector<std::string> &texts, QByteArray *data,
                QString *error)
{
    const qint64 max = (qint64(1) << kind.bits) - 1;
    const qint64 min = kind.bits == 1 ? 0 : -(qint64(1) << (kind.bits - 1));
    QByteArray packed;
    for (const std::string &text : texts) {
        qint64 value = 0;
        if (!parseValue(text, &value) || value < min || value > max) {
            *error = QString::fromLatin1("value \"%1\" is not a number from %2 to %3 (kind %4)")
                         .arg(escapedText(QByteArray::fromStdString(text)))
                         .arg(min)
                         .arg(max)
                         .arg(QLatin1String(kind.name));
            return false;
        }
        for (int bit = 0; bit < kind.bits; bit += 8)
            packed += static_cast<char>((value >> bit) & 0xFF);
    }
    *data = packed;
    return true;
}

void printValues(const ItemKind &kind, const QByteArray &data, int count, QTextStream &out)
{
    const int bytes = kind.bits / 8;
    for (int i = 0; i < count; ++i) {
        quint32 value = 0;
        if (kind.bits == 1)
            value = (static_cast<unsigned char>(data.at(i / 8)) >> (i % 8)) & 1u;
        for (int byte = bytes - 1; byte >= 0; --byte)
            value = (value << 8) | static_cast<unsigned char>(data.at(i * bytes + byte));
        out << value << '\n';
    }
}
