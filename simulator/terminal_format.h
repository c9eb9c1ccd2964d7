/// The settings that a client has given its end of a pseudo-terminal.
#ifndef SIMULATOR_TERMINAL_FORMAT_H
#define SIMULATOR_TERMINAL_FORMAT_H

#include "simulator/wire_format.h"

/// Reads speed, stop bits and whether the parity is odd. A pseudo-terminal shows nothing else: its
/// data bits are always 8, and no and even parity look alike. Those are taken to be as in @p own.
/// @param master the other end of the pseudo-terminal
/// @param own    the PLC's settings; also the result when the system gives none
WireFormat terminalFormat(int master, const WireFormat &own);

#endif
