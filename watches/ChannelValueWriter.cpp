#include "watches/ChannelValueWriter.h"

#include "ioslink/IosCommands.h"
#include "platform/DatabaseWorker.h"
#include "platform/H5DBIL.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "watches/EnteredValue.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace telmon {

namespace {

// The stored command is read back by the server as XML: text that no document can carry is
// refused rather than stored unreadable.
bool Storable(const Value& value) {
  return value.kind() != Value::Kind::Text || IosCommands::CanCarryInAttribute(value.text());
}

const QString kNoRecord = QStringLiteral("(no record: the value cannot be written)");

QString RecordText(std::int32_t channelId, const Value& value) {
  try {
    return IosCommands::WriteToChannel(channelId, value);
  } catch (...) {
    return kNoRecord;
  }
}

// What one journal entry says of a group of records.
struct GroupSummary {
  QString ids;  // "5, 6, 99"
  qsizetype count = 0;
  std::size_t failed = 0;
  const ChannelValue* first = nullptr;
  bool oneValue = true;
};

// The items that have a value; those written go into `channels` with their value texts.
GroupSummary Summarize(const std::vector<ChannelValue>& items, const std::vector<bool>& written,
                       std::vector<JournalChannelWrite>& channels) {
  GroupSummary group;
  group.ids.reserve(static_cast<qsizetype>(items.size()) * 7);
  channels.reserve(items.size());
  QString text;  // of the last value; a bulk write repeats one value, converted once
  for (std::size_t i = 0; i < items.size(); ++i) {
    const ChannelValue& item = items[i];
    if (!IsValueGiven(item.value)) {
      continue;
    }
    if (group.first == nullptr || !(item.value == items[i - 1].value)) {
      text = xml::VariantToXmlText(item.value);
      group.oneValue =
          group.oneValue && (group.first == nullptr || group.first->value == item.value);
    }
    group.first = group.first == nullptr ? &item : group.first;
    if (group.count++ > 0) {
      group.ids += QLatin1String(", ");
    }
    group.ids += QString::number(item.channelId);
    if (written[i]) {
      channels.push_back({item.channelId, text});
    } else {
      ++group.failed;
    }
  }
  return group;
}

}  // namespace

ChannelValueWriter::ChannelValueWriter(H5DBIL& dbil, IRaiseMsg& sink) : dbil_(dbil), sink_(sink) {}

QString ChannelValueWriter::FailureText(std::int32_t channelId, const Value& value) {
  return QStringLiteral("TELM-0036: Could not write msg record to change channel value (") +
         QString::number(channelId) + QLatin1Char('=') + xml::VariantToXmlText(value) +
         QLatin1Char(')');
}

void ChannelValueWriter::SetJournal(IOperationJournal* journal,
                                    std::function<QString(std::int32_t)> channelName) {
  journal_ = journal;
  channelName_ = std::move(channelName);
}

bool ChannelValueWriter::WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                                                 const Value& value) {
  if (!IsValueGiven(value)) {
    return false;
  }
  const QString previous = previousValue_ ? previousValue_(channelId) : QString();
  QString record;
  const bool written = WriteOne(callerCode, channelId, value, &record);
  JournalOne(channelId, value, record, written, previous);
  return written;
}

bool ChannelValueWriter::WriteOne(const QString& callerCode, std::int32_t channelId,
                                  const Value& value, QString* record) {
  if (!IsValueGiven(value)) {
    return false;
  }
  bool written = false;
  if (Storable(value)) {
    QString text = IosCommands::WriteToChannel(channelId, value);
    written = dbil_.WriteMessageRecord(text, QString(), QString(), callerCode);
    if (record != nullptr) {
      *record = std::move(text);
    }
  }
  if (!written) {
    sink_.RaiseMsg(MsgType::Error, FailureText(channelId, value));
  }
  return written;
}

namespace {

constexpr int RetryPauseMs = 500;

// One grouped write's way through its batches.
class BatchRun {
 public:
  BatchRun(H5DBIL& dbil, const QString& callerCode, const std::vector<ChannelValue>& items,
           std::vector<bool>& written)
      : dbil_(dbil), callerCode_(callerCode), items_(items), written_(written) {}

  // Items [begin, end) that have a value; those that fail are put in `failed`.
  void Write(std::size_t begin, std::size_t end, std::vector<std::size_t>& failed) {
    std::vector<std::size_t> todo;
    for (std::size_t i = begin; i < end; ++i) {
      if (!IsValueGiven(items_[i].value)) {
        continue;
      }
      if (Storable(items_[i].value)) {
        todo.push_back(i);
      } else {
        failed.push_back(i);
      }
    }
    WriteSome(todo, failed);
    std::sort(failed.begin(), failed.end());
  }

  bool Unreachable() const { return unreachable_; }

