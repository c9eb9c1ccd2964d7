/// @file
/// A simulated device that programs reach over TCP.
#ifndef TESTKIT_TCP_SERVICE_H
#define TESTKIT_TCP_SERVICE_H

class SimulatedDevice;

/// Serves a device on 127.0.0.1, one client after the other, until the program is ended. When
/// clients can come, it prints "tcp 127.0.0.1:PORT" and a line end to stdout.
/// @param device answers the clients
/// @param port   0 to 65535; 0 for one that is free
/// @return 1 when the port cannot be had, with a text on stderr; else it does not return
int serveOverTcp(SimulatedDevice &device, int port);

#endif
