#include "testkit/tcp_service.h"

#include "testkit/simulated_device.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

// @return the port; -1 when it cannot be had
int listenOn(int listener, int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    socklen_t length = sizeof address;
    sockaddr *name = reinterpret_cast<sockaddr *>(&address);
    const int reuse = 1; // of a port that a program has just left
    if (listener < 0 ||
        ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse) != 0 ||
        ::bind(listener, name, length) != 0 || ::listen(listener, 1) != 0 ||
        ::getsockname(listener, name, &length) != 0)
        return -1;
    return ntohs(address.sin_port);
}

void serveClient(SimulatedDevice &device, int client)
{
    char bytes[1024];
    ssize_t count = 0;
    while ((count = ::recv(client, bytes, sizeof bytes, 0)) > 0) {
        const QByteArray reply = device.receive(QByteArray(bytes, static_cast<int>(count)));
        ::send(client, reply.constData(), static_cast<size_t>(reply.size()), MSG_NOSIGNAL);
    }
    ::close(client);
}

} // namespace

int serveOverTcp(SimulatedDevice &device, int port)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    const int found = listenOn(listener, port);
    if (found < 0) {
        static_cast<void>(
            std::fprintf(stderr, "cannot serve TCP port %d of 127.0.0.1: %s; give another port\n",
                         port, std::strerror(errno)));
        return 1;
    }
    std::printf("tcp 127.0.0.1:%d\n", found);
    static_cast<void>(std::fflush(stdout));
    for (;;) {
        const int client = ::accept(listener, 0, 0);
        if (client >= 0)
            serveClient(device, client);
    }
}