 private:
  void WriteSome(const std::vector<std::size_t>& todo, std::vector<std::size_t>& failed) {
    if (todo.empty()) {
      return;
    }
    if (unreachable_) {
      failed.insert(failed.end(), todo.begin(), todo.end());
      return;
    }
    std::vector<MessageRecord> records;
    records.reserve(todo.size());
    for (const std::size_t i : todo) {
      records.push_back({IosCommands::WriteToChannel(items_[i].channelId, items_[i].value),
                         QString(), QString(), callerCode_});
    }
    const std::uint64_t key = dbil_.NewWriteKey();
    WriteResult result = dbil_.WriteMessageRecords(records, key);
    if (result.failure == DbFailure::Unavailable) {
      // Once more, under the same key, on a fresh connection, after a pause for a server that
      // is restarting.
      std::this_thread::sleep_for(std::chrono::milliseconds(RetryPauseMs));
      result = dbil_.WriteMessageRecords(records, key);
      unreachable_ = result.failure == DbFailure::Unavailable;
    }
    if (result.Written()) {
      for (const std::size_t i : todo) {
        written_[i] = true;
      }
      return;
    }
    if (result.failure == DbFailure::Refused && todo.size() > 1) {
      const auto middle = todo.begin() + static_cast<std::ptrdiff_t>(todo.size() / 2);
      WriteSome({todo.begin(), middle}, failed);
      WriteSome({middle, todo.end()}, failed);
      return;
    }
    failed.insert(failed.end(), todo.begin(), todo.end());
  }

  H5DBIL& dbil_;
  const QString& callerCode_;
  const std::vector<ChannelValue>& items_;
  std::vector<bool>& written_;
  bool unreachable_ = false;
};

}  // namespace

ChannelWriteOutcome WriteRecordBatches(H5DBIL& dbil, const QString& callerCode,
                                       const std::vector<ChannelValue>& items,
                                       const std::function<void(const QString&)>& report,
                                       const std::function<void(std::size_t)>& progress,
                                       const std::atomic<bool>* cancel, std::size_t batchSize) {
  ChannelWriteOutcome outcome;
  outcome.written.assign(items.size(), false);
  BatchRun run(dbil, callerCode, items, outcome.written);
  for (std::size_t begin = 0; begin < items.size(); begin += batchSize) {
    if (cancel != nullptr && cancel->load()) {
      outcome.cancelled = true;
      break;
    }
    const std::size_t end = std::min(items.size(), begin + batchSize);
    std::vector<std::size_t> failed;
    run.Write(begin, end, failed);
    for (const std::size_t i : failed) {
      report(ChannelValueWriter::FailureText(items[i].channelId, items[i].value));
    }
    if (progress) {
      progress(end);
    }
  }
  return outcome;
}

std::vector<bool> ChannelValueWriter::WriteChannelValueRecords(
    const QString& callerCode, const std::vector<ChannelValue>& items, const QString& operation) {
  const QString previous = PreviousOf(items);
  ChannelWriteOutcome outcome = WriteRecordBatches(
      dbil_, callerCode, items,
      [this](const QString& text) { sink_.RaiseMsg(MsgType::Error, text); }, {}, nullptr,
      BatchSize);
  JournalGroup(operation, items, outcome.written, previous);
  return std::move(outcome.written);
}

void ChannelValueWriter::SetPreviousValues(std::function<QString(std::int32_t)> previousValue) {
  previousValue_ = std::move(previousValue);
}

void ChannelValueWriter::SetWorker(DatabaseWorker* worker, IWriteProgress* progress) {
  worker_ = worker;
  progress_ = progress;
}

QString ChannelValueWriter::ClosingNote(const ChannelWriteOutcome& outcome, std::size_t total) {
  const auto written =
      static_cast<std::size_t>(std::count(outcome.written.begin(), outcome.written.end(), true));
  const QString counts = QStringLiteral("%1 of %2 records written, %3 not written.")
                             .arg(written)
                             .arg(total)
                             .arg(total - written);
  if (outcome.cancelled) {
    return QStringLiteral("TELM-9011: Write cancelled: ") + counts;
  }
  return written == total ? QString() : QStringLiteral("TELM-9010: ") + counts;
}

void ChannelValueWriter::Finish(const QString& operation, const QString& previous,
                                const std::vector<ChannelValue>& items,
                                const ChannelWriteOutcome& outcome) {
  JournalGroup(operation, items, outcome.written, previous);
  const auto total = static_cast<std::size_t>(
      std::count_if(items.begin(), items.end(),
                    [](const ChannelValue& item) { return IsValueGiven(item.value); }));
  const QString note = ClosingNote(outcome, total);
  if (!note.isEmpty()) {
    sink_.RaiseMsg(outcome.cancelled ? MsgType::Progress : MsgType::Error, note);
  }
}

