#include "simulator/plc_faults.h"

namespace
{

struct FaultRow {
    PlcFault fault;
    char digit;
};

// The digits are the simulator's own choice: 0 where the PLC understands the line but has no such
// device, number or count; 1 where it takes no such line at all; 4 where it lets nobody write.
const FaultRow FAULTS[] = {
    {PLC_MALFORMED_LINE, '1'},   {PLC_OVERLONG_LINE, '1'},   {PLC_UNKNOWN_COMMAND, '1'},
    {PLC_NOT_OPEN, '1'},         {PLC_MALFORMED_VALUE, '1'}, {PLC_UNKNOWN_DEVICE, '0'},
    {PLC_MALFORMED_NUMBER, '0'}, {PLC_WRONG_FORMAT, '0'},    {PLC_OUT_OF_RANGE, '0'},
    {PLC_WRONG_COUNT, '0'},      {PLC_COUNT_MISMATCH, '0'},  {PLC_READ_ONLY, '4'},
};

} // namespace

char plcErrorDigit(PlcFault fault)
{
    for (const FaultRow &row : FAULTS) {
        if (row.fault == fault)
            return row.digit;
    }
    return '1';
}
