#include "runtime/trace_log.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "runtime/escaped_text.h"
#include "runtime/whole_file.h"
#include "runtime/wire_line.h"

#include <QtCore/QRegularExpression>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace
{

QString seconds(qint64 ns)
{
    return QString::number(static_cast<double>(ns) / 1e9, 'f', 6);
}

bool isUpperHexDigit(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
           (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
}

// An address as people write it: without the word suffix and the zeros that fill a number up.
QString plainAddress(QString address)
{
    const KV_L20V_Device &device = KV_L20V_DeviceOf(address.toLatin1());
    const QLatin1String prefix(device.prefix);
    if (address.endsWith(QLatin1String(".H")))
        address.chop(2);
    int letters = 0;
    if (device.number.base == 16) // letters may be digits
        letters = address.startsWith(prefix) ? prefix.size() : 0;
    else
        while (letters < address.size() && address.at(letters) >= QLatin1Char('A') &&
               address.at(letters) <= QLatin1Char('Z'))
            ++letters;
    int zeros = 0;
    while (letters > 0 && letters + zeros + 1 < address.size() &&
           address.at(letters + zeros) == QLatin1Char('0') &&
           isUpperHexDigit(address.at(letters + zeros + 1)))
        ++zeros;
    return address.remove(letters, zeros);
}

QString itemsText(int count, ItemForm form, const char *singular, const char *plural)
{
    switch (form) {
    case ItemForm::Word:
        return countText(count, "word", "words");
    case ItemForm::Bit:
        return countText(count, "bit", "bits");
    case ItemForm::Number:
        return countText(count, "value", "values");
    case ItemForm::TimerItem:
        break;
    }
    return countText(count, singular, plural);
}

QString sentMeaning(const WireLine &line)
{
    const QString device = plainAddress(QString::fromLatin1(line.device));
    const QString items = itemsText(line.count, line.form, "value", "values");
    switch (line.kind) {
    case LineKind::Open:
        return QLatin1String("open station ") + QString::fromLatin1(line.station);
    case LineKind::Close:
        return QLatin1String("close");
    case LineKind::Read:
        return QString::fromLatin1("read %1 from %2").arg(items, device);
    case LineKind::Write:
        return QString::fromLatin1("write %1 to %2").arg(items, device);
    case LineKind::Set:
        return QLatin1String("set ") + device;
    case LineKind::Reset:
        return QLatin1String("reset ") + device;
    case LineKind::Other:
        break;
    }
    return QLatin1String("unknown");
}

QString replyMeaning(const WireReply &reply)
{
    switch (reply.kind) {
    case ReplyKind::Opened:
        return QLatin1String("opened");
    case ReplyKind::Closed:
        return QLatin1String("closed");
    case ReplyKind::Accepted:
        return QLatin1String("accepted");
    case ReplyKind::Refused:
        return QLatin1String("error reply ") + QLatin1Char(reply.errorDigit);
    case ReplyKind::Items:
        return itemsText(reply.items, reply.form, "timer or counter item",
                         "timer or counter items");
    case ReplyKind::Other:
        break;
    }
    return QLatin1String("unknown");
}

} // namespace

QString wallTime()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tzset(); // the zone may have changed since
    tm local;
    localtime_r(&now.tv_sec, &local);
    const long offset = std::labs(local.tm_gmtoff) / 60;
    char text[48];
    // All times of a log have the same width.
    const int length = std::snprintf(
        text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03ld%c%02ld:%02ld", local.tm_year + 1900,
        local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
        now.tv_nsec / 1000000, local.tm_gmtoff < 0 ? '-' : '+', offset / 60, offset % 60);
    return QString::fromLatin1(text, qMin<int>(length, sizeof text - 1));
}

QString lineMeaning(char direction, const QByteArray &line)
{
    if (!line.endsWith("\r\n"))
        return QLatin1String("no line end");
    return direction == '>' ? sentMeaning(parseLine(line)) : replyMeaning(parseReply(line));
}

QString explainedLine(char direction, const QByteArray &line)
{
    return QLatin1Char(direction) + (QLatin1Char(' ') + reversiblyEscapedText(line)) +
           QLatin1String(" ; ") + lineMeaning(direction, line);
}

TraceLog::TraceLog(QTextStream &out, const QString &client)
    : m_out(out), m_client(client), m_previousNs(0)
{
    m_clock.start();
}

TraceLog::TraceLog(std::unique_ptr<QFile> file, const QString &client)
    : m_file(std::move(file)), m_fileText(m_file.get()), m_out(m_fileText), m_client(client),
      m_previousNs(0)
{
    m_clock.start();
}

bool TraceLog::failed() const
{
    return m_out.status() != QTextStream::Ok;
}

void TraceLog::line(char direction, const QByteArray &bytes, int attempt, const QString &client)
{
    const qint64 now = m_clock.nsecsElapsed();
    m_out << wallTime() << ' ' << seconds(now) << " +" << seconds(now - m_previousNs) << ' ';
    const QString &who = client.isEmpty() ? m_client : client;
    if (!who.isEmpty())
        m_out << who << ' ';
    if (attempt > 0)
        m_out << '#' << attempt << ' ';
    m_out << explainedLine(direction, bytes) << '\n';
    m_out.flush();
    m_previousNs = now;
}

Failure openTraceLog(const QString &place, QTextStream &err, std::unique_ptr<TraceLog> *log,
                     const QString &client)
{
    if (place == QLatin1String(TRACE_TO_STDERR)) {
        log->reset(new TraceLog(err, client));
        return Failure();
    }
    std::unique_ptr<QFile> file(new QFile(place));
    if (!file->open(QIODevice::WriteOnly))
        return cannotWrite(*file, file->errorString());
    log->reset(new TraceLog(std::move(file), client));
    return Failure();
}

bool isTraceRemark(const QString &text)
{
    return text.isEmpty() || text.startsWith(QLatin1String("kvlink: ")) ||
           text.startsWith(QLatin1String("kvsim: ")) ||
           text.startsWith(QLatin1String("kvbridge: "));
}

bool parseTracedLine(const QString &text, TracedLine *line)
{
    static const QRegularExpression form(QLatin1String(
        "\\A[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:.]{12}(?:[+-][0-9:]{5})? ([0-9]+\\.[0-9]{6}) "
        "\\+[0-9]+\\.[0-9]{6} (?:[^ #<>]+ )?(?:#[0-9]+ )?([<>]) (.+) ; .+\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch() || !readEscapedText(match.captured(3), &line->bytes))
        return false;
    line->direction = match.captured(2) == QLatin1String(">") ? '>' : '<';
    line->seconds = match.captured(1).toDouble();
    return true;
}
