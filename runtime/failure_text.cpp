#include "runtime/failure_text.h"

#include "runtime/escaped_text.h"
#include "runtime/wire_line.h"

#include <QtCore/QTextStream>

namespace
{

const int SHOWN_BYTES = 60;

QLatin1String endQuote(const QByteArray &text)
{
    return QLatin1String(text.size() > SHOWN_BYTES ? "...\"" : "\"");
}

// A line in quotes, without its end: every line that we send has it.
QString quotedLine(const QByteArray &line)
{
    const QByteArray text = line.trimmed();
    return QLatin1Char('"') + escapedText(text.left(SHOWN_BYTES)) + endQuote(text);
}

// Received bytes in quotes, as they are: a missing line end matters.
QString quotedReply(const QByteArray &reply)
{
    return QLatin1Char('"') + reversiblyEscapedText(reply.left(SHOWN_BYTES)) + endQuote(reply);
}

QString attempts(const RequestRecord &record)
{
    return countText(record.attempts, "attempt", "attempts");
}

const char *expectedItems(ItemForm form)
{
    switch (form) {
    case ItemForm::Word:
        return "words of 4 hexadecimal digits";
    case ItemForm::Bit:
        return "bits, 0 or 1";
    case ItemForm::Number:
        return "numbers of 10 digits";
    case ItemForm::TimerItem:
        break;
    }
    return "timer or counter items";
}

QString expectedReply(const WireLine &line)
{
    return line.kind == LineKind::Read ? QString::fromLatin1(expectedItems(line.form))
                                       : quotedLine(replyOfSuccess(line));
}

// What the port itself counted during the request; empty for nothing.
QString portErrors(const SerialErrors &errors)
{
    const QString counts = serialErrorsText(errors);
    return counts.isEmpty() ? counts
                            : QLatin1String("the port counted ") + counts + QLatin1String("; ");
}

QString noReplyText(const RequestRecord &record, const RequestPlace &place)
{
    if (record.sent.isEmpty())
        return QString::fromLatin1("nothing can be sent on %1: %2; check that the port or the peer "
                                   "is still there")
            .arg(place.port, place.broken);
    const QString start =
        QString::fromLatin1("no reply to %1 on %2").arg(quotedLine(record.sent), place.port);
    const QString counts = QString::fromLatin1(" (%1, %2): ")
                               .arg(attempts(record), countText(record.received, "byte", "bytes"));
    // A broken port is not waited for.
    if (!place.broken.isEmpty())
        return start + counts + place.broken +
               QLatin1String("; check that the port or the peer is still there");
    const LineKind kind = parseLine(record.sent).kind;
    return start + QString::fromLatin1(" within %1 ms").arg(place.timeoutMs) + counts +
           portErrors(place.errors) +
           QLatin1String(kind == LineKind::Open || kind == LineKind::Other
                             ? "check cable, baud rate, parity, station number, --timeout"
                             : "the PLC had answered before; check cable, noise, --timeout");
}

QString plcErrorText(const QString &text, const RequestRecord &record, const RequestPlace &place)
{
    const char *hint = "check that device and number exist, and the PLC's mode";
    const LineKind refused = parseLine(record.refused).kind;
    if (refused == LineKind::Open || refused == LineKind::Close)
        hint = "check the station number and the PLC's mode";
    else if (refused != LineKind::Read)
        hint = "check that device and number exist, the PLC's mode (RUN or PROGRAM), and write "
               "protection";
    return QString::fromLatin1("error reply %1 to %2 on %3 (%4, %5): %6")
        .arg(quotedLine(record.errorReply), quotedLine(record.refused), place.port, text.trimmed(),
             attempts(record), QLatin1String(hint));
}

QString unusableText(const QString &text, const RequestRecord &record, const RequestPlace &place)
{
    // Of another driver only its text says what the reply is.
    if (parseLine(record.sent).kind == LineKind::Other)
        return QString::fromLatin1("%1: received %2 in answer to %3 on %4 (%5)")
            .arg(text, quotedReply(record.reply), quotedLine(record.sent), place.port,
                 attempts(record));
    return QString::fromLatin1(
               "unusable reply to %1 on %2: expected %3, received %4 (%5, %6): %7"
               "check noise, baud rate, parity, and whether another station answers")
        .arg(quotedLine(record.sent), place.port, expectedReply(parseLine(record.sent)),
             quotedReply(record.reply), text, attempts(record), portErrors(place.errors));
}

} // namespace

