// Serves holding registers with libmodbus' server until it is ended. Prints one line when ready:
// "pty DEVICE", or "tcp PORT" of the loopback. Without arguments it is an RTU server whose replies
// are all good.
#include <modbus.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace
{

const int REGISTERS = 1000;

// Opens both ends of a raw pseudo-terminal; the slave end stays open, so that the line outlives
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

// The server's own end of a connection or line. Each register holds its address.
class Server
{
public:
    Server() : m_server(nullptr), m_memory(modbus_mapping_new(0, 0, REGISTERS, 0)), m_listening(-1)
    {
        for (int i = 0; m_memory && i < REGISTERS; ++i)
            m_memory->tab_registers[i] = static_cast<std::uint16_t>(i);
    }

    bool openLine()
    {
        const int master = openPseudoTerminal();
        if (master < 0 || !m_memory)
            return false;
        m_server = modbus_new_rtu(ptsname(master), 115200, 'N', 8, 1);
        if (!m_server || modbus_set_slave(m_server, 1) != 0 ||
            modbus_set_socket(m_server, master) != 0)
            return false;
        std::printf("pty %s\n", ptsname(master));
        return std::fflush(stdout) == 0;
    }

    bool openPort()
    {
        m_server = modbus_new_tcp("127.0.0.1", 0);
        m_listening = m_server && m_memory ? modbus_tcp_listen(m_server, 1) : -1;
        sockaddr_in address;
        socklen_t length = sizeof address;
        if (m_listening < 0 ||
            getsockname(m_listening, reinterpret_cast<sockaddr *>(&address), &length) != 0)
            return false;
        std::printf("tcp %d\n", ntohs(address.sin_port));
        return std::fflush(stdout) == 0 && modbus_tcp_accept(m_server, &m_listening) >= 0;
    }

    // A share of the replies goes out late, another one twice; each such reply is told on stderr.
    void serve(std::uint32_t seed, double share, unsigned int lateMs)
    {
        std::mt19937 random(seed);
        std::uniform_real_distribution<> chance;
        std::uint8_t request[MODBUS_TCP_MAX_ADU_LENGTH];
        for (;;) {
            const int length = modbus_receive(m_server, request);
            if (length < 0 && m_listening >= 0 && modbus_tcp_accept(m_server, &m_listening) < 0)
                return;
            if (length <= 0)
                continue;
            const double drawn = chance(random);
            if (drawn < share) {
                std::cerr << "late\n";
                usleep(lateMs * 1000);
            }
            modbus_reply(m_server, request, length, m_memory);
            if (drawn >= 1 - share) {
                std::cerr << "doubled\n";
                modbus_reply(m_server, request, length, m_memory);
            }
        }
    }

private:
    modbus_t *m_server;
    modbus_mapping_t *m_memory;
    int m_listening;
};

} // namespace

int main(int argc, char **argv)
{
    const std::string road = argc > 1 ? argv[1] : "rtu";
    if ((argc != 1 && argc != 5) || (road != "rtu" && road != "tcp")) {
        std::cerr << "usage: " << argv[0] << " [rtu|tcp SEED SHARE LATE_MS]\n";
        return 2;
    }
    Server server;
    if (!(road == "rtu" ? server.openLine() : server.openPort())) {
        std::cerr << "server: " << modbus_strerror(errno) << "\n";
        return 1;
    }
    if (argc == 5)
        server.serve(static_cast<std::uint32_t>(std::stoul(argv[2])), std::stod(argv[3]),
                     static_cast<unsigned int>(std::stoul(argv[4])));
    else
        server.serve(0, 0, 0);
    return 0;
}
