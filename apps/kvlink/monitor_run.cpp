#include "apps/kvlink/monitor_run.h"

#include "runtime/trace_log.h"

#include <QtCore/QEventLoop>
#include <QtCore/QIODevice>

#include <thread>

namespace
{

QVector<Item> itemsOf(const QVector<LinkItems> &links)
{
    QVector<Item> items;
    for (const LinkItems &link : links)
        items += link.items;
    return items;
}

// Of a link alone, the name is of no use.
QStringList namesOf(const QVector<LinkItems> &links)
{
    QStringList names;
    for (const LinkItems &link : links)
        names += links.size() > 1 ? link.link.name : QString();
    return names;
}

QStringList kindsOf(const QVector<LinkItems> &links)
{
    return links.size() > 1 ? namesOf(links) : QStringList(QLatin1String("requests"));
}

// A trace on the same terminal would run through the table.
bool isTraced(const QVector<LinkItems> &links)
{
    return links.first().link.trace == QLatin1String(TRACE_TO_STDERR);
}

} // namespace

// What the client of one link among several says on stderr.
class MonitorRun::SharedErr : public QIODevice
{
public:
    explicit SharedErr(SampleOutput &output) : m_output(output) { open(WriteOnly | Unbuffered); }

protected:
    qint64 readData(char *, qint64) override { return -1; }

    qint64 writeData(const char *bytes, qint64 length) override
    {
        m_output.pass(QByteArray(bytes, static_cast<int>(length)));
        return length;
    }

private:
    SampleOutput &m_output;
};

struct MonitorRun::SampledClient {
    SampledClient(const LinkOptions &options, SampleOutput &output, QTextStream &err, bool isAlone)
        : device(output), sharedErr(&device), client(options, isAlone ? err : sharedErr)
    {
        sharedErr.setCodec("UTF-8");
    }

    SharedErr device;
    QTextStream sharedErr;
    Client client;
    std::unique_ptr<LinkSampler> sampler; // made when the driver is loaded
};

MonitorRun::MonitorRun(const MonitorOptions &options, const QVector<LinkItems> &links,
                       QTextStream &out, QTextStream &err)
    : m_options(options), m_given(links), m_err(err),
      m_output(options, itemsOf(links), !isTraced(links), out, err),
      m_report(options.report, QLatin1String("kvlink monitor"), kindsOf(links), namesOf(links))
{
    m_report.setItems(itemsOf(links));
}

MonitorRun::~MonitorRun() = default;

Failure MonitorRun::prepare()
{
    Failure failure = m_output.open();
    if (!failure)
        failure = m_report.check();
    const bool isAlone = m_given.size() == 1;
    const QStringList names = namesOf(m_given);
    int first = 0;
    for (int i = 0; i < m_given.size() && !failure; ++i) {
        const LinkItems &given = m_given.at(i);
        m_links.emplace_back(new SampledClient(given.link, m_output, m_err, isAlone));
        SampledClient &link = *m_links.back();
        failure = link.client.loadDriver(isAlone ? DriverObject::Root : DriverObject::Own);
        m_report.watch(&link.client, isAlone ? 0 : i, i);
        const SampledLink sampled = {names.at(i), first, given.items, isAlone};
        link.sampler.reset(new LinkSampler(m_options, sampled, link.client, m_output, m_report,
                                           [this] { summarize(QLatin1String("so far ")); }));
        first += given.items.size();
    }
    return failure;
}

Status MonitorRun::run()
{
    sampleAll();
    const Failure &unopened = m_links.front()->sampler->failure();
    if (unopened && m_options.items.format->hasState)
        m_output.take(m_links.front()->sampler->latest(), 0);
    if (unopened)
        return complain(m_err, unopened);
    m_output.finish();
    const bool isGone = m_output.isGone();
    if (!isGone)
        summarize(QString());
    QVector<ReportedLink> reported;
    for (size_t i = 0; i < m_links.size(); ++i)
        reported.append({lineName(m_given.at(static_cast<int>(i)).link), &m_links[i]->client});
    if (Failure failure = m_report.write(reported))
        return complain(m_err, failure);
    return isGone || m_output.isLogBehind() ? StatusOpen : statusOfAll();
}

// This thread samples one of the links: a link alone needs no other.
void MonitorRun::sampleAll()
{
    std::vector<std::thread> threads;
    for (size_t i = 1; i < m_links.size(); ++i) {
        LinkSampler *const sampler = m_links[i]->sampler.get();
        threads.emplace_back([sampler] {
            const QEventLoop dispatcher; // which Qt's serial ports ask for, though nothing runs it
            sampler->run();
        });
    }
    m_links.front()->sampler->run();
    for (std::thread &thread : threads)
        thread.join();
}

void MonitorRun::summarize(const QString &beginning)
{
    const QStringList names = namesOf(m_given);
    for (size_t i = 0; i < m_links.size(); ++i)
        m_output.say(names.at(static_cast<int>(i)), {beginning + m_links[i]->sampler->summary()});
    const QString backlog = m_output.backlog(!beginning.isEmpty());
    if (!backlog.isEmpty())
        m_output.say(QString(), {beginning + backlog});
}

Status MonitorRun::statusOfAll() const
{
    QVector<ItemResult> results;
    for (const auto &link : m_links)
        results += link->sampler->latest();
    return statusOf(results);
}
