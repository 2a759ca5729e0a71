#include "watches/AddChannelWatchLogic.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/KeyedListModel.h"

namespace telmon {

namespace {

QString EntryText(const QString& id, const QString& name) {
  return id + QStringLiteral(": ") + TrimBlanks(name);
}

void ReportParseFailure(Prompter& prompter, const QString& title, long number,
                        const QString& description) {
  prompter.Show(
      QStringLiteral("TELM-0042: ") + QString::number(number) + QStringLiteral(", ") + description,
      title, PromptIcon::Exclamation);
}

}  // namespace

ChannelListEntries BuildChannelListEntries(const ChannelConfigInfoManager& configs,
                                           const BlockListviewManager* blocks, bool showAll,
                                           std::size_t limit) {
  std::function<bool(std::int32_t)> listed;
  if (blocks != nullptr) {
    listed = [blocks](std::int32_t block) {
      return !blocks->IsHDRBlock(block) && !blocks->IsBlockDisabled(block);
    };
  }
  return BuildChannelListEntriesByBlock(configs, listed, showAll, limit);
}

ChannelListEntries BuildChannelListEntriesByBlock(
    const ChannelConfigInfoManager& configs, const std::function<bool(std::int32_t)>& blockListed,
    bool showAll, std::size_t limit) {
  ChannelListEntries result;
  result.entries.reserve(std::min(configs.Count(), limit));
  std::int32_t verdictBlock = 0;
  bool listed = true;
  for (const auto& record : configs.NewEnum()) {
    QString id = record->Key;
    id.remove(QLatin1Char('C'));
    const std::optional<std::int32_t> number = ToInt32(id);
    if (!number) {
      continue;  // an entry carries its channel ID as a number
    }
    if (!showAll && blockListed && record->BlockID != 0 && record->BlockID != verdictBlock) {
      verdictBlock = record->BlockID;
      listed = blockListed(verdictBlock);
    }
    if (!showAll && !listed) {
      continue;
    }
    if (result.entries.size() >= limit) {
      result.truncated = true;
      break;
    }
    result.entries.push_back(ListEntry{EntryText(id, record->Name), *number});
  }
  return result;
}

std::vector<ListEntry> BuildBlockListEntries(KeyedListModel& blocks) {
  std::vector<ListEntry> entries;
  for (int i = 0; i < blocks.RowCount(); ++i) {
    const KeyedListModel::RowRef row = blocks.RowAt(i);
    const QString id = blocks.Text(row);
    const std::optional<std::int32_t> number = ToInt32(id);
    if (!number || blocks.Key(row).isEmpty()) {
      continue;  // the placeholder row
    }
    entries.push_back(
        ListEntry{EntryText(id, blocks.SubItem(row, BlockListviewManager::ColName)), *number});
  }
  return entries;
}

QString JoinIds(const std::vector<std::int32_t>& ids) { return JoinIdList(ids, QLatin1Char(';')); }

std::optional<IdList> TypedIdsToIds(const QString& text, Prompter& prompter, const QString& title,
                                    std::int64_t maxIds) {
  TypedChannelIds parsed = ParseTypedChannelIds(text, maxIds);
  switch (parsed.status) {
    case TypedChannelIds::Status::Invalid:
      prompter.Show(QStringLiteral("'") + parsed.invalidPiece + QStringLiteral("' is not valid."),
                    title, PromptIcon::Exclamation);
      return std::nullopt;
    case TypedChannelIds::Status::Overflow:
      ReportParseFailure(prompter, title, ErrorNumber::Overflow, QStringLiteral("Overflow"));
      return std::nullopt;
    case TypedChannelIds::Status::Ok:
    case TypedChannelIds::Status::TooMany:
      break;
  }
  if (parsed.count > kConfirmTypedChannelIdsAbove) {
    // The count asked about is one less than the IDs collected; operators know it so.
    const QString question = QStringLiteral("Are you sure you want to add ") +
                             QString::number(parsed.count - 1) + QStringLiteral(" channels?");
    if (prompter.Ask({question, title, PromptIcon::Exclamation, PromptButtons::YesNo,
                      std::nullopt}) != PromptAnswer::Yes) {
      return std::nullopt;
    }
  }
  if (parsed.status == TypedChannelIds::Status::TooMany) {
    ReportParseFailure(prompter, title, ErrorNumber::OutOfMemory, QStringLiteral("Out of memory"));
    return std::nullopt;
  }
  return std::move(parsed.ids);
}

}  // namespace telmon