Status complain(QTextStream &err, const QString &text, Status status)
{
    err << "kvlink: " << printableText(text) << '\n';
    err.flush(); // a serial link may wait when it closes
    return status;
}

QString serialErrorsText(const SerialErrors &errors)
{
    QStringList counts;
    if (errors.parity > 0)
        counts += countText(errors.parity, "parity error", "parity errors");
    if (errors.framing > 0)
        counts += countText(errors.framing, "framing error", "framing errors");
    if (errors.overrun > 0)
        counts += countText(errors.overrun, "character lost", "characters lost");
    if (errors.breaks > 0)
        counts += countText(errors.breaks, "break", "breaks");
    return counts.join(QLatin1String(", "));
}

Failure requestFailure(RequestOutcome outcome, const QString &text, const RequestRecord &record,
                       const RequestPlace &place)
{
    const QString reason = text.isEmpty() ? driverText(outcome, record.errorReply) : text;
    switch (outcome) {
    case RequestOutcome::NoReply:
        return Failure(StatusNoReply, noReplyText(record, place));
    case RequestOutcome::PlcError:
        return Failure(StatusPlcError, plcErrorText(reason, record, place));
    case RequestOutcome::UnusableReply:
        return Failure(StatusUnusable, unusableText(reason, record, place));
    case RequestOutcome::Good:
    case RequestOutcome::Refused:
        break;
    }
    return Failure(StatusUnusable,
                   QString::fromLatin1("request refused%1 (address %2, port %3)")
                       .arg(reason.isEmpty() ? QString() : QLatin1String(": ") + reason,
                            place.address, place.port));
}

bool isAnswered(const RequestRecord &record)
{
    const WireLine line = parseLine(record.dataLine);
    const WireReply reply = parseReply(record.dataReply);
    return (line.kind != LineKind::Read || reply.items == line.count) &&
           (line.kind != LineKind::Write || reply.kind == ReplyKind::Accepted);
}

Failure answerFailure(const RequestRecord &record, const RequestPlace &place)
{
    if (isAnswered(record))
        return Failure();
    const WireLine line = parseLine(record.dataLine);
    if (line.kind == LineKind::Read)
        return Failure(StatusUnusable,
                       QString::fromLatin1("unusable reply to %1 on %2: expected %3, received %4 "
                                           "in %5: %6check noise, and whether another station "
                                           "answers")
                           .arg(quotedLine(record.dataLine), place.port,
                                countText(line.count, "item", "items"),
                                QString::number(parseReply(record.dataReply).items),
                                quotedReply(record.dataReply), portErrors(place.errors)));
    return Failure::unconfirmedWrite(
        QString::fromLatin1("the write is not confirmed: expected \"OK\" to %1 on %2, "
                            "received %3: %4read the values back (--verify)")
            .arg(quotedLine(record.dataLine), place.port, quotedReply(record.dataReply),
                 portErrors(place.errors)));
}

Failure interruptedFailure(const RequestRecord &record, const RequestPlace &place)
{
    if (record.sent.isEmpty())
        return Failure(
            StatusNoReply,
            QString::fromLatin1("interrupted before anything was sent on %1").arg(place.port));
    return Failure(StatusNoReply,
                   QString::fromLatin1("interrupted without a reply to %1 on %2 (%3, %4)")
                       .arg(quotedLine(record.sent), place.port, attempts(record),
                            countText(record.received, "byte", "bytes")));
}
