#include "apps/kvlink/link_sampler.h"

#include "runtime/escaped_text.h"
#include "runtime/schedule.h"
#include "runtime/stop_request.h"

LinkSampler::LinkSampler(const MonitorOptions &options, const SampledLink &link, Client &client,
                         SampleOutput &output, RunReport &report,
                         const std::function<void()> &interim)
    : m_options(options), m_link(link), m_client(client), m_output(output), m_report(report),
      m_interim(interim), m_reader(client, link.items, options.items.read, options.items.order),
      m_outageSinceMs(-1), m_missed(0), m_lost(0), m_previousMs(0), m_isPaceKnown(false)
{
    ItemResult unread;
    unread.failure = Failure(StatusNoReply, QString());
    m_latest.fill(unread, link.items.size());
}

void LinkSampler::run()
{
    const Failure failure = m_reader.open();
    if (m_link.isAlone)
        m_failure = failure; // else the reader tells it as an outage
    if (!m_failure)
        sample();
    if (!m_link.isAlone)
        m_client.closeLink();
}

void LinkSampler::sample()
{
    m_clock.start();
    qint64 tick = 0;
    for (int taken = 0; m_options.count == 0 || taken < m_options.count; ++taken) {
        const qint64 dueMs = tick * m_options.intervalMs;
        if ((m_options.durationMs > 0 && dueMs >= m_options.durationMs) ||
            waitForStop(dueMs - m_clock.elapsed(), m_interim))
            break;
        const qint64 startMs = m_clock.elapsed();
        const QVector<ItemResult> results = m_reader.read();
        const qint64 sampleMs = m_clock.elapsed() - startMs;
        // A request that the signal has cut short says nothing about the PLC.
        if (stopRequested() && outageIn(results))
            break;
        m_latest = results;
        reportChanges();
        m_lost += m_output.take(results, m_link.first) ? 0 : 1;
        judgePace(statusOf(results) == StatusGood ? sampleMs : 0);
        m_report.addSample(m_link.first, results);
        if (m_output.isGone()) {
            if (!m_link.isAlone)
                requestStop(); // of the others
            break;
        }
        qint64 missed = 0;
        tick = tickAfter(tick, m_clock.elapsed(), m_options.intervalMs, &missed);
        m_missed += missed;
    }
}

QString LinkSampler::summary() const
{
    QString text = m_client.statistics().text();
    if (m_reader.unsent() > 0)
        text += QLatin1String("; ") + countText(m_reader.unsent(), "sample", "samples") +
                QLatin1String(" without an open link");
    if (m_missed > 0)
        text += QLatin1String("; ") + countText(m_missed, "sample", "samples") +
                QLatin1String(" left out");
    if (m_lost > 0)
        text +=
            QLatin1String("; ") + countText(m_lost, "sample", "samples") +
            QLatin1String(m_options.spool.file.isEmpty() ? " not in the log" : " not in the spool");
    return text;
}

// Failures are reported when they begin or change, not with every sample.
void LinkSampler::reportChanges()
{
    const QStringList texts = failureTexts(m_link.items, m_latest);
    const Failure *outage = outageIn(m_latest);
    if (outage && m_outageSinceMs < 0) {
        m_outageSinceMs = m_clock.elapsed();
        m_output.say(m_link.name, {QLatin1String("outage: ") + outage->text()});
    } else if (!outage && m_outageSinceMs >= 0) {
        m_output.say(
            m_link.name,
            {QString::fromLatin1("the PLC answers again after %1 s")
                 .arg(static_cast<double>(m_clock.elapsed() - m_outageSinceMs) / 1000, 0, 'f', 1)});
        m_outageSinceMs = -1;
    }
    if (!outage && texts != m_reported) {
        m_output.say(m_link.name, texts);
        m_reported = texts;
    }
}

// Two slow samples in a row are no chance; what a fault costs is not the link's pace.
void LinkSampler::judgePace(qint64 sampleMs)
{
    const qint64 steadyMs = qMin(sampleMs, m_previousMs);
    m_previousMs = sampleMs;
    if (m_isPaceKnown || steadyMs <= m_options.intervalMs)
        return;
    m_isPaceKnown = true;
    const int fitting =
        itemsWithin(m_link.items, m_options.items.read.merge,
                    static_cast<double>(m_options.intervalMs) / static_cast<double>(steadyMs));
    QString text = QString::fromLatin1("a sample takes %1 ms, longer than the interval of %2 ms: "
                                       "use --interval %3")
                       .arg(QString::number(steadyMs), QString::number(m_options.intervalMs),
                            QString::number(roomyIntervalMs(steadyMs)));
    if (fitting > 0)
        text += QString::fromLatin1(" or fewer items (about %1)").arg(fitting);
    m_output.say(m_link.name, {text});
}
