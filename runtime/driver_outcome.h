/// What became of a request, told from the driver's error text.
#ifndef RUNTIME_DRIVER_OUTCOME_H
#define RUNTIME_DRIVER_OUTCOME_H

class QString;

/// Kinds of failures of a request.
enum class DriverOutcome {
    PlcError,      ///< the PLC answered with its error reply
    NoReply,       ///< nothing was received
    UnusableReply, ///< something was received that is not the expected reply
    Refused        ///< the driver did not accept the request; nothing was sent for it
};

/// @param text the driver's latest error text
/// @return the kind of failure; `Refused` for every text that does not tell of a reply or its
/// absence
DriverOutcome driverOutcome(const QString &text);

#endif
