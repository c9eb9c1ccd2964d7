#include "simulator/terminal_format.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>

// Not by tcgetattr, which gives a speed as one of a few codes.
WireFormat terminalFormat(int master, const WireFormat &own)
{
    WireFormat format = own;
    termios2 settings;
    if (ioctl(master, TCGETS2, &settings) != 0 || settings.c_ospeed == 0)
        return format;
    format.baud = static_cast<int>(settings.c_ospeed);
    format.stopBits = (settings.c_cflag & CSTOPB) != 0 ? 2 : 1;
    if ((settings.c_cflag & PARODD) != 0)
        format.parity = 'o';
    else if (own.parity == 'o')
        format.parity = 'e';
    return format;
}
