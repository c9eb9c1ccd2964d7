// Makes requests through the driver alone, over a channel in memory, for counting instructions.
// Arguments: words|spread|bits|timers|spreadtimers|write|writebits, items per request, requests.
#include "bench/ready_channel.h"
#include "bench/requests.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include <iostream>
#include <string>

int main(int argc, char **argv)
{
    const RequestKind *kind = argc == 4 ? findRequestKind(argv[1]) : nullptr;
    if (!kind) {
        std::cerr << "usage: " << argv[0]
                  << " words|spread|bits|timers|spreadtimers|write|writebits ITEMS REQUESTS\n";
        return 2;
    }
    const int items = std::stoi(argv[2]);
    ReadyChannel channel(readyReply(*kind, items));
    DriverKV_L20V_HostLink driver;
    return makeRequests(&driver, &channel, RepeatedRequest(*kind, items), std::stoi(argv[3])) ? 0
                                                                                              : 1;
}
