/// Items as JSON, with the members that kvlink(1), FORMATS, lists.
#ifndef APPS_KVLINK_JSON_OUTPUT_H
#define APPS_KVLINK_JSON_OUTPUT_H

#include "items/item_reader.h"

struct ItemRecord;

/// The parts of an item's object between what differs from sample to sample.
QVector<QStringList> jsonRowParts(const QVector<Item> &items);

/// A time as a member: a text, or null where it is empty.
QString jsonTime(const QString &time);

/// Prints an object as an element of an array, which the first one begins.
void printJson(const ItemRecord &record, QString *rows);

/// Prints an object on a line of its own.
void printJsonLine(const ItemRecord &record, QString *rows);

/// The object of an item that is printed once. @param time when it was read or written
QString itemJson(const Item &item, const ItemResult &result, const QString &time);

#endif
