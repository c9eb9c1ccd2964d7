#include "runtime/client.h"

#include "drivers/driver_interface.h"
#include "runtime/escaped_text.h"
#include "runtime/link_channel.h"
#include "runtime/stop_request.h"
#include "runtime/tcp_port.h"
#include "runtime/wire_line.h"

#include <QtCore/QElapsedTimer>

namespace
{

// Of a ping's replies.
const int MAX_PING_REPLY_LENGTH = 256;

// One line and its reply. @param ms gets the time between them
RequestOutcome roundTrip(LinkChannel *channel, const QByteArray &line, double *ms)
{
    channel->discardInput();
    QElapsedTimer time;
    time.start();
    const QByteArray reply = channel->exchange(line, 1, MAX_PING_REPLY_LENGTH);
    *ms = static_cast<double>(time.nsecsElapsed()) / 1e6;
    if (reply == replyOfSuccess(parseLine(line)))
        return RequestOutcome::Good;
    if (reply.isEmpty())
        return RequestOutcome::NoReply;
    return parseReply(reply).kind == ReplyKind::Refused ? RequestOutcome::PlcError
                                                        : RequestOutcome::UnusableReply;
}

} // namespace

Client::Client(const LinkOptions &options, QTextStream &err)
    : m_options(options), m_err(err), m_hasProject(false), m_project()
{}

Client::~Client()
{
    if (m_trace && m_trace->failed())
        complain(m_err, QLatin1String("cannot write all of the trace"), StatusGood);
}

Failure Client::loadDriver(DriverObject object)
{
    if (!m_options.projectPort.isEmpty()) {
        if (Failure failure = findProject())
            return failure;
    }
    return m_plugin.load(m_options.driverPath.isEmpty() ? DriverPlugin::defaultPath()
                                                        : m_options.driverPath,
                         object);
}

Failure Client::findProject()
{
    TcpAddress tcp;
    Failure failure = m_options.tcp.isEmpty() ? Failure() : parseTcpAddress(m_options.tcp, &tcp);
    if (!failure)
        failure = registerProjectDatabase(m_options.projectFile);
    if (!failure)
        failure = findProjectLink(m_options.projectPort, tcp.host, tcp.port, &m_project);
    m_hasProject = failure.isGood();
    return failure;
}

DriverSetting Client::pacing() const
{
    const std::unique_ptr<DriverSetting> defaults(driver()->getDefaultDriverSetting());
    const int station = m_hasProject ? m_project.station : m_options.station;
    return DriverSetting(m_options.timeoutMs < 0 ? defaults->timeout : m_options.timeoutMs,
                         m_options.retry < 0 ? defaults->retry : m_options.retry,
                         station < 0 ? defaults->stationid : station,
                         m_options.delayMs < 0 ? defaults->delay : m_options.delayMs);
}

Failure Client::openTrace()
{
    if (m_options.trace.isEmpty() || m_trace)
        return Failure();
    // A trace has names without blanks and its own marks.
    QString client = m_options.name;
    for (const char mark : {' ', '\t', '#', '<', '>'})
        client.replace(QLatin1Char(mark), QLatin1Char('_'));
    return openTraceLog(m_options.trace, m_err, &m_trace, client);
}

Failure Client::openLink()
{
    Failure failure = m_link ? Failure() : watchStopSignals();
    if (failure)
        return failure;
    m_link.reset(); // a port is locked: it cannot be opened anew before it is closed
    m_link.reset(new Link);
    failure = openTrace();
    if (!failure)
        failure = m_link->open(m_options, pacing(), m_trace.get(), m_err);
    if (!failure)
        failure = initializeDriver();
    return failure;
}

Failure Client::initializeDriver()
{
    if (driver()->initialize(channel()) != 0)
        return Failure();
    const QString reason = driver()->hasError() ? driver()->getLastError() : QString();
    return Failure(
        StatusOpen,
        QString::fromLatin1("the driver cannot use %1: its initialize gave 0%2")
            .arg(m_link->name(), reason.isEmpty() ? reason : QLatin1String(", ") + reason));
}

Failure Client::open()
{
    Failure failure = loadDriver();
    return failure ? failure : openLink();
}

