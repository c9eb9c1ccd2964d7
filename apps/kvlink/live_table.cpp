#include "apps/kvlink/live_table.h"

#include "apps/kvlink/item_output.h"

#include <QtCore/QTextStream>

#include <cwchar>

#include <unistd.h>

namespace
{

QString valueText(const Item &item, const ItemResult &result)
{
    return result.failure ? QString::fromLatin1("(failed)") : shownWithUnit(item, result.values);
}

const char TO_TOP_AND_CLEAR[] = "\x1b[H\x1b[J";
const char UP_LINES[] = "\x1b[%1A";
const char TO_START_AND_CLEAR[] = "\r\x1b[K";
const char CLEAR_BELOW[] = "\x1b[J";
const char REVERSE[] = "\x1b[7m";
const char PLAIN[] = "\x1b[0m";

// Behind what the terminal's edge cuts off.
const char CUT_MARK = '>';

// Columns of a terminal: two for an ideograph, none for an accent of its own. What cannot be shown
// counts as the replacement that it gets.
int widthOf(uint character)
{
    const int width = wcwidth(static_cast<wchar_t>(character));
    return width < 0 ? 1 : width;
}

int widthOf(const QString &text)
{
    int width = 0;
    for (const uint character : text.toUcs4())
        width += widthOf(character);
    return width;
}

QString padded(const QString &text, int width)
{
    return text + QString(qMax(0, width - widthOf(text)), QLatin1Char(' '));
}

QString cut(const QString &text, int columns)
{
    if (widthOf(text) <= columns)
        return text;
    const QVector<uint> characters = text.toUcs4();
    int count = 0;
    for (int width = 1; width + widthOf(characters.at(count)) <= columns; ++count)
        width += widthOf(characters.at(count));
    return QString::fromUcs4(characters.constData(), count) + QLatin1Char(CUT_MARK);
}

QString marked(const QString &text)
{
    return text.isEmpty() ? text : QLatin1String(REVERSE) + text + QLatin1String(PLAIN);
}

} // namespace

bool canRedraw(int descriptor)
{
    return isatty(descriptor) && qgetenv("TERM") != "dumb";
}

LiveTable::LiveTable(QTextStream &out, const QVector<Item> &items)
    : m_out(out), m_items(items), m_itemWidth(0), m_drawnRows(0), m_columns(0), m_rows(0)
{
    for (const Item &item : items) {
        m_values += QString();
        m_isNew += false;
        m_since += QString();
        m_itemWidth = qMax(m_itemWidth, widthOf(nameWithLink(item)));
    }
}

void LiveTable::take(const QVector<ItemResult> &results, const QString &time, int first)
{
    for (int i = first; i < first + results.size(); ++i) {
        const QString value = valueText(m_items.at(i), results.at(i - first));
        const bool isFirst = m_since.at(i).isEmpty();
        const bool isNew = value != m_values.at(i) && !isFirst;
        if (isNew || isFirst)
            m_since[i] = time;
        m_isNew[i] = m_isNew.at(i) || isNew;
        m_values[i] = value;
    }
}

QStringList LiveTable::linesOf(const QString &time, int columns) const
{
    int valueWidth = 0;
    for (const QString &value : m_values)
        valueWidth = qMax(valueWidth, widthOf(value));
    // A part of a time is of no use.
    const QString since = QLatin1String("  since ");
    const bool hasSince = m_itemWidth + 2 + valueWidth + since.size() + time.size() <= columns;
    QStringList lines(cut(time, columns));
    for (int i = 0; i < m_items.size(); ++i) {
        const QString name = padded(nameWithLink(m_items.at(i)), m_itemWidth + 2);
        const QString row = cut(name + m_values.at(i), columns);
        const QString value = row.mid(name.size());
        lines += row.left(name.size()) + (m_isNew.at(i) ? marked(value) : value);
        if (hasSince && !m_since.at(i).isEmpty())
            lines.last() += padded(QString(), valueWidth - widthOf(value)) + since + m_since.at(i);
    }
    return lines;
}

void LiveTable::draw(const QString &time, int columns, int rows)
{
    QStringList lines = linesOf(time, columns);
    m_isNew.fill(false);
    // A table that is taller than the terminal could not be drawn over again.
    const int room = qMax(1, rows - 1);
    if (lines.size() > room) {
        lines = lines.mid(0, room - 1);
        const int shown = qMax(0, lines.size() - 1);
        lines += cut(QString::fromLatin1("and %1 more").arg(m_items.size() - shown), columns);
    }
    // Nobody knows how a terminal of another size has broken the lines of the last picture.
    if (m_drawnRows > 0 && (columns != m_columns || rows != m_rows))
        m_out << TO_TOP_AND_CLEAR;
    else if (m_drawnRows > 0)
        m_out << QString::fromLatin1(UP_LINES).arg(m_drawnRows);
    for (const QString &line : qAsConst(lines))
        m_out << TO_START_AND_CLEAR << line << '\n';
    m_out << CLEAR_BELOW;
    m_drawnRows = lines.size();
    m_columns = columns;
    m_rows = rows;
}
