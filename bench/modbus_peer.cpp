// Serves holding registers with libmodbus' RTU server until it is ended. Prints "pty DEVICE" when
// ready.
#include <modbus.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

const int REGISTERS = 1000;

// Opens both ends of a raw pseudo-terminal; the slave end stays open, so that the wire outlives
// clients.
// @return the master end; below 0 on failure
int openPseudoTerminal()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        return -1;
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    termios settings;
    if (slave < 0 || tcgetattr(slave, &settings) != 0)
        return -1;
    cfmakeraw(&settings);
    return tcsetattr(slave, TCSANOW, &settings) == 0 ? master : -1;
}

} // namespace

int main()
{
    const int master = openPseudoTerminal();
    modbus_t *server = master < 0 ? nullptr : modbus_new_rtu(ptsname(master), 115200, 'N', 8, 1);
    modbus_mapping_t *memory = modbus_mapping_new(0, 0, REGISTERS, 0);
    if (!server || !memory || modbus_set_slave(server, 1) != 0 ||
        modbus_set_socket(server, master) != 0) {
        std::cerr << "server: " << modbus_strerror(errno) << "\n";
        return 1;
    }
    std::printf("pty %s\n", ptsname(master));
    std::fflush(stdout);
    std::uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];
    for (;;) {
        const int length = modbus_receive(server, request);
        if (length > 0)
            modbus_reply(server, request, length, memory);
    }
}
