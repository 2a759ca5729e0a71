#pragma once

// The "Load List" step of the cal HDR tools: finds the groups of calibration history channels
// among the configured channels, narrows each group to the leading words its channel names
// share, and proposes a span for each group from the gas its name mentions.

#include "views/ChannelConfigInfoManager.h"

#include <QString>

#include <array>
#include <cstddef>

namespace telmon {

class IRaiseMsg;

// One row of the frame's grid: a channel-name prefix and its span, both as typed.
struct CalHdrRow {
  QString prefix;
  QString span;
  friend bool operator==(const CalHdrRow&, const CalHdrRow&) = default;
};

inline constexpr std::size_t CalHdrRowCount = 16;
using CalHdrGrid = std::array<CalHdrRow, CalHdrRowCount>;

// The address without its last two dot-separated parts ("A.B.C.D" gives "A.B"); empty when the
// address has fewer than two dots.
QString AddressPrefix(const QString& address);
// The part after the last dot; empty when there is none.
QString AddressKeyword(const QString& address);
// The words both texts start with (split at single blanks, compared ignoring case), taken
// from `a` and joined with single blanks.
QString CommonLeadingWords(const QString& a, const QString& b);
// The span proposed for a group of channels whose names start with `namePrefix`.
QString EstimatedSpan(const QString& namePrefix);
// True for an address of a calibration history channel ("CalHistory" or
// "CemsInfoHistoryCal", any case).
bool IsCalHistoryAddress(const QString& address);

// Clears the grid and fills it from row 0 with one row per group of cal HDR channels, in the
// order the groups were first met; groups beyond the last row are left out. A channel whose
// name shares no leading word with its group's prefix is reported as TELM-0060 and does not
// narrow the prefix. An unexpected failure is reported as TELM-0061; the grid then keeps what
// was filled so far.
void LoadCalHdrList(const ChannelConfigInfoManager::Records& channels, IRaiseMsg& sink,
                    CalHdrGrid& grid);

}  // namespace telmon
