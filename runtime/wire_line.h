/// The lines of Host Link as the runtime reads and makes them.
#ifndef RUNTIME_WIRE_LINE_H
#define RUNTIME_WIRE_LINE_H

#include <QtCore/QByteArray>

/// What a line towards the PLC asks for. `Other` is every line of no known form, also one without
/// its end.
enum class LineKind { Open, Close, Read, Write, Set, Reset, Other };

/// What a reply says. `Other` is every reply of no known form, also one without its end.
enum class ReplyKind { Opened, Closed, Accepted, Refused, Items, Other };

/// What the items of a read, a write or a reply are.
enum class ItemForm {
    Word,     ///< 4 hexadecimal digits
    Bit,      ///< 0 or 1
    Number,   ///< 10 digits
    TimerItem ///< contact, current value and preset of a timer or counter
};

/// A line towards the PLC in its parts.
struct WireLine {
    LineKind kind = LineKind::Other;
    QByteArray station; ///< of an open line: 2 or 3 digits
    QByteArray device;  ///< as on the wire, such as DM00100.H
    int count = 0;      ///< items of a read or write
    ItemForm form = ItemForm::Word;
};

/// A reply of the PLC in its parts.
struct WireReply {
    ReplyKind kind = ReplyKind::Other;
    char errorDigit = '0'; ///< of a refusal
    int items = 0;         ///< parts between blanks, whatever the kind
    ItemForm form = ItemForm::Word;
};

/// How an exchange ended.
enum class ExchangeEnd {
    Good,         ///< with the reply that the line asks for
    NoReply,      ///< nothing came
    Cut,          ///< what came has no line end
    Damaged,      ///< what came is no line of the protocol
    WrongStation, ///< another station opened
    Unexpected,   ///< lines of the protocol came, but not the reply that was asked for
    Echo,         ///< the line itself came back
    Refused       ///< with an error reply
};

const int EXCHANGE_ENDS = 8;

/// @param line with its end
WireLine parseLine(const QByteArray &line);

/// @param reply one line with its end
WireReply parseReply(const QByteArray &reply);

/// The line that opens the communication. @param station 0 to 255; has at least two digits there
QByteArray openLine(int station);

/// The line that closes the communication.
QByteArray closeLine();

/// The reply, with its end, of a PLC that does what a line asks for; empty for a read and for a
/// line of no known form.
QByteArray replyOfSuccess(const WireLine &line);

/// Whether lines of the protocol can have such a byte: a printable one, CR or LF.
inline bool isReplyByte(char byte)
{
    return (byte >= 0x20 && byte < 0x7F) || byte == '\r' || byte == '\n';
}

/// @param line  that was sent, with its end
/// @param reply all that came in answer to it
ExchangeEnd exchangeEnd(const QByteArray &line, const QByteArray &reply);

#endif
