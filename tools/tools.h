/// @file
/// The tools library for drivers: one include for the unit `tools`. The CRC steps (lib_crc.h), the
/// frame builder (txpackage.h) and the settings records (drv_dev_setting.h) have headers of their
/// own.
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
