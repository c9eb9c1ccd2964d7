#include "runtime/driver_outcome.h"

#include <QtCore/QString>

namespace
{

const char *const UNUSABLE_REPLIES[] = {
    "invalid response", "invalid response:", "invalid response2", "invalid response3"};

} // namespace

DriverOutcome driverOutcome(const QString &text)
{
    if (text.startsWith(QLatin1String("Response During an Error:")))
        return DriverOutcome::PlcError;
    if (text == QLatin1String("PLC no response"))
        return DriverOutcome::NoReply;
    for (const char *unusable : UNUSABLE_REPLIES) {
        if (text == QLatin1String(unusable))
            return DriverOutcome::UnusableReply;
    }
    return DriverOutcome::Refused;
}
