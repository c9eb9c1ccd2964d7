#include "runtime/trace_log.h"

#include "runtime/escaped_text.h"

#include <QtCore/QDateTime>
#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

namespace
{

QString seconds(qint64 ns)
{
    return QString::number(static_cast<double>(ns) / 1e9, 'f', 6);
}

QString counted(int count, const char *unit)
{
    return QString::fromLatin1(count == 1 ? "%1 %2" : "%1 %2s").arg(count).arg(QLatin1String(unit));
}

// An address as people write it: without the word suffix and the zeros that fill a number up.
QString plainAddress(QString address)
{
    static const QRegularExpression fill(
        QLatin1String("\\A(VB|[BW]|(?!VB|[BW])[A-Z]+)0+(?=[0-9A-F])"));
    if (address.endsWith(QLatin1String(".H")))
        address.chop(2);
    return address.replace(fill, QLatin1String("\\1"));
}

const char *itemUnit(const QString &address)
{
    static const QRegularExpression bits(QLatin1String("\\A(R|MR|LR|CR|B|VB)[0-9A-F]+\\z"));
    if (address.endsWith(QLatin1String(".H")))
        return "word";
    return bits.match(address).hasMatch() ? "bit" : "value";
}

QString requestMeaning(const QString &text)
{
    static const QRegularExpression open(QLatin1String("\\ACR ([0-9]{2,3})\\z"));
    static const QRegularExpression contact(QLatin1String("\\A(ST|RS) (\\S+)\\z"));
    static const QRegularExpression data(
        QLatin1String("\\A(RDS|WRS) (\\S+) ([0-9]{1,9})(?: .*)?\\z"));
    QRegularExpressionMatch match = open.match(text);
    if (match.hasMatch())
        return QLatin1String("open station ") + match.captured(1);
    if (text == QLatin1String("CQ"))
        return QLatin1String("close");
    match = contact.match(text);
    if (match.hasMatch())
        return QLatin1String(match.captured(1) == QLatin1String("ST") ? "set " : "reset ") +
               plainAddress(match.captured(2));
    match = data.match(text);
    if (!match.hasMatch())
        return QLatin1String("unknown");
    const bool isRead = match.captured(1) == QLatin1String("RDS");
    const QString address = match.captured(2);
    return QString::fromLatin1(isRead ? "read %1 from %2" : "write %1 to %2")
        .arg(counted(match.captured(3).toInt(), itemUnit(address)), plainAddress(address));
}

QRegularExpression itemsOf(const char *item)
{
    return QRegularExpression(QString::fromLatin1("\\A%1(?: %1)*\\z").arg(QLatin1String(item)));
}

QString replyMeaning(const QString &text)
{
    static const struct {
        QRegularExpression items;
        const char *unit;
    } forms[] = {
        {itemsOf("[0-9A-Fa-f]{4}"), "word"},
        {itemsOf("[01]"), "bit"},
        {itemsOf("[0-9]{10}"), "value"},
        {itemsOf("[01],[0-9]{10},[0-9]{10}"), "timer or counter item"},
    };
    static const QRegularExpression opened(QLatin1String("\\ACC [0-9]{2,3}\\z"));
    static const QRegularExpression error(QLatin1String("\\AE([0-9])\\z"));
    if (opened.match(text).hasMatch())
        return QLatin1String("opened");
    if (text == QLatin1String("CF"))
        return QLatin1String("closed");
    if (text == QLatin1String("OK"))
        return QLatin1String("accepted");
    const QRegularExpressionMatch match = error.match(text);
    if (match.hasMatch())
        return QLatin1String("error reply ") + match.captured(1);
    for (const auto &form : forms) {
        if (form.items.match(text).hasMatch())
            return counted(text.count(QLatin1Char(' ')) + 1, form.unit);
    }
    return QLatin1String("unknown");
}

// @return false for an escape that `reversiblyEscapedText` does not make
bool readLoggedText(const QString &text, QByteArray *bytes)
{
    static const QRegularExpression piece(
        QLatin1String("\\G(?:([ -\\[\\]-~]+)|\\\\(r|n|x([0-9a-f]{2})))"));
    bytes->clear();
    int at = 0;
    while (at < text.size()) {
        const QRegularExpressionMatch match = piece.match(text, at);
        if (!match.hasMatch())
            return false;
        at = match.capturedEnd();
        if (!match.captured(1).isEmpty())
            *bytes += match.captured(1).toLatin1();
        else if (!match.captured(3).isEmpty())
            *bytes += static_cast<char>(match.captured(3).toInt(nullptr, 16));
        else
            *bytes += match.captured(2) == QLatin1String("r") ? '\r' : '\n';
    }
    return true;
}

} // namespace

QString wallTime()
{
    const QDateTime now = QDateTime::currentDateTime();
    QString text = now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODateWithMs);
    // All times of a log have the same width.
    return text.replace(QLatin1Char('Z'), QLatin1String("+00:00"));
}

QString lineMeaning(char direction, const QByteArray &line)
{
    if (!line.endsWith("\r\n"))
        return QLatin1String("no line end");
    const QString text = QString::fromLatin1(line.constData(), line.size() - 2);
    return direction == '>' ? requestMeaning(text) : replyMeaning(text);
}

TraceLog::TraceLog(QTextStream &out) : m_out(out), m_previousNs(0)
{
    m_clock.start();
}

bool TraceLog::failed() const
{
    return m_out.status() != QTextStream::Ok;
}

void TraceLog::line(char direction, const QByteArray &bytes, int attempt)
{
    const qint64 now = m_clock.nsecsElapsed();
    m_out << wallTime() << ' ' << seconds(now) << " +" << seconds(now - m_previousNs) << ' ';
    if (attempt > 0)
        m_out << '#' << attempt << ' ';
    m_out << direction << ' ' << reversiblyEscapedText(bytes) << " ; "
          << lineMeaning(direction, bytes) << '\n';
    m_out.flush();
    m_previousNs = now;
}

bool parseTracedLine(const QString &text, TracedLine *line)
{
    static const QRegularExpression form(QLatin1String(
        "\\A[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:.]{12}(?:[+-][0-9:]{5})? [0-9]+\\.[0-9]{6} "
        "\\+[0-9]+\\.[0-9]{6} (?:#[0-9]+ )?([<>]) (.+) ; .+\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch() || !readLoggedText(match.captured(2), &line->bytes))
        return false;
    line->direction = match.captured(1) == QLatin1String(">") ? '>' : '<';
    return true;
}
