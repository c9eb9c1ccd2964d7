/// The samples of one link, on a steady schedule, also through an outage.
#ifndef APPS_KVLINK_LINK_SAMPLER_H
#define APPS_KVLINK_LINK_SAMPLER_H

#include "apps/kvlink/monitor_options.h"
#include "apps/kvlink/run_report.h"
#include "apps/kvlink/sample_output.h"
#include "items/outage_reader.h"
#include "runtime/client.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// Reads the items of a link again and again, and hands the samples over.
class LinkSampler
{
public:
    /// All arguments outlive the sampler. Requires: the client's link is open.
    LinkSampler(const MonitorOptions &options, Client &client, const QVector<Item> &items,
                SampleOutput &output, RunReport &report);

    /// Samples until the options or a signal end it, or nobody takes the output.
    void run();

    /// What the last whole sample calls for, also after a signal; StatusNoReply without any.
    Status status() const { return m_status; }

    /// What the requests so far came to, on one line.
    QString summary() const;

private:
    void reportChanges(const QVector<ItemResult> &results);
    void judgePace(qint64 sampleMs);

    const MonitorOptions &m_options;
    const Client &m_client;
    const QVector<Item> m_items;
    SampleOutput &m_output;
    RunReport &m_report;
    OutageReader m_reader;
    QElapsedTimer m_clock;
    QStringList m_reported; // failures other than outages
    Status m_status;        // of the last sample
    qint64 m_outageSinceMs; // -1 without an outage
    qint64 m_missed;        // ticks that were left out, as the sample before took too long
    qint64 m_lost;          // samples that are not in the log
    qint64 m_previousMs;    // that the last good sample took
    bool m_isPaceKnown;     // that the interval is too short for the link
};

#endif
