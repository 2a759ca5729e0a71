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

struct Cell {
  int column;
  const char* attribute;
  bool boolean;
};
// Applied in this order; the response times are written maximum before minimum.
constexpr std::array<Cell, 17> kCells = {{
    {B::ColName, "BlockName", false},
    {B::ColDevice, "DeviceID", false},
    {B::ColDataType, "DataTypeName", false},
    {B::ColAddress, "DataAddress", false},
    {B::ColSize, "DataQty", false},
    {B::ColRefreshInterval, "RefreshInterval", false},
    {B::ColFastReadEnabled, "FastReadEnabled", false},
    {B::ColDisabled, "Disabled", true},
    {B::ColImplicitChannelID, "ImplicitChannelID", false},
    {B::ColHDR, "IsHDRBlock", true},
    {B::ColContainsWatchdog, "ContainsWatchdog", true},
    {B::ColFailCount, "FailCount", false},
    {B::ColLastReadTime, "LastReadTime", false},
    {B::ColLastResponseTime, "LastResponseTime", false},
    {B::ColMaxResponseTime, "MaxResponseTime", false},
    {B::ColMinResponseTime, "MinResponseTime", false},
    {B::ColRandom, "DeviceIsGenRandomValues", true},
}};

// Every cell's attribute name, in the order of kCells.
constexpr std::array<const char*, kCells.size()> CellAttributes() {
  std::array<const char*, kCells.size()> names{};
  for (std::size_t i = 0; i < kCells.size(); ++i) {
    names[i] = kCells[i].attribute;
  }
  return names;
}
constexpr std::array<const char*, kCells.size()> kCellAttributes = CellAttributes();

constexpr std::size_t CellIndex(int column) {
  for (std::size_t i = 0; i < kCells.size(); ++i) {
    if (kCells[i].column == column) {
      return i;
    }
  }
  return kCells.size();
}

// The cells the row colour is worked out from, found once.
constexpr std::size_t kDisabledCell = CellIndex(B::ColDisabled);
constexpr std::size_t kFailCountCell = CellIndex(B::ColFailCount);
constexpr std::size_t kRandomCell = CellIndex(B::ColRandom);
static_assert(kDisabledCell < kCells.size() && kFailCountCell < kCells.size() &&
              kRandomCell < kCells.size());

// Grey for disabled, red for failing (even when disabled), blue for random values only when
// neither applies.
ColorRef BlockColor(std::optional<bool> disabled, const QString& failCount,
                    std::optional<bool> random) {
  ColorRef color = Colors::WindowText;
  if (disabled == std::optional<bool>(true)) {
    color = Colors::LightGrey;
  }
  if (ToDouble(failCount).value_or(0.0) > 0.0) {
    color = Colors::Red;
  }
  if (random == std::optional<bool>(true) && color == Colors::WindowText) {
    color = Colors::Blue;
  }
  return color;
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
  KeyedListModel::Batch batch(*lsv_);
  const RowRef row = PrepareRow(event);
  const xml::AttributeTable attributes(event, kCellAttributes);
  std::array<std::optional<bool>, kCells.size()> booleans{};
  for (std::size_t i = 0; i < kCells.size(); ++i) {
    if (kCells[i].boolean) {
      booleans[i] = WriteBoolean(row, kCells[i].column, attributes, i);
    } else {
      WriteText(row, kCells[i].column, attributes, i);
    }
  }
  ApplyColor(row, BlockColor(booleans[kDisabledCell], attributes.Text(kFailCountCell),
                             booleans[kRandomCell]));
}

bool BlockListviewManager::IsHDRBlock(std::int32_t blockId) const {
  return ToBoolean(GetBlockSubItemText(blockId, ColHDR)).value_or(false);
}

bool BlockListviewManager::IsBlockDisabled(std::int32_t blockId) const {
  return ToBoolean(GetBlockSubItemText(blockId, ColDisabled)).value_or(false);
}

QString BlockListviewManager::GetBlockSubItemText(std::int32_t blockId, int column) const {
  const RowRef row = FindRowForId(QString::number(blockId));
  return row == nullptr ? QString() : lsv_->SubItem(row, column);
}

}  // namespace telmon
