#pragma once

// The plant of one demo DAHS: a process PLC, a redundant pair of CEMS controllers with
// historical data, serial opacity and flow monitors, an ammonia analyzer (broken on unit 1)
// and a data logger, with their queues, blocks and a few hundred channels.

#include "iossim/SimConfig.h"

namespace telmon::iossim {

SimConfig DemoUnitConfig(int dahsId);

}  // namespace telmon::iossim
