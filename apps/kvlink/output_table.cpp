#include "apps/kvlink/output_table.h"

#include "items/csv_records.h"
#include "runtime/escaped_text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>

#include <algorithm>

namespace
{

QString cell(const QJsonValue &value)
{
    if (value.isBool())
        return QLatin1String(value.toBool() ? "yes" : "no");
    const QString text = printableText(value.toVariant().toString());
    return text.isEmpty() ? QString(QLatin1Char('-')) : text;
}

// Outside strings JSON is ASCII, and inside them it can be.
QString asciiJson(const QJsonDocument &document)
{
    QString ascii;
    for (const QChar c : QString::fromUtf8(document.toJson(QJsonDocument::Compact))) {
        if (c.unicode() < 0x7F)
            ascii += c;
        else
            ascii += QString::fromLatin1("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
    }
    return ascii;
}

} // namespace

void printTextTable(const OutputTable &table, QTextStream &out)
{
    const int columns = table.columns.size();
    QVector<QStringList> lines(1);
    for (const TableColumn &column : table.columns)
        lines[0] += QLatin1String(column.title);
    for (const QVector<QJsonValue> &row : table.rows) {
        lines += QStringList();
        for (const QJsonValue &value : row)
            lines.last() += cell(value);
    }
    QVector<int> widths(columns);
    for (const QStringList &line : qAsConst(lines)) {
        for (int i = 0; i < columns; ++i)
            widths[i] = qMax(widths.at(i), line.at(i).size());
    }
    for (const QStringList &line : qAsConst(lines)) {
        for (int i = 0; i < columns - 1; ++i)
            out << line.at(i).leftJustified(widths.at(i) + 2);
        out << line.last() << '\n';
    }
}

void printJsonTable(const OutputTable &table, QTextStream &out)
{
    QJsonArray objects;
    for (const QVector<QJsonValue> &row : table.rows) {
        QJsonObject object;
        for (int i = 0; i < table.columns.size(); ++i)
            object.insert(QLatin1String(table.columns.at(i).key), row.at(i));
        objects.append(object);
    }
    out << QString::fromUtf8(QJsonDocument(objects).toJson(QJsonDocument::Compact)) << '\n';
}

void printCsvTable(const OutputTable &table, QTextStream &out)
{
    for (int i = 0; i < table.columns.size(); ++i)
        out << (i > 0 ? "," : "") << table.columns.at(i).key;
    out << '\n';
    for (const QVector<QJsonValue> &row : table.rows) {
        for (int i = 0; i < row.size(); ++i)
            out << (i > 0 ? "," : "") << csvText(row.at(i).toVariant().toString());
        out << '\n';
    }
}

QString asciiJson(const QJsonObject &object)
{
    return asciiJson(QJsonDocument(object));
}

QString jsonText(const QString &text)
{
    const bool isPlain = std::all_of(text.begin(), text.end(), [](QChar c) {
        return c.unicode() >= 0x20 && c.unicode() < 0x7F && c != QLatin1Char('"') &&
               c != QLatin1Char('\\');
    });
    if (isPlain)
        return QLatin1Char('"') + text + QLatin1Char('"');
    const QString array = asciiJson(QJsonDocument(QJsonArray{text}));
    return array.mid(1, array.size() - 2);
}
