#pragma once

// The Blocks page: one row per address block, kept current by "BlockUpdate" events, in the
// order in which each block first appeared. It also answers whether a block is an HDR block or
// disabled, from what its row shows.

#include "views/ListviewManagerBase.h"

#include <cstdint>

namespace telmon {

class BlockListviewManager final : public ListviewManagerBase {
 public:
  static constexpr char Placeholder[] = "(no block information)";
  enum Column {
    ColID,
    ColName,
    ColDevice,
    ColDataType,
    ColAddress,
    ColSize,
    ColRefreshInterval,
    ColFastReadEnabled,
    ColDisabled,
    ColImplicitChannelID,
    ColHDR,
    ColContainsWatchdog,
    ColFailCount,
    ColLastReadTime,
    ColLastResponseTime,
    ColMinResponseTime,
    ColMaxResponseTime,
    ColRandom,
    ColumnCount
  };

  BlockListviewManager();

  void UpdateOneItemInLsv(xml::XmlElement event) override;
  // False for a block not on the page or whose cell is not a Boolean.
  bool IsHDRBlock(std::int32_t blockId) const;
  bool IsBlockDisabled(std::int32_t blockId) const;

 private:
  QString GetBlockSubItemText(std::int32_t blockId, int column) const;
};

}  // namespace telmon