void ChannelValueWriter::WriteChannelValueRecordsThen(
    const QString& callerCode, std::vector<ChannelValue> items, const QString& operation,
    std::function<void(const ChannelWriteOutcome&)> done) {
  // What the channels showed before the write, not after it.
  const QString previous = PreviousOf(items);
  if (worker_ == nullptr) {
    ChannelWriteOutcome outcome = WriteRecordBatches(
        dbil_, callerCode, items,
        [this](const QString& text) { sink_.RaiseMsg(MsgType::Error, text); }, {}, nullptr,
        BatchSize);
    Finish(operation, previous, items, outcome);
    done(outcome);
    return;
  }
  auto cancel = std::make_shared<std::atomic<bool>>(false);
  if (progress_ != nullptr) {
    progress_->Begin(items.size(), [cancel] { *cancel = true; });
  }
  // Everything that reaches the window goes through Reply, in order; the writer's own state is
  // touched only there, on the window's thread.
  DatabaseWorker* worker = worker_;
  std::weak_ptr<bool> alive = alive_;
  auto shared = std::make_shared<const std::vector<ChannelValue>>(std::move(items));
  worker->Post([this, worker, alive, cancel, shared, callerCode, operation, previous,
                done = std::move(done)](H5DBIL& dbil) {
    auto onWindow = [worker, alive](std::function<void()> step) {
      worker->Reply([alive, step = std::move(step)] {
        if (!alive.expired()) {
          step();
        }
      });
    };
    ChannelWriteOutcome outcome = WriteRecordBatches(
        dbil, callerCode, *shared,
        [&](const QString& text) {
          onWindow([this, text] { sink_.RaiseMsg(MsgType::Error, text); });
        },
        [&](std::size_t count) {
          onWindow([this, count] {
            if (progress_ != nullptr) {
              progress_->Advance(count);
            }
          });
        },
        cancel.get(), BatchSize);
    onWindow([this, shared, operation, previous, done, outcome = std::move(outcome)] {
      if (progress_ != nullptr) {
        progress_->End();
      }
      Finish(operation, previous, *shared, outcome);
      done(outcome);
    });
  });
}

QString ChannelValueWriter::ChannelTarget(std::int32_t channelId) const {
  const QString name = channelName_ ? channelName_(channelId) : QString();
  return name.isEmpty() ? QString::number(channelId)
                        : QString::number(channelId) + QLatin1Char(' ') + name;
}

void ChannelValueWriter::JournalOne(std::int32_t channelId, const Value& value,
                                    const QString& record, bool written, const QString& previous) {
  if (journal_ == nullptr) {
    return;
  }
  const QString text = xml::VariantToXmlText(value);
  journal_->Record({QStringLiteral("WriteToChannel"), ChannelTarget(channelId), text,
                    record.isEmpty() ? RecordText(channelId, value) : record,
                    written ? JournalOutcome::RecordWritten : FailureText(channelId, value),
                    QString(),
                    written ? std::vector<JournalChannelWrite>{{channelId, text}}
                            : std::vector<JournalChannelWrite>{},
                    previous});
}

QString ChannelValueWriter::PreviousOf(const std::vector<ChannelValue>& items) const {
  if (journal_ == nullptr || !previousValue_) {
    return {};
  }
  std::optional<QString> common;
  for (const ChannelValue& item : items) {
    if (!IsValueGiven(item.value)) {
      continue;
    }
    const QString shown = previousValue_(item.channelId);
    if (common && *common != shown) {
      return QStringLiteral("(several values)");
    }
    common = shown;
  }
  return common.value_or(QString());
}

void ChannelValueWriter::JournalGroup(const QString& operation,
                                      const std::vector<ChannelValue>& items,
                                      const std::vector<bool>& written, const QString& previous) {
  if (journal_ == nullptr) {
    return;
  }
  JournalOperation op;
  const GroupSummary group = Summarize(items, written, op.channels);
  if (group.first == nullptr) {
    return;
  }
  op.operation = !operation.isEmpty() ? operation
                 : group.count == 1   ? QStringLiteral("WriteToChannel")
                                      : QStringLiteral("WriteToChannel (group)");
  op.targets = QStringLiteral("%1 channels: ").arg(group.count) + group.ids;
  op.previous = previous;
  op.value = group.oneValue ? xml::VariantToXmlText(group.first->value)
                            : QStringLiteral("(several values)");
  // The records differ only in their channel and value: the first stands for the rest.
  op.command = RecordText(group.first->channelId, group.first->value);
  if (group.count > 1) {
    op.command += QStringLiteral("\n(and %1 more records)").arg(group.count - 1);
  }
  op.outcome = group.failed == 0 ? QStringLiteral("%1 records written").arg(op.channels.size())
                                 : QStringLiteral("%1 records written, %2 not written (TELM-0036)")
                                       .arg(op.channels.size())
                                       .arg(group.failed);
  journal_->Record(op);
}

}  // namespace telmon
