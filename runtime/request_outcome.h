/// How a request ended.
#ifndef RUNTIME_REQUEST_OUTCOME_H
#define RUNTIME_REQUEST_OUTCOME_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// Ends of a request.
enum class RequestOutcome {
    Good,
    PlcError,      ///< the PLC answered with its error reply
    NoReply,       ///< nothing was received
    UnusableReply, ///< something was received that is not the expected reply
    Refused        ///< the driver did not accept the request; nothing was sent for it
};

/// @param text the driver's error text after a request that failed
/// @return `Refused` for every text that names neither a reply nor its absence
RequestOutcome outcomeOf(const QString &text);

/// The driver's error text for an outcome, for exchanges that are made without the driver.
/// @param errorReply of the PLC, where that is the outcome
QString driverText(RequestOutcome outcome, const QByteArray &errorReply);

#endif
