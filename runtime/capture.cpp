#include "runtime/capture.h"

#include "runtime/escaped_text.h"
#include "runtime/trace_log.h"

#include <QtCore/QIODevice>
#include <QtCore/QRegularExpression>

namespace
{

// Of a file's line; far above the longest line of the protocol in hexadecimal digits.
const int MAX_LINE_BYTES = 65536;

// Of a line without an end that is gathered.
const int MAX_PENDING = 4096;

const double SECONDS_OF_DAY = 86400;

// What a line of the file says.
struct Record {
    CapturedLine line;    // the direction is 0 when it is not said
    bool isWhole = false; // an end that is missing was missing on the wire
};

// A time of day or a number of seconds, with or without brackets.
bool takeTime(QString *text, double *seconds)
{
    static const QRegularExpression form(QLatin1String(
        "\\A[\\[(]?(?:(?:[0-9]{4}[-/][0-9]{2}[-/][0-9]{2}[T ])?([0-9]{2}):([0-9]{2}):"
        "([0-9]{2}(?:[.,][0-9]{1,9})?)(?:Z|[+-][0-9]{2}:?[0-9]{2})?|\\+?([0-9]{1,9}\\.[0-9]{1,9}))"
        "[\\])]?:?(?:\\s+|\\z)"));
    const QRegularExpressionMatch match = form.match(*text);
    if (!match.hasMatch())
        return false;
    if (*seconds < 0)
        *seconds =
            match.captured(4).isEmpty()
                ? match.captured(1).toInt() * 3600 + match.captured(2).toInt() * 60 +
                      match.captured(3).replace(QLatin1Char(','), QLatin1Char('.')).toDouble()
                : match.captured(4).toDouble();
    text->remove(0, match.capturedEnd());
    return true;
}

bool takeDirection(QString *text, char *direction)
{
    static const QRegularExpression form(
        QLatin1String("\\A(?:(-{0,2}>{1,2}|tx|out|sent|send|write)|(<{1,2}-{0,2}|rx|in|received|"
                      "recv|read)):?(?:\\s+|\\z)"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = form.match(*text);
    if (!match.hasMatch())
        return false;
    *direction = match.captured(1).isEmpty() ? '<' : '>';
    text->remove(0, match.capturedEnd());
    return true;
}

// Two digits a byte. A single pair, such as CF, is a text, and so are digits without blanks that do
// not end a line.
bool isHexadecimal(const QString &text)
{
    static const QRegularExpression form(
        QLatin1String("\\A(?:(?:0x)?[0-9a-f]{2}(?:[ ,:]+(?:0x)?[0-9a-f]{2})+|"
                      "(?:[0-9a-f]{2})*0d0a)\\z"),
        QRegularExpression::CaseInsensitiveOption);
    return form.match(text).hasMatch();
}

// Text with the escapes that programs use.
bool readText(QString text, QByteArray *bytes)
{
    static const QRegularExpression meaning(QLatin1String("(?<=\\\\n) ; .*\\z"));
    static const QRegularExpression digits(QLatin1String("\\\\x([0-9A-Fa-f]{2})"));
    static const char *const ESCAPES[][2] = {{"\\\\", "\\x5c"}, {"<CR>", "\\r"}, {"<LF>", "\\n"},
                                             {"[CR]", "\\r"},   {"[LF]", "\\n"}, {"\\t", "\\x09"},
                                             {"\\0", "\\x00"}};
    text.remove(meaning);
    if (text.size() > 1 && text.startsWith(QLatin1Char('"')) && text.endsWith(QLatin1Char('"')))
        text = text.mid(1, text.size() - 2);
    for (const auto &escape : ESCAPES)
        text.replace(QLatin1String(escape[0]), QLatin1String(escape[1]));
    for (int at = text.indexOf(digits); at >= 0; at = text.indexOf(digits, at + 2))
        text.replace(at, 4, text.mid(at, 4).toLower());
    if (text.isEmpty() || !readEscapedText(text, bytes))
        return false;
    if (!bytes->contains('\n'))
        *bytes += bytes->endsWith('\r') ? "\n" : "\r\n";
    return true;
}

// @param context has the time and the direction that a line of its own has given
bool readRecord(QString text, Record *record, Record *context)
{
    TracedLine traced;
    if (parseTracedLine(text, &traced)) {
        record->line.direction = traced.direction;
        record->line.seconds = traced.seconds;
        record->line.bytes = traced.bytes;
        record->isWhole = true;
        *context = Record();
        return true;
    }
    *record = *context;
    Record said;
    while (takeTime(&text, &said.line.seconds) ||
           (said.line.direction == 0 && takeDirection(&text, &said.line.direction))) {
    }
    if (said.line.direction != 0 || said.line.seconds >= 0)
        *record = said;
    static const QRegularExpression counts(QLatin1String("\\A(?:length=[0-9]+ from=.*)?\\z"));
    if (counts.match(text).hasMatch()) {
        *context = *record;
        return record->line.direction != 0 || record->line.seconds >= 0;
    }
    if (!isHexadecimal(text))
        return readText(text, &record->line.bytes);
    static const QRegularExpression filling(QLatin1String("0x|[^0-9A-Fa-f]"));
    record->line.bytes = QByteArray::fromHex(text.remove(filling).toLatin1());
    return true;
}

// Joins pieces to lines.
class LineJoiner
{
public:
    explicit LineJoiner(const std::function<bool(const CapturedLine &)> &take)
        : m_take(take), m_previous('<'), m_isWanted(true)
    {}

    bool isWanted() const { return m_isWanted; }

    void add(const Record &record)
    {
        if (record.isWhole || record.line.direction != m_pending.direction)
            end();
        m_pending.number = record.line.number;
        m_pending.seconds = record.line.seconds;
        m_pending.direction = record.line.direction;
        for (const char byte : record.line.bytes) {
            m_pending.bytes += byte;
            if (byte == '\n' || m_pending.bytes.size() == MAX_PENDING)
                end();
        }
        if (record.isWhole)
            end();
    }

    void end()
    {
        if (m_pending.bytes.isEmpty())
            return;
        CapturedLine line = m_pending;
        if (line.direction == 0)
            line.direction = parseLine(line.bytes).kind != LineKind::Other     ? '>'
                             : parseReply(line.bytes).kind != ReplyKind::Other ? '<'
                             : m_previous == '<'                               ? '>'
                                                                               : '<';
        m_previous = line.direction;
        m_pending.bytes.clear();
        m_isWanted = m_take(line) && m_isWanted;
    }

private:
    const std::function<bool(const CapturedLine &)> &m_take;
    CapturedLine m_pending;
    char m_previous;
    bool m_isWanted;
};

// Whether a reply is one that the line can have.
bool fitsLine(const QByteArray &line, const QByteArray &reply)
{
    const ExchangeEnd end = exchangeEnd(line, reply);
    return end == ExchangeEnd::Good || end == ExchangeEnd::Refused;
}

// What a line is, without its numbers: "open", "read", "opened", "words".
QString kindOf(const CapturedLine &line)
{
    const QString meaning = lineMeaning(line.direction, line.bytes);
    if (line.direction == '>')
        return line.bytes.endsWith("\r\n") ? meaning.section(QLatin1Char(' '), 0, 0) : meaning;
    return parseReply(line.bytes).kind == ReplyKind::Items ? QString::fromLatin1("with values")
                                                           : meaning;
}

QString countsText(const QMap<QString, int> &counts, const char *singular, const char *plural)
{
    int sum = 0;
    QStringList parts;
    for (auto count = counts.constBegin(); count != counts.constEnd(); ++count) {
        sum += count.value();
        parts += QString::number(count.value()) + QLatin1Char(' ') + count.key();
    }
    const QString text = countText(sum, singular, plural);
    return parts.isEmpty() ? text : text + QLatin1String(": ") + parts.join(QLatin1String(", "));
}

} // namespace

void readCapture(QIODevice &file, const std::function<bool(const CapturedLine &)> &take,
                 const std::function<void(int)> &refuse)
{
    LineJoiner joiner(take);
    Record context;
    double midnight = 0; // that a time of day is counted from
    double latest = 0;
    for (int number = 1; joiner.isWanted(); ++number) {
        const QByteArray raw = file.readLine(MAX_LINE_BYTES);
        if (raw.isEmpty())
            break;
        bool isCut = false;
        for (QByteArray rest = raw; !rest.isEmpty() && !rest.endsWith('\n'); isCut = true) {
            rest = file.readLine(MAX_LINE_BYTES);
            if (rest.isEmpty())
                break; // the file's end
        }
        const QString text = QString::fromLatin1(raw.constData(), raw.size()).trimmed();
        Record record;
        if (!isCut && isTraceRemark(text))
            continue;
        if (isCut || !readRecord(text, &record, &context)) {
            refuse(number);
            continue;
        }
        record.line.number = number;
        if (!record.isWhole && record.line.seconds >= 0) {
            if (record.line.seconds + midnight < latest - SECONDS_OF_DAY / 2)
                midnight += SECONDS_OF_DAY;
            record.line.seconds += midnight;
            latest = record.line.seconds;
        }
        joiner.add(record);
    }
    joiner.end();
}

QString CaptureSummary::add(const CapturedLine &line)
{
    ++(line.direction == '>' ? m_lines : m_replies)[kindOf(line)];
    if (line.direction == '>') {
        endExchange();
        m_asked = line;
        m_isAsked = true;
        return QString();
    }
    const bool isAnswer = m_isAsked;
    const double seconds =
        line.seconds < 0 || m_asked.seconds < 0 ? -1 : line.seconds - m_asked.seconds;
    m_isAsked = false;
    if (isAnswer && seconds >= 0 && seconds < SECONDS_OF_DAY)
        m_times.add({true, false, 1, 0, static_cast<qint64>(seconds * 1e9)});
    if (isAnswer && fitsLine(m_asked.bytes, line.bytes))
        return QString();
    ++m_unfitting;
    return QLatin1String(isAnswer ? "does not fit its line" : "answers no line");
}

// A line whose reply has not come when the next one goes out.
void CaptureSummary::endExchange()
{
    if (!m_isAsked)
        return;
    m_firstMissing = m_missing == 0 ? m_asked.number : m_firstMissing;
    ++m_missing;
}

QStringList CaptureSummary::finish()
{
    endExchange();
    QStringList lines = {countsText(m_lines, "line to the PLC", "lines to the PLC"),
                         countsText(m_replies, "reply", "replies")};
    if (m_missing > 0)
        lines += QString::fromLatin1("%1, the first to line %2")
                     .arg(countText(m_missing, "missing reply", "missing replies"))
                     .arg(m_firstMissing);
    if (m_unfitting > 0)
        lines += countText(m_unfitting, "reply that fits no line", "replies that fit no line");
    if (m_times.requests() > 0)
        lines += QLatin1String("reply times: ") + m_times.timesText();
    return lines;
}
