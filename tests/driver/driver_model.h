/// What the driver has to send for a request and to return for its replies, told plainly.
#ifndef TESTS_DRIVER_DRIVER_MODEL_H
#define TESTS_DRIVER_DRIVER_MODEL_H

#include "drivers/communicator_command.h"

#include <QtCore/QByteArray>

#include <climits>
#include <cstdio>
#include <cstring>

/// What the items of a data line's reply look like; FormOk and FormAny are the writes' replies.
enum Form { FormBits, FormWords, FormNumbers, FormTimers, FormOk, FormAny };

/// An item of each form; h, d, b: hexadecimal, decimal, binary digit.
static const char *const ITEM_SHAPES[] = {"b", "hhhh", "dddddddddd", "b,dddddddddd,dddddddddd"};

/// The word devices: the base and the fewest digits of a number, and what a channel adds to it. A
/// longer name comes before its own beginning.
static const struct {
    const char *name;
    int base;
    int digits;
    const char *firstBit;
} WORD_DEVICES[] = {
    {"R", 10, 3, "00"},  {"B", 16, 3, "0"},  {"MR", 10, 3, "00"}, {"LR", 10, 3, "00"},
    {"CR", 10, 2, "00"}, {"VB", 16, 3, "0"}, {"DM", 10, 5, ""},   {"EM", 10, 5, ""},
    {"FM", 10, 5, ""},   {"ZF", 10, 5, ""},  {"W", 16, 4, ""},    {"TM", 10, 3, ""},
    {"Z", 10, 2, ""},    {"CM", 10, 4, ""},  {"VM", 10, 5, ""},
};

/// One request, what its line has to say and what its reply means.
struct DriverModel {
    DriverModel(bool isWrite, const CommunicatorCommand &command, const QByteArray &bytes);

    /// The data line, of the contact for one bit where each has its own; empty: it is refused.
    QByteArray line(int bit) const;
    /// Whether a reply has the form that the request asks for.
    bool fits(const QByteArray &received) const;
    /// What a read returns for a reply that fits.
    QByteArray decoded(const QByteArray &received) const;
    /// The error text for a reply that does not fit.
    const char *wrongForm() const;

    bool write;
    bool bits;
    bool supported;    ///< the kind is one that the driver reads and writes
    QByteArray data;   ///< to write
    QByteArray device; ///< as the line has it, without a contact's number; empty: refused
    qint64 contact;    ///< number of the first one
    int length;        ///< bytes that a read returns
    qint64 items;      ///< that a line asks for or brings
    bool words;        ///< a word device, in words
    bool preset;       ///< of a timer item the second number counts
    bool perBit;       ///< one bracket for each bit
    Form form;
};

/// A reply's text ends at its first zero byte.
inline QByteArray textOf(const QByteArray &received)
{
    return received.constData();
}

/// Whether a character is of a kind that the shapes have.
inline bool isA(char kind, char c)
{
    return kind == 'b'   ? c == '0' || c == '1'
           : kind == 'd' ? c >= '0' && c <= '9'
           : kind == 'h' ? c != '\0' && std::strchr("0123456789abcdefABCDEF", c) != 0
                         : c == kind;
}

/// Whether a text is a row of items of a shape.
inline bool areItems(const QByteArray &text, const QByteArray &itemShape)
{
    const QByteArray shape = itemShape + ' ';
    bool right = !text.isEmpty() && (text.size() + 1) % shape.size() == 0;
    for (int i = 0; i < text.size(); ++i)
        right = right && isA(shape.at(i % shape.size()), text.at(i));
    return right;
}

inline bool isErrorReply(const QByteArray &received)
{
    const QByteArray text = textOf(received);
    return text.size() == 4 && text.startsWith('E') && isA('d', text.at(1)) &&
           text.endsWith("\r\n");
}

inline bool beginsWithOneOf(const QByteArray &text, const char *const *beginnings)
{
    for (; *beginnings; ++beginnings) {
        if (text.startsWith(*beginnings))
            return true;
    }
    return false;
}

/// A text as a number; -1: it is none. A blank behind it, which Qt's versions differ about, has no
/// place.
inline qint64 numberOf(const QByteArray &text, int base)
{
    bool converted = false;
    const qint64 number = text.toUInt(&converted, base);
    return converted && isA('h', text.at(text.size() - 1)) ? number : -1;
}

/// The word device of an address as a line has it; empty: it has no number, null: it is none.
inline QByteArray wordDevice(const QByteArray &address)
{
    for (const auto &row : WORD_DEVICES) {
        if (!address.toUpper().startsWith(row.name))
            continue;
        const QByteArray name = row.name;
        const QByteArray rest = address.mid(name.size());
        const qint64 number = numberOf(rest, row.base);
        if (row.base == 16 ? number < 0 : name == "Z" && !rest.isEmpty() && !isA('d', rest.at(0)))
            return "";
        const QByteArray digits = QByteArray::number(qMax<qint64>(number, 0), row.base).toUpper();
        return name + digits.rightJustified(row.digits, '0') + row.firstBit + ".H";
    }
    return QByteArray();
}

