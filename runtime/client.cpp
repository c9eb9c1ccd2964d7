#include "runtime/client.h"

#include "drivers/driver_interface.h"
#include "runtime/escaped_text.h"
#include "runtime/link_channel.h"
#include "runtime/stop_request.h"
#include "runtime/tcp_port.h"
#include "runtime/wire_line.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>

namespace
{

const char TRACE_TO_STDERR[] = "-";

// Of a ping's replies.
const int MAX_REPLY_LENGTH = 256;

Status outcomeStatus(RequestOutcome outcome)
{
    switch (outcome) {
    case RequestOutcome::Good:
        return StatusGood;
    case RequestOutcome::PlcError:
        return StatusPlcError;
    case RequestOutcome::NoReply:
        return StatusNoReply;
    case RequestOutcome::UnusableReply:
    case RequestOutcome::Refused:
        break;
    }
    return StatusUnusable;
}

// One line and its reply. @param ms gets the time between them
RequestOutcome roundTrip(LinkChannel *channel, const QByteArray &line, double *ms)
{
    channel->discardInput();
    QElapsedTimer time;
    time.start();
    const QByteArray reply = channel->exchange(line, 1, MAX_REPLY_LENGTH);
    *ms = static_cast<double>(time.nsecsElapsed()) / 1e6;
    if (reply == replyOfSuccess(parseLine(line)))
        return RequestOutcome::Good;
    if (reply.isEmpty())
        return RequestOutcome::NoReply;
    return parseReply(reply).kind == ReplyKind::Refused ? RequestOutcome::PlcError
                                                        : RequestOutcome::UnusableReply;
}

} // namespace

int complain(QTextStream &err, const QString &text, Status status)
{
    err << "kvlink: " << escapedText(text.toUtf8()) << '\n';
    return status;
}

Client::Client(const LinkOptions &options, QTextStream &err)
    : m_options(options), m_err(err), m_hasProject(false), m_project()
{}

Client::~Client()
{
    if (m_trace && m_trace->failed())
        complain(m_err, QLatin1String("cannot write all of the trace"), StatusGood);
}

bool Client::loadDriver(Failure *failure)
{
    failure->status = StatusOpen;
    const QString path =
        m_options.driverPath.isEmpty() ? DriverPlugin::defaultPath() : m_options.driverPath;
    return (m_options.projectPort.isEmpty() || findProject(failure)) &&
           m_plugin.load(path, &failure->text);
}

bool Client::findProject(Failure *failure)
{
    TcpAddress tcp;
    if (!m_options.tcp.isEmpty() && !parseTcpAddress(m_options.tcp, &tcp, &failure->text))
        return false;
    m_hasProject =
        registerProjectDatabase(m_options.projectFile, &failure->text) &&
        findProjectLink(m_options.projectPort, tcp.host, tcp.port, &m_project, &failure->text);
    return m_hasProject;
}

// The driver's defaults, as far as neither the command line nor the project says otherwise.
DriverSetting Client::pacing() const
{
    const std::unique_ptr<DriverSetting> defaults(driver()->getDefaultDriverSetting());
    const int station = m_hasProject ? m_project.station : m_options.station;
    return DriverSetting(m_options.timeoutMs < 0 ? defaults->timeout : m_options.timeoutMs,
                         m_options.retry < 0 ? defaults->retry : m_options.retry,
                         station < 0 ? defaults->stationid : station,
                         m_options.delayMs < 0 ? defaults->delay : m_options.delayMs);
}

bool Client::openTrace(Failure *failure)
{
    if (m_options.trace.isEmpty() || m_trace)
        return true;
    if (m_options.trace != QLatin1String(TRACE_TO_STDERR)) {
        m_traceFile.setFileName(m_options.trace);
        if (!m_traceFile.open(QIODevice::WriteOnly)) {
            failure->text = QString::fromLatin1("cannot write the trace %1: %2")
                                .arg(m_traceFile.fileName(), m_traceFile.errorString());
            return false;
        }
        m_traceText.setDevice(&m_traceFile);
    }
    m_trace.reset(new TraceLog(m_traceFile.isOpen() ? m_traceText : m_err));
    return true;
}

