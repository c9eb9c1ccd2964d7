#include "runtime/line_scan.h"

#include "runtime/device_channel.h"
#include "runtime/link_channel.h"
#include "runtime/serial_port.h"
#include "runtime/stop_request.h"
#include "runtime/tcp_port.h"
#include "runtime/wire_line.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>

#include <algorithm>

namespace
{

// The settings that a PLC has most often come first: the speeds of the usual format, then those of
// the other formats. Odd parity is the rarest.
const char *const FORMATS[] = {"8e1", "8n1", "7e1", "7n1", "8o1"};
const int BAUD_RATES[] = {9600, 19200, 38400, 57600, 115200};

// The PLC's own time for a reply, and the way through an adapter.
const int REPLY_MS = 200;

// Both lines of an exchange pass a wire of unknown speed, and a network.
const int CONNECTION_REPLY_MS = 500;

// The longer of an open line and its reply.
const int LINE_LENGTH = 7;

// A reply that is late at first comes within so many waits.
const int MORE_WAITS = 3;

// Enough to see what garbage it is; a peer that never ends its line does not take long.
const int MAX_REPLY_LENGTH = 64;

// Of garbage that is shown.
const int KEPT_GARBAGE = 12;

int transmissionMs(int baud)
{
    return baud > 0 ? LINE_LENGTH * MAX_BITS_PER_CHARACTER * 1000 / baud + 1 : 0;
}

QVector<ScanSetting> settingsOf(const ScanOptions &options)
{
    QVector<ScanSetting> settings;
    const QStringList parts = options.port.split(QLatin1Char(','));
    if (options.port.isEmpty()) {
        settings.resize(1);
        settings.last().option = QLatin1String("--tcp ") + options.tcp;
        settings.last().name = options.tcp;
        return settings;
    }
    QStringList formats = parts.mid(2);
    for (const char *format : FORMATS) {
        if (parts.size() <= 2)
            formats += QLatin1String(format);
    }
    QStringList rates = parts.mid(1, 1);
    for (const int rate : BAUD_RATES) {
        if (parts.size() <= 1)
            rates += QString::number(rate);
    }
    for (const QString &format : qAsConst(formats)) {
        for (const QString &rate : qAsConst(rates)) {
            settings.resize(settings.size() + 1);
            ScanSetting &setting = settings.last();
            setting.name = rate + QLatin1Char(',') + format;
            setting.option = QString::fromLatin1("--port %1,%2").arg(parts.at(0), setting.name);
            setting.baud = rate.toInt();
        }
    }
    return settings;
}

} // namespace

LineScan::LineScan(const ScanOptions &options, TraceLog *trace,
                   const std::function<void(const ScanStep &)> &watch)
    : m_options(options), m_trace(trace), m_watch(watch), m_settings(settingsOf(options)), m_step()
{}

int LineScan::waitMs(const ScanSetting &setting) const
{
    if (m_options.timeoutMs >= 0)
        return m_options.timeoutMs;
    return setting.baud > 0 ? REPLY_MS + transmissionMs(setting.baud) : CONNECTION_REPLY_MS;
}

qint64 LineScan::lineMs(const ScanSetting &setting, int waits) const
{
    return waits * waitMs(setting) + transmissionMs(setting.baud);
}

// Behind an echo there is nothing to be found: a line that comes back counts as the reply.
bool LineScan::isOver() const
{
    const auto ends = [this](const ScanSetting &setting) {
        return setting.isEcho || (setting.hasPlc && !m_options.findsAll);
    };
    return stopRequested() || std::any_of(m_settings.begin(), m_settings.end(), ends);
}

Failure LineScan::run()
{
    const int first = m_settings.size() > 1 ? 1 : m_options.stations.size();
    Failure failure = pass(unsettled(), m_options.stations.mid(0, first), 1);
    const auto isClosed = [](const ScanSetting &setting) { return !setting.failure.isEmpty(); };
    if (!failure && std::all_of(m_settings.begin(), m_settings.end(), isClosed))
        failure = Failure(StatusOpen, m_settings.first().failure);
    if (!failure)
        failure = pass(doubtful(), m_options.stations.mid(0, first), MORE_WAITS);
    if (!failure)
        failure = pass(unsettled(), m_options.stations.mid(first), 1);
    return failure;
}

// Those under which something came, and those before them. Nobody hears what comes after the last.
QVector<int> LineScan::doubtful() const
{
    QVector<int> doubtful;
    const auto isSilent = [this](int i) { return m_settings.at(i).garbage.isEmpty(); };
    const int last = m_settings.size() - 1;
    for (int i = 0; i <= last; ++i) {
        const bool mayBeLate = i == last ? last > 0 : !isSilent(i + 1);
        if (!m_settings.at(i).hasPlc && (mayBeLate || !isSilent(i)))
            doubtful += i;
    }
    return doubtful;
}

QVector<int> LineScan::unsettled() const
{
    QVector<int> unsettled;
    for (int i = 0; i < m_settings.size(); ++i) {
        if (!m_settings.at(i).isDone && m_settings.at(i).failure.isEmpty())
            unsettled += i;
    }
    return unsettled;
}

