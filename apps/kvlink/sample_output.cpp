#include "apps/kvlink/sample_output.h"

#include "apps/standard_streams.h"
#include "runtime/escaped_text.h"
#include "runtime/failure_text.h"
#include "runtime/link.h"
#include "runtime/trace_log.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

// At a stop, the longest wait for the reader of a spool.
const int LAST_DELIVERY_MS = 10000;

bool isPrinted(const MonitorOptions &options)
{
    return options.output.empty() && options.spool.file.isEmpty();
}

Failure wrongFormat(const char *option, const OutputFormat &format, const char *reason)
{
    return Failure(StatusUsage, QString::fromLatin1("%1 takes no %2, %3: use jsonl")
                                    .arg(QLatin1String(option), QLatin1String(format.name),
                                         QLatin1String(reason)));
}

// From any thread; a spool shows no table, which a line would run through.
void reportOfSpool(const QString &text)
{
    QTextStream err(stderr);
    err.setCodec("UTF-8");
    complain(err, text, StatusGood);
}

} // namespace

SampleOutput::SampleOutput(const MonitorOptions &options, const QVector<Item> &items,
                           bool mayRedraw, QTextStream &out, QTextStream &err)
    : m_waiting(0), m_options(options), m_items(items), m_out(out), m_err(err),
      m_rowStream(&m_rows), m_printer(isPrinted(options) ? out : m_rowStream, *options.items.format,
                                      items, isPrinted(options)),
      m_table(out, items), m_isLive(mayRedraw && isPrinted(options) && canRedraw(STDOUT_FILENO) &&
                                    options.items.format->isLiveTable && !options.changesOnly),
      m_unlogged(0)
{}

Failure SampleOutput::open()
{
    if (!m_options.spool.file.isEmpty())
        return openSpool();
    return m_options.output.empty() ? Failure() : openLog();
}

Failure SampleOutput::openSpool()
{
    const OutputFormat &format = *m_options.items.format;
    if (format.header || format.end || !format.print)
        return wrongFormat("--spool", format, "of which no row stands alone");
    m_spool.reset(new SpoolDelivery(m_options.spool, reportOfSpool));
    return m_spool->open();
}

Failure SampleOutput::openLog()
{
    const OutputFormat &format = *m_options.items.format;
    if (format.end)
        return wrongFormat("--output", format, "which ends only with its last sample");
    const QByteArray header = format.header ? format.header(m_items).toUtf8() : QByteArray();
    m_log.reset(
        new LogFile(QByteArray::fromStdString(m_options.output), header, m_options.rotation));
    return m_log->open();
}

bool SampleOutput::take(const QVector<ItemResult> &results, int first)
{
    ++m_waiting;
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_waiting;
    const QString time = wallTime();
    if (m_isLive)
        draw(results, time, first);
    bool isWhole = true;
    if (m_options.changesOnly)
        isWhole = m_printer.printChanges(results, time, first);
    else if (!m_isLive)
        m_printer.print(results, time, first);
    // The last one of those that come together prints for all.
    if (m_waiting == 0)
        m_out.flush();
    return isPrinted(m_options) || keep(time, isWhole);
}

void SampleOutput::draw(const QVector<ItemResult> &results, const QString &time, int first)
{
    m_table.take(results, time, first);
    if (m_waiting > 0)
        return;
    winsize size = {};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    m_table.draw(time, known ? size.ws_col : 80, known ? size.ws_row : 24);
}

// A full disk may have room again: the samples until then are lost, those behind it are not.
// @param isWhole whether the rows are those of all items
// @return whether nothing is lost
bool SampleOutput::keep(const QString &time, bool isWhole)
{
    const int lengthOfDay = 10;
    const QByteArray rows = m_rows.toUtf8();
    m_rows.clear();
    if (rows.isEmpty())
        return true;
    const Failure failure =
        m_log ? m_log->append(time.left(lengthOfDay).toLatin1(), rows) : m_spool->append(rows);
    if (failure && m_unlogged == 0)
        print(QString(), {failure.text() + QLatin1String("; samples are lost until that works")});
    else if (!failure && m_unlogged > 0)
        print(QString(),
              {QLatin1String(m_log ? "the log" : "the spool") +
               QLatin1String(" is written again; ") +
               countText(m_unlogged, "sample is", "samples are") + QLatin1String(" lost")});
    // Whoever opens one file alone is to find all values there.
    if (failure || (!isWhole && m_log && m_log->hasBegun()))
        m_printer.forgetPrinted();
    m_unlogged = failure ? m_unlogged + 1 : 0;
    return failure.isGood();
}

void SampleOutput::say(const QString &link, const QStringList &texts)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    print(link, texts);
}

void SampleOutput::print(const QString &link, const QStringList &texts)
{
    m_out.flush();
    m_table.leave();
    for (const QString &text : texts)
        complain(m_err, aboutLink(link, text), StatusGood);
}

void SampleOutput::pass(const QByteArray &lines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_out.flush();
    m_table.leave();
    m_err << QString::fromUtf8(lines);
    m_err.flush();
}

void SampleOutput::finish()
{
    m_printer.finish();
    m_out.flush();
    if (m_spool)
        m_spool->finish(LAST_DELIVERY_MS);
}

bool SampleOutput::isGone()
{
    if (m_spool)
        return m_spool->isOutputGone();
    const std::lock_guard<std::mutex> lock(m_mutex);
    return !m_log && (m_out.status() != QTextStream::Ok || readerIsGone());
}
