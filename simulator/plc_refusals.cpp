#include "simulator/plc_refusals.h"

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
