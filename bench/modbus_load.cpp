// Makes read requests with libmodbus' RTU client. Arguments: port, registers per request, requests.
#include <modbus.h>

#include <cerrno>
#include <cstdint>
#include <iostream>
#include <string>

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::cerr << "usage: " << argv[0] << " PORT REGISTERS REQUESTS\n";
        return 2;
    }
    const int registers = std::stoi(argv[2]);
    const int requests = std::stoi(argv[3]);
    std::uint16_t values[MODBUS_MAX_READ_REGISTERS] = {};
    modbus_t *client = modbus_new_rtu(argv[1], 115200, 'N', 8, 1);
    bool good = client && modbus_set_slave(client, 1) == 0 && modbus_connect(client) == 0;
    for (int i = 0; good && i < requests; ++i)
        good = modbus_read_registers(client, 100, registers, values) == registers;
    if (!good)
        std::cerr << "request failed: " << modbus_strerror(errno) << "\n";
    if (client) {
        modbus_close(client);
        modbus_free(client);
    }
    return good ? 0 : 1;
}
