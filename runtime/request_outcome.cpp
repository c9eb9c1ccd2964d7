#include "runtime/request_outcome.h"

namespace
{

const char ERROR_RESPONSE[] = "Response During an Error:";
const char NO_RESPONSE[] = "PLC no response";

// The first one is the driver's for open, close and write lines.
const char *const UNUSABLE_REPLIES[] = {
    "invalid response", "invalid response:", "invalid response2", "invalid response3"};

} // namespace

RequestOutcome outcomeOf(const QString &text)
{
    if (text.startsWith(QLatin1String(ERROR_RESPONSE)))
        return RequestOutcome::PlcError;
    if (text == QLatin1String(NO_RESPONSE))
        return RequestOutcome::NoReply;
    for (const char *unusable : UNUSABLE_REPLIES) {
        if (text == QLatin1String(unusable))
            return RequestOutcome::UnusableReply;
    }
    return RequestOutcome::Refused;
}

QString driverText(RequestOutcome outcome, const QByteArray &errorReply)
{
    switch (outcome) {
    case RequestOutcome::PlcError:
        return QLatin1String(ERROR_RESPONSE) + QString::fromLatin1(errorReply);
    case RequestOutcome::NoReply:
        return QLatin1String(NO_RESPONSE);
    case RequestOutcome::UnusableReply:
        return QLatin1String(UNUSABLE_REPLIES[0]);
    case RequestOutcome::Good:
    case RequestOutcome::Refused:
        break;
    }
    return QString();
}
