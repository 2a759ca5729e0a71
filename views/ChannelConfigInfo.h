#pragma once

// The configuration of one channel as the IOS last described it.

#include <QString>

#include <cstdint>
#include <optional>

namespace telmon {

struct ChannelConfigInfo {
  QString Key;                     // "<ID>C" for a numeric ID, else the ID as sent
  std::optional<std::int32_t> ID;  // the ID as a 32-bit integer, when it is one
  QString Name;
  std::int32_t DeviceID = 0;
  std::int32_t BlockID = 0;
  QString Address;
  QString Scaling;
  QString OtherInfo;
  QString DataSource;
  QString OscillationMin;
  QString OscillationMax;
  QString OscillationPeriod;
};

}  // namespace telmon
