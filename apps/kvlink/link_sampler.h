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

#include <atomic>
#include <functional>

/// The place of a link among those of the run.
struct SampledLink {
    QString name;        ///< of several links, for people; empty for one alone
    int first;           ///< index of its first item among those of the output
    QVector<Item> items; ///< all of its items
    bool isAlone; ///< no other link is sampled: a port that cannot be opened ends the run, and the
                  ///< client closes it, after all has been said
};

/// Reads the items of a link again and again, and hands the samples over. All of its work is done in
/// the thread that runs it.
class LinkSampler
{
public:
    /// @param options, client, output, report outlive the sampler
    /// @param interim prints the summaries when the user asks for them
    /// Requires: the client has loaded its driver, and its link is not open.
    LinkSampler(const MonitorOptions &options, const SampledLink &link, Client &client,
                SampleOutput &output, RunReport &report, const std::function<void()> &interim);

    /// Opens the link, samples until the options or a stop end it or nobody takes the output, and
    /// closes the link unless it is alone.
    void run();

    /// Why the link could not be opened, so that nothing was sampled; good in all other cases, as are
    /// the results below. Requires: `run` has returned.
    const Failure &failure() const { return m_failure; }

    /// The results of the last whole sample, also after a signal; without any, no reply to each item.
    const QVector<ItemResult> &latest() const { return m_latest; }

    /// What the requests so far came to, on one line; any thread may ask.
    QString summary() const;

private:
    void sample();
    void reportChanges();
    void judgePace(qint64 sampleMs);

    const MonitorOptions &m_options;
    const SampledLink m_link;
    Client &m_client;
    SampleOutput &m_output;
    RunReport &m_report;
    const std::function<void()> m_interim;
    OutageReader m_reader;
    QElapsedTimer m_clock;
    Failure m_failure;
    QVector<ItemResult> m_latest;
    QStringList m_reported;       // failures other than outages
    qint64 m_outageSinceMs;       // -1 without an outage
    std::atomic<qint64> m_missed; // ticks left out, as the sample before took too long
    std::atomic<qint64> m_lost;   // samples that are not in the log
    qint64 m_previousMs;          // that the last good sample took
    bool m_isPaceKnown;           // that the interval is too short for the link
};

#endif
