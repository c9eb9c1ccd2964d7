#include "runtime/wire_line.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"

#include <QtCore/QList>

#include <algorithm>
#include <cstddef>

namespace
{

const char END[] = "\r\n";

const struct {
    const char *word;
    LineKind kind;
} COMMANDS[] = {
    {"CR", LineKind::Open},   {"CQ", LineKind::Close}, {"RDS", LineKind::Read},
    {"WRS", LineKind::Write}, {"ST", LineKind::Set},   {"RS", LineKind::Reset},
};

// Of the characters of a reply and of an item: h is a hexadecimal digit, d a decimal one, b is 0 or 1.
const struct {
    ReplyKind kind;
    const char *characters;
} REPLIES[] = {
    {ReplyKind::Opened, "CC dd"}, {ReplyKind::Opened, "CC ddd"}, {ReplyKind::Closed, "CF"},
    {ReplyKind::Accepted, "OK"},  {ReplyKind::Refused, "Ed"},
};

const struct {
    ItemForm form;
    const char *characters;
} ITEMS[] = {
    {ItemForm::Word, "hhhh"},
    {ItemForm::Bit, "b"},
    {ItemForm::Number, "dddddddddd"},
    {ItemForm::TimerItem, "b,dddddddddd,dddddddddd"},
};

const char WORD_SUFFIX[] = ".H";

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool isNumber(const QByteArray &word, int minDigits, int maxDigits)
{
    return word.size() >= minDigits && word.size() <= maxDigits &&
           std::all_of(word.begin(), word.end(), isDigit);
}

bool isDevice(const QByteArray &word)
{
    return !word.isEmpty() &&
           std::all_of(word.begin(), word.end(), [](char c) { return c > ' ' && c <= '~'; });
}

bool fits(char c, char form)
{
    return form == 'h'   ? isHexDigit(c)
           : form == 'd' ? isDigit(c)
           : form == 'b' ? c == '0' || c == '1'
                         : c == form;
}

bool hasForm(const char *begin, const char *end, const char *characters)
{
    return end - begin == static_cast<std::ptrdiff_t>(qstrlen(characters)) &&
           std::equal(begin, end, characters, fits);
}

// Whether items with blanks between them all have a form.
bool allHaveForm(const char *begin, const char *end, const char *characters)
{
    const std::ptrdiff_t length = static_cast<std::ptrdiff_t>(qstrlen(characters));
    if ((end - begin + 1) % (length + 1) != 0)
        return false;
    const char *item = begin;
    for (; item < end; item += length + 1) {
        if ((item > begin && item[-1] != ' ') || !std::equal(item, item + length, characters, fits))
            return false;
    }
    return item > begin;
}

ItemForm formOf(const QByteArray &device)
{
    if (device.endsWith(WORD_SUFFIX))
        return ItemForm::Word;
    const KV_L20V_Device &row = KV_L20V_DeviceOf(device);
    const int prefixLength = static_cast<int>(qstrlen(row.prefix));
    const bool isChannel = *row.number.firstBit != '\0' && device.size() > prefixLength;
    if (isChannel && device.startsWith(row.prefix) &&
        std::all_of(device.begin() + prefixLength, device.end(), isHexDigit))
        return ItemForm::Bit;
    return row.forms.read == KV_L20V_Numbers ? ItemForm::Number : ItemForm::TimerItem;
}

// @param reply lines of printable characters
ExchangeEnd endOfText(const QByteArray &line, const QByteArray &reply)
{
    const WireLine sent = parseLine(line);
    const QByteArray first = reply.left(reply.indexOf('\n') + 1);
    const WireReply parsed = parseReply(first);
    const bool isData = sent.kind == LineKind::Read && parsed.kind == ReplyKind::Items &&
                        parsed.items == sent.count && parsed.form == sent.form;
    if (parsed.kind == ReplyKind::Refused)
        return ExchangeEnd::Refused;
    if (reply == first && (isData || reply == replyOfSuccess(sent)))
        return ExchangeEnd::Good;
    if (sent.kind == LineKind::Open && parsed.kind == ReplyKind::Opened && reply == first)
        return ExchangeEnd::WrongStation;
    const bool isKnown =
        parsed.kind != ReplyKind::Other || parseLine(first).kind != LineKind::Other;
    return isKnown ? ExchangeEnd::Unexpected : ExchangeEnd::Damaged;
}

// The words of a line without its end; none of a line that has no end.
QList<QByteArray> wordsOf(const QByteArray &line)
{
    return line.endsWith(END) ? line.left(line.size() - 2).split(' ') : QList<QByteArray>();
}

} // namespace

WireLine parseLine(const QByteArray &line)
{
    const QList<QByteArray> words = wordsOf(line);
    WireLine parsed;
    for (const auto &command : COMMANDS) {
        if (words.value(0) == command.word)
            parsed.kind = command.kind;
    }
    bool isWhole = false;
    switch (parsed.kind) {
    case LineKind::Open:
        parsed.station = words.value(1);
        isWhole = words.size() == 2 && isNumber(parsed.station, 2, 3);
        break;
    case LineKind::Close:
        isWhole = words.size() == 1;
        break;
    case LineKind::Read:
    case LineKind::Write:
        parsed.count = words.value(2).toInt();
        isWhole = isDevice(words.value(1)) && isNumber(words.value(2), 1, 9) &&
                  (words.size() == 3 || parsed.kind == LineKind::Write);
        break;
    case LineKind::Set:
    case LineKind::Reset:
        isWhole = words.size() == 2 && isDevice(words.at(1));
        break;
    case LineKind::Other:
        break;
    }
    if (!isWhole)
        return WireLine();
    if (parsed.kind != LineKind::Open)
        parsed.device = words.value(1);
    parsed.form = formOf(parsed.device);
    return parsed;
}

WireReply parseReply(const QByteArray &reply)
{
    WireReply parsed;
    parsed.items = reply.count(' ') + 1;
    if (!reply.endsWith(END))
        return parsed;
    const char *begin = reply.constBegin();
    const char *end = reply.constEnd() - qstrlen(END);
    for (const auto &row : REPLIES) {
        if (hasForm(begin, end, row.characters))
            parsed.kind = row.kind;
    }
    if (parsed.kind == ReplyKind::Refused)
        parsed.errorDigit = begin[1];
    for (const auto &row : ITEMS) {
        if (!allHaveForm(begin, end, row.characters))
            continue;
        parsed.kind = ReplyKind::Items;
        parsed.form = row.form;
    }
    return parsed;
}

QByteArray openLine(int station)
{
    return "CR " + QByteArray::number(station).rightJustified(2, '0') + END;
}

QByteArray closeLine()
{
    return QByteArray("CQ") + END;
}

QByteArray replyOfSuccess(const WireLine &line)
{
    switch (line.kind) {
    case LineKind::Open:
        return "CC " + line.station + END;
    case LineKind::Close:
        return QByteArray("CF") + END;
    case LineKind::Write:
    case LineKind::Set:
    case LineKind::Reset:
        return QByteArray("OK") + END;
    case LineKind::Read:
    case LineKind::Other:
        break;
    }
    return QByteArray();
}

ExchangeEnd exchangeEnd(const QByteArray &line, const QByteArray &reply)
{
    if (reply.isEmpty())
        return ExchangeEnd::NoReply;
    if (reply.startsWith(line))
        return ExchangeEnd::Echo;
    if (!std::all_of(reply.begin(), reply.end(), isReplyByte))
        return ExchangeEnd::Damaged;
    return reply.contains(END) ? endOfText(line, reply) : ExchangeEnd::Cut;
}
