#include "items/tag_file.h"

#include "items/csv_records.h"
#include "items/expression.h"
#include "items/item_scaling.h"
#include "runtime/escaped_text.h"
#include "runtime/whole_file.h"

#include <QtCore/QHash>
#include <QtCore/QRegularExpression>
#include <QtCore/QTextCodec>

#include <cmath>

namespace
{

const int MAX_ERRORS = 20;

const int MAX_NAME = 64;
const int MAX_UNIT = 16;

// With numbers of single precision, products stay far from infinity.
const double MIN_SCALE = 1e-12;
const double MAX_AMOUNT = 1e12;

enum Column {
    Name,
    Address,
    Type,
    Scale,
    Offset,
    Unit,
    Decimals,
    Deadband,
    Writable,
    Comment,
    Link
};

const char *const COLUMNS[] = {"name",     "address",  "type",     "scale",   "offset", "unit",
                               "decimals", "deadband", "writable", "comment", "link"};
const int COLUMN_COUNT = sizeof COLUMNS / sizeof *COLUMNS;

int columnByName(const QString &name)
{
    int column = 0;
    while (column < COLUMN_COUNT && name.toLower() != QLatin1String(COLUMNS[column]))
        ++column;
    return column;
}

QString columnNames()
{
    QStringList names;
    for (const char *name : COLUMNS)
        names += QLatin1String(name);
    return names.join(QLatin1String(", "));
}

QString inQuotes(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

bool isPrintable(const QString &text)
{
    return printableText(text) == text;
}

class TagReader
{
public:
    TagReader(const QString &name, bool otherDriver) : m_file(name)
    {
        m_defaults.otherDriver = otherDriver;
    }

    TagFile read(const QByteArray &bytes);

private:
    bool decode(const QByteArray &bytes, QString *text);
    bool readHeader(const CsvRecord &record);
    void readRow(const CsvRecord &record);
    void checkName();
    bool readItem(Item *item);
    void readNumbers(ItemTag *tag, ItemType type);
    void readNumber(Column column, double least, double most, double *number);
    void readRest(ItemTag *tag);

    QString text(Column column) const { return m_row[column].text; }
    void add(int line, const QString &text);
    void add(Column column, const QString &text);

    const QString m_file;
    ItemDefaults m_defaults;
    QChar m_delimiter;
    QVector<int> m_columns;       // of the file's fields
    CsvField m_row[COLUMN_COUNT]; // in the order of COLUMNS
    QHash<QString, int> m_lines;  // of the names
    TagFile m_read;
};

void TagReader::add(int line, const QString &text)
{
    const int count = m_read.errors.size();
    const QString place = QString::fromLatin1("%1:%2: ").arg(m_file, QString::number(line));
    if (count < MAX_ERRORS)
        m_read.errors += printableText(place + text);
    else if (count == MAX_ERRORS)
        m_read.errors += printableText(place + QLatin1String("more errors follow"));
}

void TagReader::add(Column column, const QString &text)
{
    add(m_row[column].line,
        QString::fromLatin1("column %1: %2").arg(QLatin1String(COLUMNS[column]), text));
}

// Where the file is wrong, its lines are decoded one by one up to the first wrong one: the others
// have most likely the same encoding.
bool TagReader::decode(const QByteArray &bytes, QString *text)
{
    const auto isWrong = [](const QByteArray &part, QString *decoded) {
        QTextCodec::ConverterState state;
        *decoded =
            QTextCodec::codecForName("UTF-8")->toUnicode(part.constData(), part.size(), &state);
        return state.invalidChars + state.remainingChars > 0;
    };
    if (!isWrong(bytes, text))
        return true;
    int line = 0;
    QString ignored;
    for (const QByteArray &part : bytes.split('\n')) {
        ++line;
        if (isWrong(part, &ignored))
            break;
    }
    add(line, QLatin1String("bytes that are not UTF-8: save the table as CSV in UTF-8"));
    return false;
}

TagFile TagReader::read(const QByteArray &bytes)
{
    QString text;
    if (!decode(bytes, &text))
        return m_read;
    m_delimiter = csvDelimiter(text);
    QVector<CsvRecord> records;
    CsvField wrong;
    const bool isWhole = splitCsv(text, m_delimiter, &records, &wrong);
    if (records.isEmpty() && isWhole)
        add(1, QLatin1String("no line with column names: expected ") + columnNames());
    else if (!records.isEmpty() && readHeader(records.first())) {
        for (int i = 1; i < records.size(); ++i)
            readRow(records.at(i));
    }
    if (!isWhole)
        add(wrong.line, wrong.text);
    return m_read;
}

bool TagReader::readHeader(const CsvRecord &record)
{
    const int before = m_read.errors.size();
    for (const CsvField &field : record) {
        const int column = columnByName(field.text);
        // A spreadsheet may write empty columns behind the last one.
        if (column == COLUMN_COUNT && !field.text.isEmpty())
            add(field.line, QString::fromLatin1("column %1 is not known: expected %2")
                                .arg(inQuotes(field.text), columnNames()));
        else if (column < COLUMN_COUNT && m_columns.contains(column))
            add(field.line, QString::fromLatin1("column %1 comes twice").arg(field.text));
        m_columns += column;
    }
    for (const Column column : {Name, Address}) {
        if (!m_columns.contains(column))
            add(record.first().line, QString::fromLatin1("column %1 is missing in the first line")
                                         .arg(QLatin1String(COLUMNS[column])));
    }
    return m_read.errors.size() == before;
}

void TagReader::readRow(const CsvRecord &record)
{
    for (CsvField &field : m_row) {
        field = CsvField();
        field.line = record.first().line;
    }
    for (int i = 0; i < record.size(); ++i) {
        const int column = i < m_columns.size() ? m_columns.at(i) : COLUMN_COUNT;
        if (column < COLUMN_COUNT)
            m_row[column] = record.at(i);
        else if (!record.at(i).text.isEmpty())
            add(record.at(i).line,
                QString::fromLatin1("field %1 has no column: put texts with a %2 in quotes")
                    .arg(inQuotes(record.at(i).text), QString(m_delimiter)));
    }
    Item item;
    checkName();
    if (readItem(&item))
        readNumbers(&item.tag, item.type);
    readRest(&item.tag);
    item.text = item.tag.name;
    item.link = text(Link);
    if (item.link.size() > MAX_NAME || !isPrintable(item.link))
        add(Link, QString::fromLatin1("%1: expected %2 printable characters at most")
                      .arg(inQuotes(item.link), QString::number(MAX_NAME)));
    m_read.tags += item;
}

void TagReader::checkName()
{
    static const QRegularExpression form(QLatin1String("\\A[\\p{L}_][\\p{L}\\p{M}\\p{N}_.-]*\\z"),
                                         QRegularExpression::UseUnicodePropertiesOption);
    const QString name = text(Name);
    DeviceAddress address;
    if (name.size() > MAX_NAME || !form.match(name).hasMatch())
        add(Name, QString::fromLatin1("%1: expected a letter, then letters, digits, \".\", \"_\" "
                                      "and \"-\", %2 characters at most")
                      .arg(inQuotes(name), QString::number(MAX_NAME)));
    else if (!m_defaults.otherDriver && parseDeviceAddress(name, &address) && address.isKnown)
        add(Name, QString::fromLatin1("%1 is an address of the PLC: take another name")
                      .arg(inQuotes(name)));
    else if (m_lines.contains(name))
        add(Name, QString::fromLatin1("%1 stands in line %2 already: take another name")
                      .arg(inQuotes(name), QString::number(m_lines.value(name))));
    else
        m_lines.insert(name, m_row[Name].line);
}

// @return whether the row has an item
bool TagReader::readItem(Item *item)
{
    const QString address = text(Address);
    const QString type = text(Type);
    ItemType found = ItemType::U16;
    if (!type.isEmpty() && !itemTypeByName(type.toLower(), &found)) {
        add(Type, QString::fromLatin1("%1: expected %2").arg(inQuotes(type), itemTypeNames()));
        return false;
    }
    if (!type.isEmpty() && address.contains(QLatin1Char(':'))) {
        add(Type, QString::fromLatin1("%1, but the address names a type already: clear one of them")
                      .arg(inQuotes(type)));
        return false;
    }
    const int end = address.indexOf(QLatin1Char('['));
    const QString count = end < 0 ? QString() : address.mid(end);
    const QString typed = type.isEmpty() ? QString() : QLatin1Char(':') + type;
    Failure failure;
    if (address.contains(QLatin1Char('=')))
        failure = Failure(StatusUsage, inQuotes(address) + QLatin1String(": expected no value"));
    else
        failure = parseItem(address.left(end) + typed + count, m_defaults, item);
    if (!failure && !m_defaults.otherDriver && !item->device.isKnown)
        failure = Failure(StatusUsage, inQuotes(address) +
                                           QLatin1String(": the PLC has no such device; kvlink(1) "
                                                         "lists them under ITEMS"));
    if (failure)
        add(Address, failure.text());
    return failure.isGood();
}

void TagReader::readNumber(Column column, double least, double most, double *number)
{
    QString written = text(column);
    if (written.isEmpty())
        return;
    if (m_delimiter == QLatin1Char(';'))
        written.replace(QLatin1Char(','), QLatin1Char('.'));
    double parsed = 0;
    if (parseDecimal(written, &parsed) && parsed >= least && parsed <= most)
        *number = parsed;
    else
        add(column,
            QString::fromLatin1("%1: expected a number from %2 to %3, such as 0.1")
                .arg(inQuotes(text(column)), QString::number(least), QString::number(most)));
}

void TagReader::readNumbers(ItemTag *tag, ItemType type)
{
    if (!isAmount(type)) {
        for (const Column column : {Scale, Offset, Decimals, Deadband}) {
            if (!text(column).isEmpty())
                add(column, QString::fromLatin1("%1: type %2 has none; clear it")
                                .arg(inQuotes(text(column)), itemTypeName(type)));
        }
        return;
    }
    readNumber(Scale, -MAX_AMOUNT, MAX_AMOUNT, &tag->scale);
    if (std::fabs(tag->scale) < MIN_SCALE)
        add(Scale, QString::fromLatin1("%1: expected a number that is not 0").arg(text(Scale)));
    readNumber(Offset, -MAX_AMOUNT, MAX_AMOUNT, &tag->offset);
    readNumber(Deadband, 0, MAX_AMOUNT, &tag->deadband);
    bool ok = false;
    const int decimals = text(Decimals).toInt(&ok);
    if (ok && decimals >= 0 && decimals <= MAX_DECIMALS)
        tag->decimals = decimals;
    else if (!text(Decimals).isEmpty())
        add(Decimals, QString::fromLatin1("%1: expected a whole number from 0 to %2")
                          .arg(inQuotes(text(Decimals)), QString::number(MAX_DECIMALS)));
}

void TagReader::readRest(ItemTag *tag)
{
    static const QStringList yes = {QString(), QLatin1String("yes"), QLatin1String("true"),
                                    QLatin1String("1")};
    static const QStringList no = {QLatin1String("no"), QLatin1String("false"), QLatin1String("0")};
    const QString unit = text(Unit);
    const QString writable = text(Writable).toLower();
    tag->name = text(Name);
    tag->unit = unit;
    tag->comment = text(Comment).simplified();
    tag->isWritable = yes.contains(writable);
    if (unit.size() > MAX_UNIT || !isPrintable(unit))
        add(Unit, QString::fromLatin1("%1: expected %2 printable characters at most")
                      .arg(inQuotes(unit), QString::number(MAX_UNIT)));
    if (!tag->isWritable && !no.contains(writable))
        add(Writable, QString::fromLatin1("%1: expected yes or no, and yes where it is empty")
                          .arg(inQuotes(text(Writable))));
}

} // namespace

TagFile parseTagFile(const QByteArray &bytes, const QString &name, bool otherDriver)
{
    return TagReader(name, otherDriver).read(bytes);
}

Failure readTagFile(const QString &path, TagFile *file, bool otherDriver)
{
    QByteArray bytes;
    Failure failure = readWholeFile(path, &bytes);
    if (!failure)
        *file = parseTagFile(bytes, path, otherDriver);
    return failure;
}
