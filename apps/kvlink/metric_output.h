/// Items as what databases of time series read: InfluxDB's line protocol, Prometheus' text format.
#ifndef APPS_KVLINK_METRIC_OUTPUT_H
#define APPS_KVLINK_METRIC_OUTPUT_H

#include "items/item.h"

#include <QtCore/QVector>

struct ItemRecord;
struct ItemSample;

/// The start of an item's points, up to the blank in front of its fields.
QVector<QStringList> influxRowParts(const QVector<Item> &items);

/// The end of a sample's points: a blank and its time; empty for a time that is none.
/// @param time ISO 8601
QString influxTime(const QString &time);

/// A point of the measurement "kvlink": the item, its address, link and unit as tags; as fields the value,
/// or value0 to valueN of several, and the status. A failed item has the status and the error only.
/// The time is in nanoseconds since 1970 (UTC).
void printInfluxLine(const ItemRecord &record, QString *rows);

/// The labels of an item's series; none where an item before it has the same, as a collector refuses
/// a file that has a series twice.
QVector<QStringList> prometheusRowParts(const QVector<Item> &items);

/// One sample as the whole of a text file for a collector: each number as the gauge kvlink_value,
/// and kvlink_up, 0 for an item that failed. Texts of the PLC are left out.
void printPrometheusSample(const ItemSample &sample, QString *rows);

#endif
