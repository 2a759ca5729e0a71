#pragma once

// The Blocks page: one row per address block, kept current by "BlockUpdate" events, in the
// order in which each block first appeared. It also answers whether a block is an HDR block or
// disabled, from the plant state its events went into.

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
  // One event already read: into the plant state, then onto the page.
  const BlockRecord* Apply(const BlockEvent& event);
  // False for a block not on the page or never reported with a Boolean.
  bool IsHDRBlock(std::int32_t blockId) const;
  bool IsBlockDisabled(std::int32_t blockId) const;

 private:
  void Show(const BlockEvent& event);
  void ClearPlant() override { plant_->ClearBlocks(); }
};

}  // namespace telmon
