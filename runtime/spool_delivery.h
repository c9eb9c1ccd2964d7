/// Samples on their way through a spool to their reader.
#ifndef RUNTIME_SPOOL_DELIVERY_H
#define RUNTIME_SPOOL_DELIVERY_H

#include "runtime/back_off.h"
#include "runtime/sample_spool.h"
#include "runtime/spool_targets.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QThread>

#include <functional>
#include <memory>

/// How a spool is used.
struct SpoolSettings {
    QString file;                                ///< empty for no spool
    qint64 maxBytes = qint64(100) * 1024 * 1024; ///< of all rows
    QString command;                             ///< takes the rows; empty for standard output
};

/// Keeps samples in a spool, and delivers them in order from a thread of its own. What is not taken
/// stays in the spool, for the next delivery from this file.
class SpoolDelivery : private QThread
{
public:
    /// @param report gets a line for the user; is called from several threads, one at a time
    SpoolDelivery(const SpoolSettings &settings, std::function<void(const QString &)> report);

    /// Gives up what is on its way.
    ~SpoolDelivery() override;

    /// Opens the spool and begins to deliver. @return as `SampleSpool::open`
    Failure open();

    /// As `SampleSpool::append`; also reports when samples begin to be dropped.
    Failure append(const QByteArray &rows);

    /// Whether the standard output takes nothing any more; `append` still keeps samples.
    bool isOutputGone() const { return m_isOutputGone; }

    /// Delivers what is left, and ends.
    /// @param ms at most so long, in milliseconds
    void finish(int ms);

    /// What waits and what was dropped, for the user.
    /// @param isInterim whether it tells that nothing waits, too; else it is empty for nothing
    QString summary(bool isInterim) const;

private:
    Q_DISABLE_COPY(SpoolDelivery)

    // Whether something fails, and since when.
    struct Trouble {
        bool isThere = false;
        QElapsedTimer since;
    };

    // A sample that was given, or is about to be, and where its rows end.
    struct OnItsWay {
        qint64 number;
        qint64 end;
    };

    void run() override;
    Failure give(SpoolReader *reader, SpoolTarget *target);
    Failure fetch(SpoolReader *reader);
    void take(SpoolReader *reader);

    // Reports when something begins to fail, and when it works again.
    // @param next what happens then @param again what works then
    void note(Trouble *trouble, const Failure &failure, const QString &next, const char *again);
    void pause();
    void demand(std::atomic<bool> *flag);
    void reportLine(const QString &text);

    const SpoolSettings m_settings;
    const std::function<void(const QString &)> m_report;
    SampleSpool m_spool;
    bool m_isDropping;
    QMutex m_reporting;
    QMutex m_pausing;
    QWaitCondition m_wakeUp;
    std::atomic<bool> m_isFinishing;
    std::atomic<bool> m_isOver;
    std::atomic<bool> m_isOutputGone;

    // Of the thread alone.
    QList<OnItsWay> m_onTheirWay;
    QByteArray m_rest; // of the rows fetched, what is not given
    HandedOver m_total;
    qint64 m_fetched; // bytes
    BackOff m_idle;
    BackOff m_backOff;
    Trouble m_delivering;
    Trouble m_removing;
};

#endif
