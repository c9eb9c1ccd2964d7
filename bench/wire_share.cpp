// Reads words over a paced line and prints how much longer a request takes than its characters do,
// as the median of all requests: 1 is a driver that costs no time. Arguments: port, baud rate,
// words, requests.
#include "bench/requests.h"
#include "bench/serial_line.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace
{

// Start bit, 8 data bits, parity bit and stop bit.
const int BITS_PER_CHARACTER = 11;

bool measure(CountingChannel *channel, int baud, int words, int requests)
{
    DriverKV_L20V_HostLink driver;
    const RepeatedRequest request(*findRequestKind("words"), words);
    if (!makeRequests(&driver, channel, request, 1))
        return false;
    std::vector<double> shares;
    for (int i = 0; i < requests; ++i) {
        const long long before = channel->characters();
        QElapsedTimer time;
        time.start();
        if (!makeRequests(&driver, channel, request, 1))
            return false;
        const double seconds = static_cast<double>(time.nsecsElapsed()) * 1e-9;
        const long long bits = (channel->characters() - before) * BITS_PER_CHARACTER;
        shares.push_back(seconds * baud / static_cast<double>(bits));
    }
    std::sort(shares.begin(), shares.end());
    std::printf("%.4f\n", shares.at(shares.size() / 2));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const int requests = argc == 5 ? std::stoi(argv[4]) : 0;
    if (requests < 1) {
        std::cerr << "usage: " << argv[0] << " PORT BAUD WORDS REQUESTS\n";
        return 2;
    }
    SerialLine line;
    return line.open(argv[1]) &&
                   measure(line.channel(), std::stoi(argv[2]), std::stoi(argv[3]), requests)
               ? 0
               : 1;
}