bool Client::doubtsLink() const
{
    return !channel() || !m_options.tcp.isEmpty() || !m_link->brokenText().isEmpty();
}

Failure Client::read(const CommunicatorCommand &command, QByteArray *data)
{
    const auto work = [&] {
        *data = driver()->read(channel(), command);
        return driverOutcome(!data->isEmpty() && data->size() >= command.byteLength());
    };
    Failure failure = request(work, command.address);
    if (failure)
        data->clear();
    return failure;
}

Failure Client::write(const CommunicatorCommand &command, const QByteArray &data)
{
    const auto work = [&] { return driverOutcome(driver()->write(channel(), command, data) == 1); };
    return request(work, command.address);
}

Failure Client::ping(double *openMs, double *closeMs)
{
    const auto work = [&] {
        channel()->pauseBeforeAttempt();
        RequestOutcome outcome = roundTrip(channel(), openLine(channel()->getStationId()), openMs);
        if (outcome == RequestOutcome::Good)
            outcome = roundTrip(channel(), closeLine(), closeMs);
        if (outcome != RequestOutcome::Good)
            channel()->noteFailedAttempt();
        return outcome;
    };
    return request(work, QString());
}

// What the driver's latest call came to.
RequestOutcome Client::driverOutcome(bool succeeded) const
{
    if (succeeded)
        return RequestOutcome::Good;
    return outcomeOf(driver()->hasError() ? driver()->getLastError() : QString());
}

// Makes and counts a request. @param address what it is about
Failure Client::request(const std::function<RequestOutcome()> &work, const QString &address)
{
    QElapsedTimer time;
    time.start();
    const SerialErrors before = m_link->errors();
    const StrayInput strayBefore = m_link->stray();
    const qint64 bytesBefore = channel()->bytes();
    channel()->beginRequest();
    const RequestOutcome outcome = work();
    channel()->endRequest();
    const RequestRecord &record = channel()->record();
    Failure failure;
    if (outcome != RequestOutcome::Good || !isAnswered(record))
        failure = failureOf(outcome, placeOf(address, before));
    const bool replied = !failure || failure.status() == StatusPlcError || !record.reply.isEmpty();
    // A signal that came before the first line has left nothing to count.
    const RequestFigures figures = {replied, !failure.isGood(), record.attempts, record.timeOuts,
                                    time.nsecsElapsed()};
    if (!stopRequested() || !record.sent.isEmpty())
        count(figures);
    if (m_observer && !(stopRequested() && failure.status() == StatusNoReply)) {
        RequestReport report = {figures,
                                failure,
                                record,
                                m_link->errors(),
                                m_link->stray(),
                                channel()->bytes() - bytesBefore,
                                !m_link->brokenText().isEmpty()};
        report.errors.add(before, -1);
        report.stray.add(strayBefore, -1);
        m_observer(report);
    }
    return failure;
}

Statistics Client::statistics() const
{
    const std::lock_guard<std::mutex> lock(m_statisticsMutex);
    return m_statistics;
}

void Client::count(const RequestFigures &request)
{
    const std::lock_guard<std::mutex> lock(m_statisticsMutex);
    m_statistics.add(request);
}

RequestPlace Client::placeOf(const QString &address, const SerialErrors &before) const
{
    SerialErrors errors = m_link->errors();
    errors.add(before, -1);
    return {address, m_link->name(), m_link->brokenText(), pacing().timeout, errors};
}

Failure Client::failureOf(RequestOutcome outcome, const RequestPlace &place) const
{
    const RequestRecord &record = channel()->record();
    // The texts of other drivers are their own.
    if (outcome == RequestOutcome::Refused && !record.sent.isEmpty())
        outcome = record.reply.isEmpty() ? RequestOutcome::NoReply : RequestOutcome::UnusableReply;
    // The driver reads missing items as 0, and takes any reply but a refusal for acceptance.
    if (outcome == RequestOutcome::Good)
        return answerFailure(record, place);
    if (outcome == RequestOutcome::NoReply && stopRequested())
        return interruptedFailure(record, place);
    const QString text = driver()->hasError() ? driver()->getLastError() : QString();
    return requestFailure(outcome, text, record, place);
}
