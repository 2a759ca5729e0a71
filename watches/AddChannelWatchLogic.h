#pragma once

// What the add-channel dialog decides, without its widgets: the entries of its channel and
// block lists, and the typed-ID text turned into IDs with the operator's questions.

#include "platform/Prompter.h"
#include "views/ChannelIdList.h"
#include "watches/TypedChannelIds.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace telmon {

class BlockListviewManager;
class ChannelConfigInfoManager;
class KeyedListModel;

// The most entries a channel list holds.
inline constexpr std::size_t kChannelListLimit = 32767;
// Typed IDs above this count are refused even when the operator confirms them: the ID list
// and the watch rows they would become could not be held.
inline constexpr std::int64_t kMaxTypedChannelIds = 1000000;
// More typed IDs than this need the operator's confirmation.
inline constexpr std::int64_t kConfirmTypedChannelIdsAbove = 201;

struct ListEntry {
  QString text;
  std::int32_t id = 0;
};

struct ChannelListEntries {
  std::vector<ListEntry> entries;
  bool truncated = false;  // the limit was reached and later channels left out
};

// The channel list: "<ID>: <name>" per configuration record, in record order. Unless
// showAll, channels of HDR and disabled blocks are left out; each block is asked once per
// run of records in it, and records before the first valid block are listed.
ChannelListEntries BuildChannelListEntries(const ChannelConfigInfoManager& configs,
                                           const BlockListviewManager* blocks, bool showAll,
                                           std::size_t limit = kChannelListLimit);
// The same with the block question given as a function: true when the block's channels are
// listed. It is asked once per run of records in one block; an empty function lists them all.
ChannelListEntries BuildChannelListEntriesByBlock(
    const ChannelConfigInfoManager& configs, const std::function<bool(std::int32_t)>& blockListed,
    bool showAll, std::size_t limit = kChannelListLimit);

// The block list: "<ID>: <name>" per row of the Blocks page, in page order.
std::vector<ListEntry> BuildBlockListEntries(KeyedListModel& blocks);

// The IDs joined by ";".
QString JoinIds(const std::vector<std::int32_t>& ids);

// The typed text's IDs, or none when a piece is not valid, the operator says No to a large
// count, or the count cannot be held; each case has told the operator.
std::optional<IdList> TypedIdsToIds(const QString& text, Prompter& prompter, const QString& title,
                                    std::int64_t maxIds = kMaxTypedChannelIds);

}  // namespace telmon
