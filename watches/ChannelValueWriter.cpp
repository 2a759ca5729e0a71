#include "watches/ChannelValueWriter.h"

#include "ioslink/IosCommands.h"
#include "platform/H5DBIL.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "watches/EnteredValue.h"

#include <algorithm>
#include <utility>

namespace telmon {

namespace {

// The stored command is read back by the server as XML: text that no document can carry is
// refused rather than stored unreadable.
bool Storable(const Value& value) {
  return value.kind() != Value::Kind::Text || IosCommands::CanCarryInAttribute(value.text());
}

const QString kNoRecord = QStringLiteral("(no record: the value cannot be written)");

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
  QString record;
  const bool written = WriteOne(callerCode, channelId, value, &record);
  JournalOne(channelId, value, record, written);
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

std::vector<bool> ChannelValueWriter::WriteChannelValueRecords(
    const QString& callerCode, const std::vector<ChannelValue>& items, const QString& operation) {
  std::vector<bool> written(items.size(), false);
  QString firstRecord;
  for (std::size_t begin = 0; begin < items.size(); begin += BatchSize) {
    WriteBatch(callerCode, items, begin, std::min(items.size(), begin + BatchSize), written,
               firstRecord);
  }
  JournalGroup(operation, items, written, firstRecord);
  return written;
}

void ChannelValueWriter::WriteBatch(const QString& callerCode,
                                    const std::vector<ChannelValue>& items, std::size_t begin,
                                    std::size_t end, std::vector<bool>& written,
                                    QString& firstRecord) {
  std::vector<MessageRecord> records;
  records.reserve(end - begin);
  bool allStorable = true;
  for (std::size_t i = begin; i < end; ++i) {
    const ChannelValue& item = items[i];
    if (IsValueGiven(item.value)) {
      allStorable = allStorable && Storable(item.value);
      records.push_back({IosCommands::WriteToChannel(item.channelId, item.value), QString(),
                         QString(), callerCode});
    }
  }
  if (firstRecord.isEmpty() && !records.empty()) {
    firstRecord = records.front().commandText;
  }
  QString error;
  if (!records.empty() && allStorable && dbil_.WriteMessageRecords(records, &error)) {
    for (std::size_t i = begin; i < end; ++i) {
      written[i] = IsValueGiven(items[i].value);
    }
    return;
  }
  // Nothing of the batch was stored: each record gets its own transaction and its own report.
  for (std::size_t i = begin; i < end; ++i) {
    written[i] = WriteOne(callerCode, items[i].channelId, items[i].value);
  }
}

QString ChannelValueWriter::ChannelTarget(std::int32_t channelId) const {
  const QString name = channelName_ ? channelName_(channelId) : QString();
  return name.isEmpty() ? QString::number(channelId)
                        : QString::number(channelId) + QLatin1Char(' ') + name;
}

void ChannelValueWriter::JournalOne(std::int32_t channelId, const Value& value,
                                    const QString& record, bool written) {
  if (journal_ == nullptr) {
    return;
  }
  const QString text = xml::VariantToXmlText(value);
  journal_->Record({QStringLiteral("WriteToChannel"), ChannelTarget(channelId), text,
                    record.isEmpty() ? kNoRecord : record,
                    written ? JournalOutcome::RecordWritten : FailureText(channelId, value),
                    QString(),
                    written ? std::vector<JournalChannelWrite>{{channelId, text}}
                            : std::vector<JournalChannelWrite>{}});
}

void ChannelValueWriter::JournalGroup(const QString& operation,
                                      const std::vector<ChannelValue>& items,
                                      const std::vector<bool>& written,
                                      const QString& firstRecord) {
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
  op.value = group.oneValue ? xml::VariantToXmlText(group.first->value)
                            : QStringLiteral("(several values)");
  // The records differ only in their channel and value: the first stands for the rest.
  op.command = firstRecord.isEmpty() ? kNoRecord : firstRecord;
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
