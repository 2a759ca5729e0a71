#pragma once

// Channel values written as "WriteToChannel" command records through the site database's
// command-record operation. A failed record is reported once (TELM-0036) and nothing is retried.
//
// Many records at once go in transactions of up to BatchSize records; a transaction that fails
// is rolled back as a whole, so none of its records is stored. When the database refused a
// statement, the batch is halved and each half written again, down to the one record that is
// refused, which costs a bad record a few transactions rather than one per record. When the
// database could not be reached, the batch is tried once more (a commit whose answer was lost
// is recognised by its write key, never written twice); if that fails too, every record left
// in the write is reported without touching the database again. Every record thus ends up
// stored exactly once or reported exactly once.
//
// With a worker set, grouped writes run on the worker's thread: failures, progress and the
// closing note come back in order, and Cancel stops the write between batches.

#include "journal/IOperationJournal.h"
#include "util/IRaiseMsg.h"
#include "watches/IChannelValueWriter.h"

#include <atomic>
#include <functional>
#include <memory>

class QObject;

namespace telmon {

class DatabaseWorker;
class H5DBIL;

// The grouped write itself, on whatever thread owns `dbil`. `report` gets each failure text
// in item order (per batch); `progress` the count of items dealt with after each batch;
// `cancel` (may be null) is read between batches. Writes nothing twice and touches the
// database no more once it proved unreachable.
ChannelWriteOutcome WriteRecordBatches(H5DBIL& dbil, const QString& callerCode,
                                       const std::vector<ChannelValue>& items,
                                       const std::function<void(const QString&)>& report,
                                       const std::function<void(std::size_t)>& progress,
                                       const std::atomic<bool>* cancel, std::size_t batchSize);

class ChannelValueWriter final : public IChannelValueWriter {
 public:
  static constexpr std::size_t BatchSize = 5000;

  ChannelValueWriter(H5DBIL& dbil, IRaiseMsg& sink);

  bool WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                               const Value& value) override;
  std::vector<bool> WriteChannelValueRecords(const QString& callerCode,
                                             const std::vector<ChannelValue>& items,
                                             const QString& operation) override;
  void WriteChannelValueRecordsThen(const QString& callerCode, std::vector<ChannelValue> items,
                                    const QString& operation,
                                    std::function<void(const ChannelWriteOutcome&)> done) override;

  // Grouped writes go to `worker` (null: they run in place, as in the tests); `progress` (may
  // be null) shows them. Both must outlive the writer or be unset first.
  void SetWorker(DatabaseWorker* worker, IWriteProgress* progress);

  // "TELM-9010: <n> of <total> records written, <m> not written." after a grouped write that
  // could not write all of them; "TELM-9011: Write cancelled: ..." after one cancelled.
  static QString ClosingNote(const ChannelWriteOutcome& outcome, std::size_t total);

  // "TELM-0036: Could not write msg record to change channel value (<id>=<value>)".
  static QString FailureText(std::int32_t channelId, const Value& value);

  // Journals each single record ("WriteToChannel"), and each group of records as one entry of
  // the caller's operation with the count and the channel IDs, each with its real outcome.
  // `channelName` gives a channel's configured name (empty when unknown).
  void SetJournal(IOperationJournal* journal,
                  std::function<QString(std::int32_t)> channelName = {});
  // A channel's value as the last update showed it (empty when not watched), journaled as
  // what the channel had before a write.
  void SetPreviousValues(std::function<QString(std::int32_t)> previousValue);

 private:
  void Finish(const QString& operation, const QString& previous,
              const std::vector<ChannelValue>& items, const ChannelWriteOutcome& outcome);
  // The channels' value before a write, for its journal entry: the one value they all showed,
  // "(several values)", or empty when unknown.
  QString PreviousOf(const std::vector<ChannelValue>& items) const;

  QString ChannelTarget(std::int32_t channelId) const;
  // One record in a transaction of its own, without journaling; `record` receives the record's
  // text when one could be made.
  bool WriteOne(const QString& callerCode, std::int32_t channelId, const Value& value,
                QString* record = nullptr);
  void JournalOne(std::int32_t channelId, const Value& value, const QString& record, bool written,
                  const QString& previous);
  // The group as one entry of the caller's `operation` (empty: "WriteToChannel (group)").
  void JournalGroup(const QString& operation, const std::vector<ChannelValue>& items,
                    const std::vector<bool>& written, const QString& previous);

  H5DBIL& dbil_;
  IRaiseMsg& sink_;
  IOperationJournal* journal_ = nullptr;
  std::function<QString(std::int32_t)> channelName_;
  std::function<QString(std::int32_t)> previousValue_;
  DatabaseWorker* worker_ = nullptr;
  IWriteProgress* progress_ = nullptr;
  // Results of the worker's writes are dropped once the writer is gone.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace telmon
