#include "runtime/spool_delivery.h"

#include "runtime/escaped_text.h"

#include <QtCore/QMutexLocker>

#include <utility>

#include <unistd.h>

namespace
{

const int BATCH_BYTES = 64 * 1024;

// Removed at once: a small removal has room on a full disk.
const int REMOVAL_SAMPLES = 16;

const int COMMAND_TIMEOUT_MS = 60000;

// How soon rows that a pipe still holds are looked for again.
const int FIRST_LOOK_MS = 1;
const int LAST_LOOK_MS = 100;

// How soon a reader that has gone is noticed while there is nothing to give.
const int REST_LOOK_MS = 1000;

// The waits between the tries of a command.
const int FIRST_TRY_MS = 1000;
const int LAST_TRY_MS = 60000;

} // namespace

SpoolDelivery::SpoolDelivery(const SpoolSettings &settings,
                             std::function<void(const QString &)> report)
    : m_settings(settings), m_report(std::move(report)), m_spool(settings.file, settings.maxBytes),
      m_isDropping(false), m_isFinishing(false), m_isOver(false), m_isOutputGone(false), m_total(),
      m_fetched(0), m_idle(FIRST_LOOK_MS, LAST_LOOK_MS), m_backOff(FIRST_TRY_MS, LAST_TRY_MS)
{}

SpoolDelivery::~SpoolDelivery()
{
    finish(0);
}

Failure SpoolDelivery::open()
{
    Failure failure = m_spool.open();
    if (!failure)
        start();
    return failure;
}

// A spool that stays full drops samples again and again; half of it is room.
Failure SpoolDelivery::append(const QByteArray &rows)
{
    const qint64 dropped = m_spool.counts().dropped;
    Failure failure = m_spool.append(rows);
    const SpoolCounts counts = m_spool.counts();
    if (!m_isDropping && counts.dropped > dropped)
        reportLine(
            QString::fromLatin1("the spool %1 is full: its oldest samples are lost from here "
                                "on; see to its reader, or allow a larger spool")
                .arg(m_settings.file));
    else if (m_isDropping && counts.bytes <= m_settings.maxBytes / 2)
        reportLine(
            QString::fromLatin1("the spool %1 has room again; %2 lost so far")
                .arg(m_settings.file, countText(counts.dropped, "sample is", "samples are")));
    else
        return failure;
    m_isDropping = !m_isDropping;
    return failure;
}

void SpoolDelivery::finish(int ms)
{
    demand(&m_isFinishing);
    if (!wait(static_cast<unsigned long>(ms))) {
        demand(&m_isOver);
        wait();
    }
}

// Under the lock: the thread must not miss the wake-up between its test and its wait.
void SpoolDelivery::demand(std::atomic<bool> *flag)
{
    const QMutexLocker locker(&m_pausing);
    *flag = true;
    m_wakeUp.wakeAll();
    m_spool.wake();
}

QString SpoolDelivery::summary(bool isInterim) const
{
    const SpoolCounts counts = m_spool.counts();
    QStringList parts;
    if (counts.waiting > 0 || isInterim)
        parts += countText(counts.waiting, "sample waits", "samples wait") +
                 QLatin1String(" in the spool ") + m_settings.file;
    if (counts.dropped > 0)
        parts += countText(counts.dropped, "sample", "samples") +
                 QLatin1String(" lost, as the spool was full");
    return parts.join(QLatin1String("; "));
}

void SpoolDelivery::run()
{
    SpoolReader reader(m_spool);
    std::unique_ptr<SpoolTarget> target;
    if (m_settings.command.isEmpty())
        target.reset(new DescriptorTarget(STDOUT_FILENO));
    else
        target.reset(new CommandTarget(m_settings.command, COMMAND_TIMEOUT_MS, m_isOver));
    const QString next =
        QString::fromLatin1("it is tried again after %1 s, then less and less often")
            .arg(FIRST_TRY_MS / 1000);
    while (!m_isOver && !m_isOutputGone && !(m_isFinishing && m_spool.counts().waiting == 0)) {
        Failure failure = m_rest.isEmpty() ? fetch(&reader) : Failure();
        if (!failure)
            failure = give(&reader, target.get());
        if (m_isOver || m_isOutputGone)
            break;
        note(&m_delivering, failure, next, "delivers");
        if (failure)
            pause();
        else
            m_backOff.reset();
    }
}

// Rows that are on their way make the waits short at first: most readers read at once.
Failure SpoolDelivery::fetch(SpoolReader *reader)
{
    QVector<SpooledSample> samples;
    const qint64 waitMs = m_onTheirWay.isEmpty() ? REST_LOOK_MS : m_idle.take();
    Failure failure = reader->next(BATCH_BYTES, static_cast<int>(waitMs), &samples);
    for (const SpooledSample &sample : qAsConst(samples)) {
        m_fetched += sample.rows.size();
        m_onTheirWay.append({sample.number, m_fetched});
        m_rest += sample.rows;
    }
    return failure;
}

Failure SpoolDelivery::give(SpoolReader *reader, SpoolTarget *target)
{
    const HandedOver before = m_total;
    Failure failure = target->give(m_rest, &m_total);
    m_rest.remove(0, static_cast<int>(m_total.given - before.given));
    if (m_total.taken > before.taken || m_total.given > before.given)
        m_idle.reset();
    take(reader);
    if (failure && !target->mayRecover()) {
        if (!failure.text().isEmpty())
            reportLine(failure.text());
        m_isOutputGone = true;
    }
    return failure;
}

void SpoolDelivery::take(SpoolReader *reader)
{
    const auto isTaken = [this](int index) {
        return index < m_onTheirWay.size() && m_onTheirWay.at(index).end <= m_total.taken;
    };
    Failure failure;
    while (!failure && isTaken(0)) {
        int count = 1;
        while (count < REMOVAL_SAMPLES && isTaken(count))
            ++count;
        failure = reader->take(m_onTheirWay.at(count - 1).number);
        note(&m_removing, failure,
             QLatin1String("samples that were taken come again at the next start"), "clears");
        if (!failure)
            m_onTheirWay.erase(m_onTheirWay.begin(), m_onTheirWay.begin() + count);
    }
}

void SpoolDelivery::note(Trouble *trouble, const Failure &failure, const QString &next,
                         const char *again)
{
    const bool wasThere = trouble->isThere;
    trouble->isThere = static_cast<bool>(failure);
    if (failure && !wasThere) {
        trouble->since.start();
        reportLine(failure.text() + QLatin1String("; ") + next);
    } else if (!failure && wasThere) {
        reportLine(
            QString::fromLatin1("%1 the spool %2 again after %3 s; %4")
                .arg(QLatin1String(again), m_settings.file,
                     QString::number(static_cast<double>(trouble->since.elapsed()) / 1000, 'f', 1),
                     countText(m_spool.counts().waiting, "sample waits", "samples wait")));
    }
}

// A stop is no reason to wait long, nor to try all the time.
void SpoolDelivery::pause()
{
    const qint64 ms = m_backOff.take();
    const QMutexLocker locker(&m_pausing);
    if (!m_isOver)
        m_wakeUp.wait(&m_pausing, static_cast<unsigned long>(m_isFinishing ? FIRST_TRY_MS : ms));
}

void SpoolDelivery::reportLine(const QString &text)
{
    const QMutexLocker locker(&m_reporting);
    m_report(text);
}
