/// Why the simulated PLC refuses a line, and the error digit of its reply.
#ifndef SIMULATOR_PLC_REFUSALS_H
#define SIMULATOR_PLC_REFUSALS_H

/// What is wrong with a line.
enum PlcRefusal {
    PLC_ACCEPTED,        ///< nothing
    PLC_MALFORMED_LINE,  ///< no CR before the LF, a wrong number of fields, or a wrong station text
    PLC_OVERLONG_LINE,   ///< more bytes without LF than the PLC gathers
    PLC_UNKNOWN_COMMAND, ///< the first field is not a command
    PLC_NOT_OPEN,        ///< a command other than the open line while communication is closed
    PLC_MALFORMED_VALUE, ///< a value to write is not in its device's form
    PLC_UNKNOWN_DEVICE,  ///< the PLC has no device of that name, or it has no such command
    PLC_MALFORMED_NUMBER, ///< the device number is not a number, or names a bit above 15
    PLC_WRONG_FORMAT,   ///< the suffix .H is missing, not allowed here, or not at a channel's bit 0
    PLC_OUT_OF_RANGE,   ///< the run of items leaves the device
    PLC_WRONG_COUNT,    ///< the count is not a number, 0 or above the limit
    PLC_COUNT_MISMATCH, ///< the count is not the number of values that follow
    PLC_READ_ONLY       ///< a write would change an item that only the PLC itself may change
};

/// The digit of the error reply, the simulator's own choice: 0 for device, number and count, 1 for
/// commands and values, 4 for read-only devices. Requires: @p refusal is not PLC_ACCEPTED.
char plcErrorDigit(PlcRefusal refusal);

#endif
