/// The latest values of some items as a table that a terminal redraws in place.
#ifndef APPS_KVLINK_LIVE_TABLE_H
#define APPS_KVLINK_LIVE_TABLE_H

#include "items/item.h"
#include "items/item_reader.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

class QTextStream;

/// Also remembers since when each item has had its value.
class LiveTable
{
public:
    /// @param out a terminal; outlives the table
    LiveTable(QTextStream &out, const QVector<Item> &items);

    /// Draws the table, over its last picture unless other lines have come in between.
    /// @param columns, rows the terminal's size in characters; what is too long is cut off
    void draw(const QVector<ItemResult> &results, const QString &time, int columns, int rows);

    /// Says that something else is about to be printed below the table.
    void leave() { m_drawnRows = 0; }

private:
    QTextStream &m_out;
    const QVector<Item> m_items;
    QStringList m_values;
    QStringList m_since; // when each value came up
    int m_drawnRows;
};

#endif
