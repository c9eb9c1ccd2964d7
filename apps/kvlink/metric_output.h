/// Items as what databases of time series read: InfluxDB's line protocol, Prometheus' text format.
#ifndef APPS_KVLINK_METRIC_OUTPUT_H
#define APPS_KVLINK_METRIC_OUTPUT_H

class QTextStream;
struct ItemRecord;
struct ItemSample;

/// A point of the measurement "kvlink": the item, its address, link and unit as tags; as fields the value,
/// or value0 to valueN of several, and the status. A failed item has the status and the error only.
/// The time is in nanoseconds since 1970 (UTC).
void printInfluxLine(const ItemRecord &record, QTextStream &out);

/// One sample as the whole of a text file for a collector: each number as the gauge kvlink_value,
/// and kvlink_up, 0 for an item that failed. Texts of the PLC are left out.
void printPrometheusSample(const ItemSample &sample, QTextStream &out);

#endif
