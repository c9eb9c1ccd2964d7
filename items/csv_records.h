/// Comma-separated values as spreadsheets write them.
#ifndef ITEMS_CSV_RECORDS_H
#define ITEMS_CSV_RECORDS_H

#include <QtCore/QChar>
#include <QtCore/QString>
#include <QtCore/QVector>

/// A field without its quotes and the blanks around it.
struct CsvField {
    QString text;
    int line = 0; ///< on which it begins, 1 for the first
};

/// One row. Rows whose fields are all empty are left out.
typedef QVector<CsvField> CsvRecord;

/// Takes a text apart: fields with a delimiter between them, in double quotes where they hold a
/// delimiter, a line end or a quote, which is then doubled. Lines end in LF, CR LF or CR.
/// @param records is filled with all rows; those in front of the wrong one on a failure
/// @param wrong   gets what is wrong, and the line, when a quoted field has no end, or more text
///                behind it
/// @return whether nothing is wrong
bool splitCsv(const QString &text, QChar delimiter, QVector<CsvRecord> *records, CsvField *wrong);

/// A field of a row with commas, in quotes where it needs them. What is not printable appears as
/// escapes.
QString csvField(const QString &text);

/// The same for a text of somebody else. A spreadsheet runs what begins with =, +, - or @ as a
/// formula, and takes what follows an apostrophe as text: such a text gets an apostrophe.
QString csvText(const QString &text);

/// Semicolon or comma: which one the first line has.
QChar csvDelimiter(const QString &text);

#endif
