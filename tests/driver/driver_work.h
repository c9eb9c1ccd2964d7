/// A mix of good and failing requests, for tests that put whole drivers through it again and again.
#ifndef TESTS_DRIVER_DRIVER_WORK_H
#define TESTS_DRIVER_DRIVER_WORK_H

#include "drivers/driver_interface.h"
#include "tests/driver/scripted_channel.h"

/// Requests of a pass through `failedWork`.
const int WORK_REQUESTS = 9;

/// Makes each request over a channel of its own in memory.
/// @return which request gave another result or spoke otherwise than expected; empty when none did
inline QByteArray failedWork(DriverInterface *driver)
{
    const struct {
        CommandKind kind;
        quint32 count;
        const char *address;
        const char *script;
        const char *written; // in hexadecimal; null for a read
        const char *result;  // the data that is read, in hexadecimal, or how a write ended
        const char *error;
    } requests[WORK_REQUESTS] = {
        {Word, 2, "DM100", "!|>CR 00|<CC 00|!|>RDS DM00100.H 2|<1234 00FF|!|>CQ|<CF", 0, "3412ff00",
         ""},
        {DoubleWord, 1, "T12", "!|>CR 00|<CC 00|!|>RDS T12 1|<1,0000000005,0000000100|!|>CQ|<CF", 0,
         "05000000", ""},
        {BitBlock, 10, "R1215", "!|>CR 00|<CC 00|!|>RDS R1215 10|<1 0 1 0 0 0 0 1 1 1|!|>CQ|<CF", 0,
         "8503", ""},
        {Word, 1, "DM100", "!|>CR 00|<CC 00|>WRS DM00100.H 1 1234|<OK|!|>CQ|<CF", "3412", "1", ""},
        {Bit, 1, "T12", "!|>CR 00|<CC 00|>ST T0012|<OK|!|>CQ|<CF", "01", "1", ""},
        {Word, 1, "DM1", "!|>CR 00|~", 0, "", "PLC no response"},
        {Word, 1, "DM1", "!|>CR 00|<CC 00|!|>RDS DM00001.H 1|<12G4", 0, "", "invalid response:"},
        {Word, 1, "DM1", "!|>CR 00|<CC 00|>WRS DM00001.H 1 0000|<E1|!|>CQ|<CF", "0000", "0",
         "Response During an Error:E1\r\n"},
        {Word, 1, "CTC1", "", "0000", "0", "can't write word to CTC1"},
    };
    for (int i = 0; i < WORK_REQUESTS; ++i) {
        ScriptedChannel channel(requests[i].script);
        const CommunicatorCommand command(requests[i].kind, requests[i].count,
                                          QLatin1String(requests[i].address));
        const QByteArray result =
            requests[i].written ? QByteArray::number(driver->write(
                                      &channel, command, QByteArray::fromHex(requests[i].written)))
                                : driver->read(&channel, command).toHex();
        const QString error = driver->hasError() ? driver->getLastError() : QString();
        if (!channel.fault().isEmpty() || result != requests[i].result ||
            error != QLatin1String(requests[i].error))
            return "request " + QByteArray::number(i) + ": " + channel.fault() + " " + result +
                   " " + error.toLatin1();
    }
    return QByteArray();
}

#endif