bool Client::openLink(Failure *failure)
{
    failure->status = StatusOpen;
    if (!m_link && !watchStopSignals()) {
        failure->text = QLatin1String("cannot watch for signals");
        return false;
    }
    m_link.reset(); // a port is locked: it cannot be opened anew before it is closed
    m_link.reset(new Link);
    if (!openTrace(failure) ||
        !m_link->open(m_options, pacing(), m_trace.get(), m_err, &failure->text))
        return false;
    driver()->initialize(channel());
    return true;
}

bool Client::doubtsLink() const
{
    return !channel() || !m_options.tcp.isEmpty() || !m_link->brokenText().isEmpty();
}

QByteArray Client::read(const CommunicatorCommand &command, Failure *failure)
{
    QByteArray data;
    const auto work = [&] {
        data = driver()->read(channel(), command);
        return driverOutcome(!data.isEmpty() && data.size() >= command.byteLength());
    };
    return request(work, command.address, failure) ? data : QByteArray();
}

bool Client::write(const CommunicatorCommand &command, const QByteArray &data, Failure *failure)
{
    const auto work = [&] { return driverOutcome(driver()->write(channel(), command, data) == 1); };
    return request(work, command.address, failure);
}

bool Client::ping(double *openMs, double *closeMs, Failure *failure)
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
    return request(work, QString(), failure);
}

// What the driver's latest call came to.
RequestOutcome Client::driverOutcome(bool succeeded) const
{
    if (succeeded)
        return RequestOutcome::Good;
    return outcomeOf(driver()->hasError() ? driver()->getLastError() : QString());
}

// Makes and counts a request. @param address what it is about
bool Client::request(const std::function<RequestOutcome()> &work, const QString &address,
                     Failure *failure)
{
    QElapsedTimer time;
    time.start();
    const SerialErrors before = m_link->errors();
    channel()->beginRequest();
    const RequestOutcome outcome = work();
    channel()->endRequest();
    const RequestRecord &record = channel()->record();
    bool succeeded = outcome == RequestOutcome::Good;
    if (!succeeded) {
        *failure = requestFailure(outcome, placeOf(address, before));
    } else {
        // The driver reads missing items as 0, and takes any reply but a refusal for acceptance.
        failure->text = unusableAnswerText(record, placeOf(address, before));
        succeeded = failure->text.isEmpty();
        failure->status = succeeded ? StatusGood : StatusUnusable;
        failure->isUnconfirmed = !succeeded && parseLine(record.dataLine).kind == LineKind::Write;
    }
    const bool replied = succeeded || failure->status == StatusPlcError || !record.reply.isEmpty();
    // A signal that came before the first line has left nothing to count.
    if (!stopRequested() || !record.sent.isEmpty())
        m_statistics.add(
            {replied, !succeeded, record.attempts, record.timeOuts, time.nsecsElapsed()});
    return succeeded;
}

RequestPlace Client::placeOf(const QString &address, const SerialErrors &before) const
{
    SerialErrors errors = m_link->errors();
    errors.parity -= before.parity;
    errors.framing -= before.framing;
    errors.overrun -= before.overrun;
    return {address, m_link->name(), m_link->brokenText(), pacing().timeout, errors};
}

Failure Client::requestFailure(RequestOutcome outcome, const RequestPlace &place) const
{
    const RequestRecord &record = channel()->record();
    const QString text = driver()->hasError() ? driver()->getLastError() : QString();
    Failure failure;
    failure.status = outcomeStatus(outcome);
    failure.text = outcome == RequestOutcome::NoReply && stopRequested()
                       ? interruptedText(record, place)
                       : requestFailureText(outcome, text, record, place);
    return failure;
}
