/// Tag files: names for items, with what their numbers mean.
#ifndef ITEMS_TAG_FILE_H
#define ITEMS_TAG_FILE_H

#include "items/item.h"
#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// What a tag file holds.
struct TagFile {
    QVector<Item> tags; ///< in the order of the file; their text is the name

    /// What is wrong, each with file, line and column, up to a limit; empty for a good file.
    QStringList errors;
};

/// Reads a table of kvlink(1), TAGS: comma-separated values in UTF-8, the first line naming the
/// columns. @param name of the file, for the errors
/// @param otherDriver whether the addresses are those of a driver whose devices are not known
TagFile parseTagFile(const QByteArray &bytes, const QString &name, bool otherDriver = false);

/// The same for a file.
/// @param file is filled when the file can be read, whatever it holds
/// @return StatusOpen when it cannot
Failure readTagFile(const QString &path, TagFile *file, bool otherDriver = false);

#endif
