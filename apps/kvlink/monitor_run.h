/// A run of monitor: a thread, a client and a driver for each link, and one output.
#ifndef APPS_KVLINK_MONITOR_RUN_H
#define APPS_KVLINK_MONITOR_RUN_H

#include "apps/kvlink/item_links.h"
#include "apps/kvlink/link_sampler.h"

#include <memory>
#include <vector>

/// Samples links until the options or a stop end it.
class MonitorRun
{
public:
    /// All arguments outlive the run.
    MonitorRun(const MonitorOptions &options, const QVector<LinkItems> &links, QTextStream &out,
               QTextStream &err);
    ~MonitorRun();

    /// Opens the outputs and loads a driver for each link. @return good when all is ready to be run
    Failure prepare();

    /// Samples, and says on stderr what came of it. Requires: `prepare` succeeded.
    /// @return the exit status: StatusOpen when the only link, the output, the log or the page cannot
    ///         be used, else what the last samples of all links together call for
    Status run();

private:
    class SharedErr;
    struct SampledClient;

    void sampleAll();
    void summarize(const QString &beginning);
    Status statusOfAll() const;

    const MonitorOptions &m_options;
    const QVector<LinkItems> &m_given;
    QTextStream &m_err;
    SampleOutput m_output;
    RunReport m_report;
    std::vector<std::unique_ptr<SampledClient>> m_links;
};

#endif
