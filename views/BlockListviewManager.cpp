#include "views/BlockListviewManager.h"

#include "util/TextConversionFunctions.h"

#include <array>

namespace telmon {

namespace {

using B = BlockListviewManager;

const std::array<ListColumn, B::ColumnCount> kColumns = {{
    {QStringLiteral("ID"), 700, Qt::AlignLeft, QStringLiteral("ID")},
    {QStringLiteral("Name"), 2200, Qt::AlignLeft, {}},
    {QStringLiteral("Device"), 700, Qt::AlignRight, {}},
    {QStringLiteral("DataType"), 1900, Qt::AlignLeft, {}},
    {QStringLiteral("Address"), 2000, Qt::AlignLeft, {}},
    {QStringLiteral("Size"), 700, Qt::AlignRight, {}},
    {QStringLiteral("Refresh Interval"), 500, Qt::AlignRight, {}},
    {QStringLiteral("Fast Read Enabled"), 500, Qt::AlignLeft, {}},
    {QStringLiteral("Disabled"), 600, Qt::AlignLeft, {}},
    {QStringLiteral("Implicit Channel ID"), 1000, Qt::AlignLeft, {}},
    {QStringLiteral("HDR"), 600, Qt::AlignLeft, {}},
    {QStringLiteral("Contains Watchdog"), 700, Qt::AlignLeft, {}},
    {QStringLiteral("Fail Count"), 600, Qt::AlignRight, {}},
    {QStringLiteral("Last Read Time"), 1800, Qt::AlignRight, {}},
    {QStringLiteral("Last Response Time"), 650, Qt::AlignRight, {}},
    {QStringLiteral("Min Response Time"), 650, Qt::AlignRight, {}},
    {QStringLiteral("Max Response Time"), 650, Qt::AlignRight, {}},
    {QStringLiteral("Random"), 600, Qt::AlignLeft, {}},
}};

// The column of each attribute, in the order of BlockEvent::Attribute; the response times are
// written maximum before minimum.
constexpr std::array<int, BlockEvent::AttributeCount> kCellColumns = {B::ColName,
                                                                      B::ColDevice,
                                                                      B::ColDataType,
                                                                      B::ColAddress,
                                                                      B::ColSize,
                                                                      B::ColRefreshInterval,
                                                                      B::ColFastReadEnabled,
                                                                      B::ColDisabled,
                                                                      B::ColImplicitChannelID,
                                                                      B::ColHDR,
                                                                      B::ColContainsWatchdog,
                                                                      B::ColFailCount,
                                                                      B::ColLastReadTime,
                                                                      B::ColLastResponseTime,
                                                                      B::ColMaxResponseTime,
                                                                      B::ColMinResponseTime,
                                                                      B::ColRandom};

// Grey for disabled, red for failing (even when disabled), blue for random values only when
// neither applies.
ColorRef BlockColor(const BlockEvent& event) {
  ColorRef color = Colors::WindowText;
  if (event.disabled == std::optional<bool>(true)) {
    color = Colors::LightGrey;
  }
  if (event.failCount.value_or(0.0) > 0.0) {
    color = Colors::Red;
  }
  if (event.random == std::optional<bool>(true) && color == Colors::WindowText) {
    color = Colors::Blue;
  }
  return color;
}

constexpr bool IsBooleanCell(std::size_t i) {
  return i == BlockEvent::Disabled || i == BlockEvent::IsHDRBlock ||
         i == BlockEvent::ContainsWatchdog || i == BlockEvent::DeviceIsGenRandomValues;
}

}  // namespace

BlockListviewManager::BlockListviewManager()
    : ListviewManagerBase(PageTraits{kColumns, Placeholder, false,
                                     "//Event[@eventtype=\"BlockUpdate\"]", "TELM-00046",
                                     "BlockID"}) {}

void BlockListviewManager::UpdateOneItemInLsv(xml::XmlElement event) {
  if (lsv_ == nullptr) {
    return;
  }
  Apply(BlockEvent::Parse(event));
}

const BlockRecord* BlockListviewManager::Apply(const BlockEvent& event) {
  if (lsv_ == nullptr) {
    return nullptr;
  }
  Show(event);
  return plant_->Apply(event);
}

void BlockListviewManager::Show(const BlockEvent& event) {
  KeyedListModel::Batch batch(*lsv_);
  const RowRef row = PrepareRow(event.Attributes(), BlockEvent::IdIndex);
  const xml::AttributeTable& attributes = event.Attributes();
  for (std::size_t i = 0; i < kCellColumns.size(); ++i) {
    if (const std::optional<bool> flag = event.BooleanOf(static_cast<BlockEvent::Attribute>(i))) {
      lsv_->SetSubItem(row, kCellColumns[i], BooleanText(*flag));
    } else if (!IsBooleanCell(i)) {
      WriteText(row, kCellColumns[i], attributes, i);
    }
  }
  ApplyColor(row, BlockColor(event));
}

bool BlockListviewManager::IsHDRBlock(std::int32_t blockId) const {
  const BlockRecord* block = plant_->Block(blockId);
  return block != nullptr && block->hdr.value_or(false);
}

bool BlockListviewManager::IsBlockDisabled(std::int32_t blockId) const {
  const BlockRecord* block = plant_->Block(blockId);
  return block != nullptr && block->disabled.value_or(false);
}

}  // namespace telmon
