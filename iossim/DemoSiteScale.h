#pragma once

// A bigger demo plant, for measuring the monitor on a site of a real plant's size: extra
// blocks spread over the demo's devices (each on its device's queue) and extra analog
// channels spread over those blocks, each with a name, an address and a scaling.

#include "iossim/SimConfig.h"

namespace telmon::iossim {

struct DemoScale {
  int channels = 0;  // channels of each DAHS in all; fewer than the demo's own adds none
  int blocks = 0;    // blocks of each DAHS in all, likewise
};

SimConfig ScaleUpDemoConfig(SimConfig config, const DemoScale& scale);

}  // namespace telmon::iossim
