/// Cases in a table: an array of rows, each with a `name`, of which QtTest knows the names.
#ifndef TESTS_TABLE_H
#define TESTS_TABLE_H

#include <QtTest/QTest>

/// For the slot NAME_data().
template <typename Row, size_t ROWS>
void addRows(const Row (&table)[ROWS])
{
    QTest::addColumn<int>("row");
    for (size_t i = 0; i < ROWS; ++i)
        QTest::newRow(table[i].name) << static_cast<int>(i);
}

/// For the slot NAME(): the row of this run.
template <typename Row, size_t ROWS>
const Row &currentRow(const Row (&table)[ROWS])
{
    QFETCH(int, row);
    return table[row];
}

#endif