inline DriverModel::DriverModel(bool isWrite, const CommunicatorCommand &command,
                                const QByteArray &bytes)
    : write(isWrite), bits(command.kind == Bit || command.kind == BitBlock),
      supported(command.kind <= BitBlock && command.kind != QuadWord), data(bytes), contact(0),
      length(command.byteLength()), items(command.count)
{
    static const char *const NUMBERS[] = {"A", "CC", "CS", "TC", "TS", 0};
    static const char *const RUNS[] = {"B", "L", "M", "R", "VB", "CR", 0};
    static const char *const TIMERS[] = {"T0", "T1", "T2", "T3", "T4",  "T5", "T6", "T7",
                                         "T8", "T9", "C0", "C1", "C2",  "C3", "C4", "C5",
                                         "C6", "C7", "C8", "C9", "CTC", 0};
    const QByteArray address = command.address.toLatin1();
    const QByteArray upper = address.toUpper();
    words = !bits && !wordDevice(address).isNull();
    preset = !bits && upper.startsWith("PCTC");
    perBit = write && bits && !beginsWithOneOf(address, RUNS);
    if (perBit) {
        device = upper.left(upper.startsWith("CTC") ? 3 : 1);
        int digit = 0;
        while (digit < address.size() && !isA('d', address.at(digit)))
            ++digit;
        contact = numberOf(address.mid(digit), 10);
        if (contact < 0 || contact > INT_MAX)
            contact = 0;
        if ((device.left(1) != "C" && device != "T") || contact + data.size() - 1 > INT_MAX)
            device.clear();
    } else if (words) {
        device = wordDevice(address);
    } else if (!write || bits || !upper.startsWith("CTC")) {
        device = address.mid(preset ? 1 : 0);
        for (int i = 0; i < command.address.size(); ++i) {
            if (command.address.at(i) < QChar(0x21) || command.address.at(i) > QChar(0x7E))
                device.clear();
        }
    }
    const bool timerBits =
        beginsWithOneOf(upper, TIMERS) && (upper.at(1) != 'T' || address.mid(1, 2) == "TC");
    if (write)
        form = bits ? FormOk : FormAny;
    else if (bits)
        form = timerBits ? FormTimers : FormBits;
    else
        form = words ? FormWords : beginsWithOneOf(upper, NUMBERS) ? FormNumbers : FormTimers;
    const int unit = bits ? 1 : words ? 2 : 4;
    if (write)
        items = (data.size() + unit - 1) / unit;
    else if (!bits)
        items = (static_cast<qint64>(length) + unit - 1) / unit;
}

inline QByteArray DriverModel::line(int bit) const
{
    if (!supported || device.isEmpty())
        return "";
    if (perBit)
        return (data.at(bit) ? "ST " : "RS ") + device +
               QByteArray::number(contact + bit).rightJustified(device == "CTC" ? 1 : 4, '0') +
               "\r\n";
    QByteArray text = (write ? "WRS " : "RDS ") + device + " " + QByteArray::number(items);
    const int unit = bits ? 1 : words ? 2 : 4;
    for (int i = 0; write && i < items; ++i) {
        quint32 value = 0;
        for (int k = unit - 1; k >= 0; --k)
            value = value * 256 + (i * unit + k < data.size()
                                       ? static_cast<unsigned char>(data.at(i * unit + k))
                                       : 0u);
        char item[12];
        std::snprintf(item, sizeof item,
                      bits    ? " %u"
                      : words ? " %04X"
                              : " %010u",
                      bits ? unsigned(value != 0) : value);
        text += item;
    }
    text += "\r\n";
    const bool held = write || (length >= 0 && length <= 1024 * 1024);
    return held && text.size() <= (write || words ? 1552 : 19) ? text : QByteArray();
}

inline bool DriverModel::fits(const QByteArray &received) const
{
    if (form == FormOk || form == FormAny)
        return form == FormAny || received.startsWith("OK\r\n");
    const QByteArray text = textOf(received);
    return text.endsWith("\r\n") && areItems(text.left(text.size() - 2), ITEM_SHAPES[form]);
}

inline QByteArray DriverModel::decoded(const QByteArray &received) const
{
    const int stride = static_cast<int>(std::strlen(ITEM_SHAPES[form])) + 1;
    const QByteArray text = textOf(received);
    QByteArray result(length, '\0');
    for (int item = 0; item < items && item * stride < text.size() - 2; ++item) {
        const int first = item * stride + (form != FormTimers || bits ? 0 : preset ? 13 : 2);
        if (bits) {
            const int bit = text.at(first) == '1' ? 1 << item % 8 : 0;
            result[item / 8] = static_cast<char>(result.at(item / 8) | bit);
            continue;
        }
        quint64 value = text.mid(first, words ? 4 : 10).toULongLong(0, words ? 16 : 10);
        if (value > 0xFFFFFFFFu)
            value = 0xFFFFFFFFu;
        const int width = words ? 2 : 4;
        for (int at = item * width; at < (item + 1) * width && at < length; ++at, value /= 256)
            result[at] = static_cast<char>(value % 256);
    }
    return result;
}

inline const char *DriverModel::wrongForm() const
{
    if (bits && !write)
        return form == FormTimers ? "invalid response3" : "invalid response2";
    return form == FormWords ? "invalid response:" : "invalid response";
}

#endif
