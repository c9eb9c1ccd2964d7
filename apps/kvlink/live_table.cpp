#include "apps/kvlink/live_table.h"

#include "runtime/escaped_text.h"

#include <QtCore/QTextStream>

namespace
{

QString valueText(const ItemResult &result)
{
    return result.failure ? QString::fromLatin1("(failed)")
                          : reversiblyEscapedText(result.values.join(QLatin1Char(' ')).toLatin1());
}

} // namespace

LiveTable::LiveTable(QTextStream &out, const QVector<Item> &items)
    : m_out(out), m_items(items), m_drawnRows(0)
{
    for (int i = 0; i < items.size(); ++i) {
        m_values += QString();
        m_since += QString();
    }
}

void LiveTable::draw(const QVector<ItemResult> &results, const QString &time, int columns, int rows)
{
    int itemWidth = 0;
    int valueWidth = 0;
    for (int i = 0; i < m_items.size(); ++i) {
        const QString value = valueText(results.at(i));
        if (value != m_values.at(i))
            m_since[i] = time;
        m_values[i] = value;
        itemWidth = qMax(itemWidth, m_items.at(i).text.size());
        valueWidth = qMax(valueWidth, value.size());
    }
    QStringList lines(time);
    for (int i = 0; i < m_items.size(); ++i)
        lines += m_items.at(i).text.leftJustified(itemWidth + 2) +
                 m_values.at(i).leftJustified(valueWidth + 2) + QLatin1String("since ") +
                 m_since.at(i);
    // A table that is taller than the terminal could not be drawn over again.
    if (lines.size() > rows - 1)
        lines = lines.mid(0, qMax(1, rows - 1));
    if (m_drawnRows > 0)
        m_out << "\x1b[" << m_drawnRows << 'A';
    for (const QString &line : qAsConst(lines))
        m_out << "\r\x1b[K" << line.left(columns) << '\n';
    m_out << "\x1b[J";
    m_drawnRows = lines.size();
}
