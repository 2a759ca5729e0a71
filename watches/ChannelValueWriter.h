#pragma once

// Channel values written as "WriteToChannel" command records through the site database's
// command-record operation. A failed record is reported once (TELM-0036) and nothing is retried.
//
// Many records at once go in transactions of up to BatchSize records: a transaction that fails
// is rolled back as a whole, so none of its records is stored, and its records are then written
// one transaction each. Every record thus ends up stored exactly once or reported exactly once,
// and a single bad record costs only its own batch the speed of the grouped path.

#include "journal/IOperationJournal.h"
#include "util/IRaiseMsg.h"
#include "watches/IChannelValueWriter.h"

#include <functional>

namespace telmon {

class H5DBIL;

class ChannelValueWriter final : public IChannelValueWriter {
 public:
  static constexpr std::size_t BatchSize = 5000;

  ChannelValueWriter(H5DBIL& dbil, IRaiseMsg& sink);

  bool WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                               const Value& value) override;
  std::vector<bool> WriteChannelValueRecords(const QString& callerCode,
                                             const std::vector<ChannelValue>& items,
                                             const QString& operation) override;

  // "TELM-0036: Could not write msg record to change channel value (<id>=<value>)".
  static QString FailureText(std::int32_t channelId, const Value& value);

  // Journals each single record ("WriteToChannel"), and each group of records as one entry of
  // the caller's operation with the count and the channel IDs, each with its real outcome.
  // `channelName` gives a channel's configured name (empty when unknown).
  void SetJournal(IOperationJournal* journal,
                  std::function<QString(std::int32_t)> channelName = {});

 private:
  // Items [begin, end) that have a value, grouped; the results go into `written`, and the first
  // record's text into an empty `firstRecord`.
  void WriteBatch(const QString& callerCode, const std::vector<ChannelValue>& items,
                  std::size_t begin, std::size_t end, std::vector<bool>& written,
                  QString& firstRecord);

  QString ChannelTarget(std::int32_t channelId) const;
  // A record without journaling; the grouped path falls back to it. `record` receives the
  // record's text when one could be made.
  bool WriteOne(const QString& callerCode, std::int32_t channelId, const Value& value,
                QString* record = nullptr);
  void JournalOne(std::int32_t channelId, const Value& value, const QString& record, bool written);
  void JournalGroup(const QString& operation, const std::vector<ChannelValue>& items,
                    const std::vector<bool>& written, const QString& firstRecord);

  H5DBIL& dbil_;
  IRaiseMsg& sink_;
  IOperationJournal* journal_ = nullptr;
  std::function<QString(std::int32_t)> channelName_;
};

}  // namespace telmon
