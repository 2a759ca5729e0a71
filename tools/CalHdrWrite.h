#pragma once

// The "Write" step of the cal HDR tools: with edit mode on, writes a value into every
// calibration history channel of the site whose keyword has a rule, as channel write records
// under the caller code "TELM-0063", and tells the operator how many channels were written.

#include "tools/CalHdrChannelList.h"
#include "views/ChannelConfigInfoManager.h"

#include <QString>

#include <optional>

namespace telmon {

class IChannelValueWriter;
class IClock;
class IEditGate;
class IRaiseMsg;
class Prompter;

struct CalHdrWriteServices {
  IEditGate& edit;
  IChannelValueWriter& writer;
  IRaiseMsg& sink;
  Prompter& prompter;
  const IClock& clock;
  QString appTitle;
};

inline constexpr char CalHdrCallerCode[] = "TELM-0063";

// Returns the number of channels written, or empty when the write did not run to its end (edit
// mode refused, no spans, or an error, which is reported as TELM-0065 while the spans are read
// and TELM-0066 while the channels are written; channels written before it stay written).
std::optional<int> WriteCalHdrChannels(const CalHdrGrid& grid,
                                       const ChannelConfigInfoManager::Records& channels,
                                       const CalHdrWriteServices& services);

}  // namespace telmon
