/// @file
/// The test kit for authors of drivers: one include for all of it.
#ifndef TESTKIT_TESTKIT_H
#define TESTKIT_TESTKIT_H

#include "testkit/answering_channel.h"
#include "testkit/driver_trial.h"
#include "testkit/faulty_channel.h"
#include "testkit/scripted_channel.h"
#include "testkit/simulated_device.h"
#include "testkit/tcp_service.h"
#include "testkit/transcript_channel.h"
#include "testkit/wire_faults.h"

#endif
