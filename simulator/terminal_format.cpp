#include "simulator/terminal_format.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace
{

struct SpeedCode {
    tcflag_t code;
    speed_t speed;
};

const SpeedCode SPEED_CODES[] = {
    {B1200, 1200},   {B2400, 2400},   {B4800, 4800},     {B9600, 9600},     {B19200, 19200},
    {B38400, 38400}, {B57600, 57600}, {B115200, 115200}, {B230400, 230400},
};

// Emulators know this older request alone, which gives a speed as one of a few codes.
bool readOldSettings(int master, termios2 *settings)
{
    termios old;
    if (ioctl(master, TCGETS, &old) != 0)
        return false;
    settings->c_cflag = old.c_cflag;
    settings->c_ospeed = 0;
    for (const SpeedCode &known : SPEED_CODES) {
        if ((old.c_cflag & CBAUD) == known.code)
            settings->c_ospeed = known.speed;
    }
    return true;
}

} // namespace

WireFormat terminalFormat(int master, const WireFormat &own)
{
    WireFormat format = own;
    termios2 settings;
    if (ioctl(master, TCGETS2, &settings) != 0 && !readOldSettings(master, &settings))
        return format;
    if (settings.c_ospeed == 0)
        return format;
    format.baud = static_cast<int>(settings.c_ospeed);
    format.stopBits = (settings.c_cflag & CSTOPB) != 0 ? 2 : 1;
    if ((settings.c_cflag & PARODD) != 0)
        format.parity = 'o';
    else if (own.parity == 'o')
        format.parity = 'e';
    return format;
}
