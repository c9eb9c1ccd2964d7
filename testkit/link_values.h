/// @file
/// The pacing of a link that channels of the test kit give.
#ifndef TESTKIT_LINK_VALUES_H
#define TESTKIT_LINK_VALUES_H

#include "drivers/abstract_device_interface.h"

/// Gives the values that a test sets, and counts how often it is asked.
class LinkValues : public AbstractDeviceInterface
{
public:
    LinkValues() : retry(0), station(0), delayMs(0), delaysAsked(0), retriesAsked(0) {}

    int getRetry() override
    {
        ++retriesAsked;
        return retry;
    }

    int getStationId() override { return station; }

    unsigned long getDelay() override
    {
        ++delaysAsked;
        return delayMs;
    }

    int retry;             ///< further attempts after a failed one
    int station;           ///< the PLC's station number
    unsigned long delayMs; ///< before every attempt
    int delaysAsked;       ///< how often `getDelay` was called
    int retriesAsked;      ///< how often `getRetry` was called
};

#endif
