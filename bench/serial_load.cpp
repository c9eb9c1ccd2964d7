// Makes requests through the driver and a serial port, for counting instructions and system calls.
// Arguments: port, words|bits|timers|write|writebits, items per request, requests.
#include "bench/requests.h"
#include "bench/serial_line.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include <QtCore/QCoreApplication>

#include <iostream>
#include <string>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const RequestKind *kind = argc == 5 ? findRequestKind(argv[2]) : nullptr;
    if (!kind) {
        std::cerr << "usage: " << argv[0]
                  << " PORT words|bits|timers|write|writebits ITEMS REQUESTS\n";
        return 2;
    }
    SerialLine line;
    if (!line.open(argv[1]))
        return 1;
    DriverKV_L20V_HostLink driver;
    const RepeatedRequest request(*kind, std::stoi(argv[3]));
    return makeRequests(&driver, line.channel(), request, std::stoi(argv[4])) ? 0 : 1;
}
