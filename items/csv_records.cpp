#include "items/csv_records.h"

#include "runtime/escaped_text.h"

#include <QtCore/QRegularExpression>

#include <algorithm>

namespace
{

class CsvReader
{
public:
    CsvReader(const QString &text, QChar delimiter) : m_text(text), m_delimiter(delimiter) {}

    bool atEnd() const { return m_at == m_text.size(); }

    /// Reads up to the end of a field, a quoted one to the end of what follows its quotes.
    /// @return whether it has its closing quote, and nothing behind it
    bool readField(CsvField *field)
    {
        skipBlanks();
        field->line = m_line;
        if (atEnd() || m_text.at(m_at) != QLatin1Char('"')) {
            const int start = m_at;
            while (!atFieldEnd())
                ++m_at;
            field->text = m_text.mid(start, m_at - start).trimmed();
            return true;
        }
        if (!readQuoted(&field->text))
            return false;
        skipBlanks();
        return atFieldEnd();
    }

    /// @return whether another field follows in this record
    bool passFieldEnd()
    {
        if (atEnd())
            return false;
        const QChar end = m_text.at(m_at++);
        if (end == m_delimiter)
            return true;
        if (end == QLatin1Char('\r') && !atEnd() && m_text.at(m_at) == QLatin1Char('\n'))
            ++m_at;
        ++m_line;
        return false;
    }

private:
    bool atFieldEnd() const
    {
        return atEnd() || m_text.at(m_at) == m_delimiter || isLineEnd(m_text.at(m_at));
    }

    static bool isLineEnd(QChar c) { return c == QLatin1Char('\n') || c == QLatin1Char('\r'); }

    void skipBlanks()
    {
        while (!atFieldEnd() && m_text.at(m_at).isSpace())
            ++m_at;
    }

    bool readQuoted(QString *text)
    {
        for (++m_at; !atEnd(); ++m_at) {
            const QChar c = m_text.at(m_at);
            const QChar next = m_at + 1 < m_text.size() ? m_text.at(m_at + 1) : QChar();
            if (c == QLatin1Char('"')) {
                if (next != c) {
                    ++m_at;
                    return true;
                }
                ++m_at;
            }
            if (isLineEnd(c) && !(c == QLatin1Char('\r') && next == QLatin1Char('\n')))
                ++m_line;
            *text += c;
        }
        return false;
    }

    const QString &m_text;
    const QChar m_delimiter;
    int m_at = 0;
    int m_line = 1;
};

} // namespace

bool splitCsv(const QString &text, QChar delimiter, QVector<CsvRecord> *records, CsvField *wrong)
{
    CsvReader reader(text, delimiter);
    while (!reader.atEnd()) {
        CsvRecord record;
        do {
            CsvField field;
            if (!reader.readField(&field)) {
                wrong->line = field.line;
                wrong->text = reader.atEnd()
                                  ? QLatin1String("a field in quotes has no end: add a quote, and "
                                                  "double those inside")
                                  : QLatin1String("text follows a field in quotes: double quotes "
                                                  "that are inside of it");
                return false;
            }
            record += field;
        } while (reader.passFieldEnd());
        if (std::any_of(record.begin(), record.end(),
                        [](const CsvField &field) { return !field.text.isEmpty(); }))
            *records += record;
    }
    return true;
}

QChar csvDelimiter(const QString &text)
{
    const int end = text.indexOf(QRegularExpression(QLatin1String("[\r\n]")));
    return text.left(end).contains(QLatin1Char(';')) ? QLatin1Char(';') : QLatin1Char(',');
}

QString csvField(const QString &text)
{
    QString field = printableText(text);
    if (field.contains(QLatin1Char(',')) || field.contains(QLatin1Char('"'))) {
        field.replace(QLatin1Char('"'), QLatin1String("\"\""));
        field = QLatin1Char('"') + field + QLatin1Char('"');
    }
    return field;
}

QString csvText(const QString &text)
{
    const bool needsMark = !text.isEmpty() && QLatin1String("=+-@'").contains(text.at(0));
    return csvField((needsMark ? QLatin1String("'") : QLatin1String("")) + text);
}