Failure LineScan::pass(const QVector<int> &settings, const QVector<int> &stations, int waits)
{
    m_step.leftMs = 0;
    for (const int index : settings)
        m_step.leftMs += (stations.size() + 1) * lineMs(m_settings.at(index), waits);
    m_step.isFirst = true;
    m_step.isRepeated = waits > 1;
    m_step.settings = settings.size();
    m_step.stations = stations.size();
    for (int i = 0; i < settings.size() && !stations.isEmpty() && !isOver(); ++i) {
        if (Failure failure = look(&m_settings[settings.at(i)], stations, waits))
            return failure;
        --m_step.settings;
    }
    return Failure();
}

Failure LineScan::look(ScanSetting *setting, const QVector<int> &stations, int waits)
{
    const int finds = m_finds.size();
    bool closeAnswered = false;
    Failure failure = search(setting, stations, waits, &closeAnswered);
    const bool isFound = m_finds.size() > finds && !m_options.findsAll;
    const bool allTried = stations.size() == m_options.stations.size() && closeAnswered;
    if (!failure && setting->hasPlc && !isFound && !allTried) {
        waits = closeAnswered ? waits : MORE_WAITS;
        m_finds.resize(finds);
        const ScanStep step = m_step;
        m_step.isFirst = true;
        m_step.hasPlc = true;
        m_step.stations = m_options.stations.size();
        const int restWaits = 2 * LATEST_REPLY_TIMEOUTS * waits; // after the first, and the last
        m_step.leftMs =
            (m_step.stations + 1) * lineMs(*setting, waits) + restWaits * waitMs(*setting);
        failure = search(setting, m_options.stations, waits, &closeAnswered);
        m_step = step;
    }
    setting->isDone = setting->hasPlc;
    return failure;
}

// The close line takes what a wrong speed has left in front of it in the PLC, and a PLC that knows
// no open communication refuses it: that tells the settings, whatever the station.
Failure LineScan::search(ScanSetting *setting, const QVector<int> &stations, int waits,
                         bool *closeAnswered)
{
    std::unique_ptr<Port> port;
    m_step.setting = setting->name;
    if (Failure failure = open(setting, &port)) {
        setting->failure = failure.text();
        return Failure();
    }
    const int timeoutMs = waits * waitMs(*setting);
    DeviceChannel channel(*port, DriverSetting(timeoutMs, 0, 0, 0));
    LinkChannel wire(channel, timeoutMs, m_trace);
    const SerialErrors before = port->errors();
    for (int i = 0; i < stations.size() && !stopRequested() && !port->isBroken(); ++i) {
        m_step.station = stations.at(i);
        m_watch(m_step);
        m_step.isFirst = false;
        if (i == 0) {
            double ms = 0;
            hear(wire, closeLine(), setting, &ms);
            *closeAnswered = setting->hasPlc;
        }
        if (opens(wire, stations.at(i), setting) && !m_options.findsAll)
            break;
        m_step.leftMs -= (i == 0 ? 2 : 1) * lineMs(*setting, waits);
    }
    const SerialErrors after = port->errors();
    setting->errors.parity += after.parity - before.parity;
    setting->errors.framing += after.framing - before.framing;
    return port->isBroken() ? Failure(StatusOpen, port->brokenText()) : Failure();
}

Failure LineScan::open(ScanSetting *setting, std::unique_ptr<Port> *port) const
{
    if (setting->baud == 0) {
        TcpAddress address;
        Failure failure = parseTcpAddress(m_options.tcp, &address);
        return failure ? failure : openTcp(address, waitMs(*setting), port);
    }
    SerialPortSetting serial;
    QStringList warnings; // on a pseudo-terminal, where the settings have no meaning
    const QString device = m_options.port.section(QLatin1Char(','), 0, 0);
    Failure failure = parseSerialPort(device + QLatin1Char(',') + setting->name, &serial);
    return failure ? failure : openSerialPort(serial, port, &warnings);
}

// Opens and closes a station. A reply that came late or was damaged is asked for once more.
bool LineScan::opens(LinkChannel &wire, int station, ScanSetting *setting)
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        double openMs = 0;
        double closeMs = 0;
        const QByteArray line = openLine(station);
        const QByteArray reply = hear(wire, line, setting, &openMs);
        if (reply == replyOfSuccess(parseLine(line))) {
            m_finds.append({setting->option, station, openMs});
            hear(wire, closeLine(), setting, &closeMs);
            return true;
        }
        if (reply.isEmpty() || setting->isEcho)
            return false;
        wire.noteFailedAttempt();
    }
    return false;
}

// Sends a line and notes what comes. @param ms gets the time that it took
QByteArray LineScan::hear(LinkChannel &wire, const QByteArray &line, ScanSetting *setting,
                          double *ms)
{
    wire.discardInput();
    QElapsedTimer time;
    time.start();
    QByteArray reply = wire.exchange(line, 1, MAX_REPLY_LENGTH);
    *ms = static_cast<double>(time.nsecsElapsed()) / 1e6;
    const ReplyKind kind = parseReply(reply).kind;
    const bool isReply =
        kind == ReplyKind::Opened || kind == ReplyKind::Closed || kind == ReplyKind::Refused;
    setting->hasPlc = setting->hasPlc || isReply;
    setting->isEcho = setting->isEcho || reply.startsWith(line);
    if (!isReply)
        setting->garbage = (setting->garbage + reply).left(KEPT_GARBAGE);
    else if (kind == ReplyKind::Refused && parseLine(line).kind == LineKind::Open)
        setting->refusal = reply;
    return reply;
}
