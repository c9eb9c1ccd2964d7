/// Lists of things with the same properties, for people and for scripts.
#ifndef APPS_KVLINK_OUTPUT_TABLE_H
#define APPS_KVLINK_OUTPUT_TABLE_H

#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVector>

class QJsonObject;
class QTextStream;

/// The name of a column, for scripts and for people.
struct TableColumn {
    const char *key;
    const char *title;
};

/// A list of things that each have the same properties: texts, numbers and truth values.
struct OutputTable {
    QVector<TableColumn> columns;
    QVector<QVector<QJsonValue>> rows;
};

/// Prints a table in columns, under its titles.
void printTextTable(const OutputTable &table, QTextStream &out);

/// Prints a table as JSON: an array with an object for each row.
void printJsonTable(const OutputTable &table, QTextStream &out);

/// Prints a table as comma-separated values, under its keys.
void printCsvTable(const OutputTable &table, QTextStream &out);

/// An object as JSON on one line, in ASCII: the output may have any encoding.
QString asciiJson(const QJsonObject &object);

/// The same of a text, in its quotes.
QString jsonText(const QString &text);

#endif
