/// The latest values of some items as a table that a terminal redraws in place.
#ifndef APPS_KVLINK_LIVE_TABLE_H
#define APPS_KVLINK_LIVE_TABLE_H

#include "items/item.h"
#include "items/item_reader.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

class QTextStream;

/// Whether a file is a terminal that can draw over what it shows, unlike one of TERM=dumb.
bool canRedraw(int descriptor);

/// A line for each item with its value, in reverse video where it is new, and since when it holds.
class LiveTable
{
public:
    /// @param out a terminal; outlives the table
    LiveTable(QTextStream &out, const QVector<Item> &items);

    /// Takes the readings of all items, or of those of a link.
    /// @param first index of the item that the first result is of
    void take(const QVector<ItemResult> &results, const QString &time, int first);

    /// Draws the table, over its last picture unless other lines have come in between.
    /// @param time          of the latest reading
    /// @param columns, rows the terminal's size in characters. The last line says how many items are
    ///        too many for it; times are left out and values cut off where it is too narrow.
    void draw(const QString &time, int columns, int rows);

    /// Says that something else is about to be printed below the table.
    void leave() { m_drawnRows = 0; }

private:
    QStringList linesOf(const QString &time, int columns) const;

    QTextStream &m_out;
    const QVector<Item> m_items;
    QStringList m_values;
    QVector<bool> m_isNew; // since the last picture
    QStringList m_since;   // when each value came up
    int m_itemWidth;
    int m_drawnRows;
    int m_columns; // of the terminal, when it was drawn; the rows as well
    int m_rows;
};

#endif
