/// Where monitor's samples go: rows, a log, a table that is redrawn, a page.
#ifndef APPS_KVLINK_SAMPLE_OUTPUT_H
#define APPS_KVLINK_SAMPLE_OUTPUT_H

#include "apps/kvlink/item_output.h"
#include "apps/kvlink/live_table.h"
#include "apps/kvlink/monitor_options.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>
#include <QtCore/QVector>

#include <atomic>
#include <memory>
#include <mutex>

/// Takes the samples of items, and what is to be said of them on stderr; from several threads, in the
/// order of their times.
class SampleOutput
{
public:
    /// @param options, out, err outlive the output
    /// @param mayRedraw         whether a terminal may show a table rather than rows
    SampleOutput(const MonitorOptions &options, const QVector<Item> &items, bool mayRedraw,
                 QTextStream &out, QTextStream &err);

    /// Opens the log or the spool, if there is one. @return StatusUsage for a format that it does not
    /// take, or StatusOpen; then nothing is to be taken
    Failure open();

    /// Takes a sample of all items, or of those of a link, of this moment.
    /// @param first index of the item that the first result is of
    /// @return false when the log or the spool could not take it; then it is lost
    bool take(const QVector<ItemResult> &results, int first = 0);

    /// Prints lines on stderr. @param link that they are about; empty for none
    void say(const QString &link, const QStringList &texts);

    /// Prints whole lines on stderr as they are.
    void pass(const QByteArray &lines);

    /// Ends the rows; a spool tries for some seconds to deliver what is in it. Requires: nothing is
    /// taken afterwards.
    void finish();

    /// Whether nobody takes what would be printed.
    bool isGone();

    /// What lies in the spool and what it has lost, for a summary, as `SpoolDelivery::summary`; empty
    /// without a spool.
    QString backlog(bool isInterim) const
    {
        return m_spool ? m_spool->summary(isInterim) : QString();
    }

    /// Whether the log or the spool could not take the latest sample. Requires: no thread takes
    /// samples any more.
    bool isLogBehind() const { return m_unlogged > 0; }

private:
    Failure openSpool();
    Failure openLog();
    void draw(const QVector<ItemResult> &results, const QString &time, int first);
    bool keep(const QString &time, bool isWhole);
    void print(const QString &link, const QStringList &texts);

    std::mutex m_mutex;
    std::atomic<int> m_waiting; // samples that wait for the mutex
    const MonitorOptions &m_options;
    const QVector<Item> m_items;
    QTextStream &m_out;
    QTextStream &m_err;
    std::unique_ptr<LogFile> m_log; // gets the rows; null where they go to the standard output
    std::unique_ptr<SpoolDelivery> m_spool; // the same
    QString m_rows;                         // for either
    QTextStream m_rowStream;
    ItemPrinter m_printer;
    LiveTable m_table;
    const bool m_isLive;
    qint64 m_unlogged; // samples since the log or the spool could be written
};

#endif
