/// What diagnose finds out about a line, and how it is printed.
#ifndef APPS_KVLINK_DIAGNOSIS_H
#define APPS_KVLINK_DIAGNOSIS_H

#include "runtime/line_diagnosis.h"
#include "runtime/link.h"
#include "runtime/statistics.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

class QJsonObject;
class QTextStream;
struct RequestReport;

class Diagnosis
{
public:
    /// @param line  the port's name, for people
    /// @param kinds the kinds of requests that are made, for people
    Diagnosis(const QString &line, const LineSpeed &speed, const QStringList &kinds);

    /// Takes a request into account. @param kind its index
    void add(int kind, const RequestReport &report);

    /// @param text how long the port's driver may hold received characters; empty where unknown
    void setLatency(const QString &text) { m_latency = text; }

    /// Ends the diagnosis. @param seconds how long it took
    void finish(double seconds) { m_seconds = seconds; }

    /// @return StatusGood for a line without errors; StatusNoReply when nothing but silence came,
    ///         StatusPlcError when error replies are all that is wrong, else StatusUnusable
    Status status() const;

    /// How many requests were made, and how many of them failed.
    QString shortText() const;

    /// What the requests so far came to, and what is wrong, on one line.
    QString summary() const;

    /// For people. Requires: it is finished, as for the next one.
    void print(QTextStream &out) const;

    /// For scripts; kvlink(1), DIAGNOSIS, has the members.
    QJsonObject json() const;

    /// For a report: the causes as in `json`, and the counts with their texts.
    QJsonObject reportJson() const;

private:
    struct Kind {
        QString name;
        Statistics statistics;
    };

    bool hasSpeed() const;
    double busyShare() const { return m_speed.share(m_bytes, m_seconds); }
    void printCounts(QTextStream &out) const;
    void printTimes(QTextStream &out) const;
    void printWire(QTextStream &out) const;
    void printCauses(QTextStream &out) const;

    QString m_line;
    QString m_latency;
    LineSpeed m_speed;
    QVector<Kind> m_kinds;
    Statistics m_all;
    LineCounts m_counts;
    int m_helped; // requests that a retry helped
    qint64 m_bytes;
    double m_seconds;
};

#endif
