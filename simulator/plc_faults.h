/// What the simulated PLC can find wrong with a line, and the error digit it answers with.
#ifndef SIMULATOR_PLC_FAULTS_H
#define SIMULATOR_PLC_FAULTS_H

/// The faults of a line; the order is that of the table in plc_faults.cpp.
enum PlcFault {
    PLC_NO_FAULT,
    PLC_MALFORMED_LINE,  ///< no CR before the LF, a wrong number of fields, or a wrong station text
    PLC_OVERLONG_LINE,   ///< more bytes without LF than the PLC gathers
    PLC_UNKNOWN_COMMAND, ///< the first field is no command
    PLC_NOT_OPEN,        ///< a command other than the open line while communication is closed
    PLC_MALFORMED_VALUE, ///< a value to write is not in its device's form
    PLC_UNKNOWN_DEVICE,  ///< the device name is none of the PLC's, or has no such command
    PLC_MALFORMED_NUMBER, ///< the device number is no number, or names a bit above 15
    PLC_WRONG_FORMAT,   ///< the suffix .H is missing, not allowed here, or not at a channel's bit 0
    PLC_OUT_OF_RANGE,   ///< the run of items leaves the device
    PLC_WRONG_COUNT,    ///< the count is no number, 0 or above the limit
    PLC_COUNT_MISMATCH, ///< the count is not the number of values that follow
    PLC_READ_ONLY       ///< a write would change an item that only the PLC itself may change
};

/// The digit 0 to 9 of the error reply to @p fault.
char plcErrorDigit(PlcFault fault);

#endif
