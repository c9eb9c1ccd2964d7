/// Items by their names in a tag file or by their addresses.
#ifndef ITEMS_NAMED_ITEMS_H
#define ITEMS_NAMED_ITEMS_H

#include "items/expression.h"

#include <QtCore/QVector>

/// Reads [LINK:]NAME[=VALUE[,VALUE...]], where the name may hold the wildcards * and ? and stands for each
/// tag that it fits, of those on that link, or else an expression as `parseItem` takes it.
/// @param items gets what was read behind those it has; unchanged on a failure
/// @return StatusUsage with what is wrong, also for a wildcard that fits no tag
Failure parseNamedItems(const QString &text, const QVector<Item> &tags,
                        const ItemDefaults &defaults, QVector<Item> *items);

/// The same with the values apart. @param text [LINK:]NAME or [LINK:]ADDRESS[:TYPE][[COUNT]]
Failure parseNamedItems(const QString &text, const QStringList &values, const QVector<Item> &tags,
                        const ItemDefaults &defaults, QVector<Item> *items);

/// The link that such a text names in front of a colon; empty for none.
QString linkOf(const QString &text, const ItemDefaults &defaults);

#endif
