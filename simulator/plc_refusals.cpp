#include "simulator/plc_refusals.h"

// The digits are the simulator's own choice: 0 where the PLC understands the line but has no such
// device, number or count; 1 where it takes no such line at all; 4 where it lets nobody write.
char plcErrorDigit(PlcRefusal refusal)
{
    switch (refusal) {
    case PLC_UNKNOWN_DEVICE:
    case PLC_MALFORMED_NUMBER:
    case PLC_WRONG_FORMAT:
    case PLC_OUT_OF_RANGE:
    case PLC_WRONG_COUNT:
    case PLC_COUNT_MISMATCH:
        return '0';
    case PLC_READ_ONLY:
        return '4';
    default:
        return '1';
    }
}
