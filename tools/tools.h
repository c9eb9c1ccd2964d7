/// @file
/// The tools library for drivers: one include for all of its free functions.
#ifndef TOOLS_TOOLS_H
#define TOOLS_TOOLS_H

#include "tools/bit_array.h"
#include "tools/byte_order.h"
#include "tools/checksum.h"
#include "tools/command.h"
#include "tools/data_pack.h"
#include "tools/host_environment.h"
#include "tools/link_database.h"
#include "tools/plc_address.h"

#endif
