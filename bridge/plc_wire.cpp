#include "bridge/plc_wire.h"

#include "runtime/device_channel.h"
#include "runtime/stop_request.h"

#include <QtCore/QVariant>

namespace
{

// How long a pause goes on before it asks whether it may.
const int PAUSE_SLICE_MS = 50;

// The longest wait for a connection: nothing else is done meanwhile.
const int MAX_CONNECT_MS = 2000;

// A stop does not wait for late replies.
class StationChannel : public DeviceChannel
{
public:
    StationChannel(Port &port, int timeoutMs)
        : DeviceChannel(port, DriverSetting(timeoutMs, 0, 0, 0))
    {}

protected:
    bool mayWait() const override { return !stopRequested(); }
};

// How an exchange ended. Of a line in no form that is known here, each reply line is as good as any.
ExchangeEnd endOf(const QByteArray &line, const QByteArray &reply)
{
    const ExchangeEnd end = exchangeEnd(line, reply);
    const bool isUnknown = parseLine(line).kind == LineKind::Other && reply.endsWith('\n') &&
                           (end == ExchangeEnd::Unexpected || end == ExchangeEnd::Damaged);
    return isUnknown ? ExchangeEnd::Good : end;
}

} // namespace

PlcWire::PlcWire(const LinkOptions &options, int timeoutMs, int pauseMs, const InputWait &wait)
    : m_options(options), m_timeoutMs(timeoutMs), m_pauseMs(pauseMs), m_wait(wait), m_hasJob(false),
      m_hasWorked(false), m_reopenAtMs(0), m_latestMs(0)
{
    m_clock.start();
}

PlcWire::~PlcWire() = default;

void PlcWire::send(const WireJob &job)
{
    m_job = job;
    m_hasJob = true;
}

void PlcWire::work()
{
    while (m_hasJob) {
        m_hasJob = false;
        perform(WireJob(m_job));
    }
}

Failure PlcWire::open()
{
    QStringList warnings;
    std::unique_ptr<Port> port;
    Failure failure =
        openPort(m_options, qMin(m_timeoutMs, MAX_CONNECT_MS), &port, &m_name, &warnings);
    if (!failure)
        m_port.reset(new EventPort(std::move(port), m_wait));
    for (const QString &text : qAsConst(warnings))
        emit noted(text, false);
    return failure;
}

// Whether the port is open, after a try to open it when it is time for one.
bool PlcWire::ensureOpen()
{
    if (m_port || m_clock.elapsed() < m_reopenAtMs)
        return m_port != nullptr;
    if (open()) {
        m_reopenAtMs = m_clock.elapsed() + m_backOff.take();
        return false;
    }
    emit noted(m_name + QLatin1String(": open again"), false);
    return true;
}

void PlcWire::checkLoss()
{
    if (!m_port || !m_port->isBroken())
        return;
    emit noted(m_name + QLatin1String(": ") + m_port->brokenText() +
                   QLatin1String("; clients get no reply until it is open again"),
               true);
    m_channels.clear();
    m_unanswered.clear();
    m_port.reset();
    // A device server may have closed a connection that nobody used: no reason to wait.
    m_reopenAtMs = m_clock.elapsed() + (m_hasWorked ? 0 : m_backOff.take());
    m_hasWorked = false;
}

DeviceChannel &PlcWire::channelOf(const QByteArray &station)
{
    std::unique_ptr<DeviceChannel> &channel = m_channels[station];
    if (!channel)
        channel.reset(new StationChannel(*m_port, m_timeoutMs));
    return *channel;
}

// Between two turns.
void PlcWire::pause()
{
    const qint64 endMs = m_latestMs + m_pauseMs;
    for (qint64 leftMs; (leftMs = endMs - m_clock.elapsed()) > 0 && !stopRequested();)
        m_wait(-1, qMin<qint64>(leftMs, PAUSE_SLICE_MS));
}

void PlcWire::perform(const WireJob &job)
{
    ExchangeEnd end = ExchangeEnd::NoReply;
    if (job.beginsTurn)
        pause();
    // The loss of a connection that nobody used shows here.
    if (ensureOpen())
        channelOf(job.station).control(AbstractDeviceInterface::DiscardInput, QVariant(0));
    checkLoss();
    if (ensureOpen() && !job.line.isEmpty()) {
        DeviceChannel &channel = channelOf(job.station);
        emit sending();
        const bool isSent = channel.write(job.line.constData(), job.line.size()) == job.line.size();
        end = endOf(job.line, isSent ? receive(&channel, job.station) : QByteArray());
        if (end == ExchangeEnd::NoReply) {
            m_unanswered[job.station] = m_clock.elapsed();
        } else {
            m_unanswered.remove(job.station);
            m_backOff.reset();
            m_hasWorked = true;
        }
        if (end != ExchangeEnd::Good && end != ExchangeEnd::Refused)
            channel.noteFailedAttempt();
    }
    checkLoss();
    m_latestMs = m_clock.elapsed();
    emit done(end, m_port != nullptr);
}

// Gives the parts of a reply away as they come: a long one takes longer than a client waits for its
// first byte. It ends as it does for the driver, where a chunk ends in LF.
QByteArray PlcWire::receive(DeviceChannel *channel, const QByteArray &station)
{
    QByteArray reply;
    int given = 0;
    const qint64 begunMs = m_clock.elapsed();
    while (reply.size() < MAX_REPLY && m_clock.elapsed() - begunMs < MAX_REPLY_MS) {
        char chunk[2048];
        const int length = channel->read(chunk, sizeof chunk);
        if (length <= 0)
            break;
        reply.append(chunk, length);
        const int late = given == 0 ? lateLength(reply, station) : 0;
        reply.remove(0, qMax(0, late));
        if (late < 0 || reply.isEmpty())
            continue;
        emit replied(reply.mid(given));
        given = reply.size();
        if (reply.endsWith('\n'))
            break;
    }
    if (given < reply.size())
        emit replied(reply.mid(given));
    return reply;
}

// The reply to an open line names its station. @return the length of a late one of another station
// at the start; -1 when it may become one
int PlcWire::lateLength(const QByteArray &reply, const QByteArray &station) const
{
    for (auto it = m_unanswered.begin(); it != m_unanswered.end(); ++it) {
        const bool isDue = m_clock.elapsed() - it.value() < LATEST_REPLY_TIMEOUTS * m_timeoutMs;
        const QByteArray late = "CC " + it.key() + "\r\n";
        if (!isDue || it.key() == station)
            continue;
        if (reply.startsWith(late))
            return late.size();
        if (late.startsWith(reply))
            return -1;
    }
    return 0;
}
