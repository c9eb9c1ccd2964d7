/// What went wrong, for people: with a request, and as kvlink prints it.
#ifndef RUNTIME_FAILURE_TEXT_H
#define RUNTIME_FAILURE_TEXT_H

#include "runtime/failure.h"
#include "runtime/request_outcome.h"
#include "runtime/serial_port.h"
#include "runtime/traced_channel.h"

#include <QtCore/QString>

class QTextStream;

/// Prints kvlink's name and a text on one line, with escapes for what a terminal cannot show.
/// @return @p status
Status complain(QTextStream &err, const QString &text, Status status);

/// The same with the text and the status of a failure.
inline Status complain(QTextStream &err, const Failure &failure)
{
    return complain(err, failure.text(), failure.status());
}

/// "2 parity errors, 1 framing error"; empty for none.
QString serialErrorsText(const SerialErrors &errors);

/// Where a request went.
struct RequestPlace {
    QString address; ///< of the first item
    QString port;
    QString broken; ///< why the port is broken; empty when it works
    int timeoutMs;
    SerialErrors errors; ///< of the port, during the request
};

/// Says what failed, where, what was sent and received, and what to check next.
/// @param outcome anything but `Good`
/// @param text    the driver's error text; empty when it gave none
Failure requestFailure(RequestOutcome outcome, const QString &text, const RequestRecord &record,
                       const RequestPlace &place);

/// Whether a request that the driver takes for done was answered as its data line asks: a read with
/// as many items as it names, a write with "OK".
bool isAnswered(const RequestRecord &record);

/// Says in what way such a request was not answered as its data line asks; good when it was.
Failure answerFailure(const RequestRecord &record, const RequestPlace &place);

/// A request without a reply that a signal has ended.
Failure interruptedFailure(const RequestRecord &record, const RequestPlace &place);

#endif
