#include "watches/ChannelValueWriter.h"

#include "ioslink/IosCommands.h"
#include "platform/H5DBIL.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "watches/EnteredValue.h"

#include <algorithm>

namespace telmon {

namespace {

// The stored command is read back by the server as XML: text that no document can carry is
// refused rather than stored unreadable.
bool Storable(const Value& value) {
  return value.kind() != Value::Kind::Text || IosCommands::CanCarryInAttribute(value.text());
}

}  // namespace

ChannelValueWriter::ChannelValueWriter(H5DBIL& dbil, IRaiseMsg& sink) : dbil_(dbil), sink_(sink) {}

QString ChannelValueWriter::FailureText(std::int32_t channelId, const Value& value) {
  return QStringLiteral("TELM-0036: Could not write msg record to change channel value (") +
         QString::number(channelId) + QLatin1Char('=') + xml::VariantToXmlText(value) +
         QLatin1Char(')');
}

bool ChannelValueWriter::WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                                                 const Value& value) {
  if (!IsValueGiven(value)) {
    return false;
  }
  const bool written =
      Storable(value) && dbil_.WriteMessageRecord(IosCommands::WriteToChannel(channelId, value),
                                                  QString(), QString(), callerCode);
  if (!written) {
    sink_.RaiseMsg(MsgType::Error, FailureText(channelId, value));
  }
  return written;
}

std::vector<bool> ChannelValueWriter::WriteChannelValueRecords(
    const QString& callerCode, const std::vector<ChannelValue>& items) {
  std::vector<bool> written(items.size(), false);
  for (std::size_t begin = 0; begin < items.size(); begin += BatchSize) {
    WriteBatch(callerCode, items, begin, std::min(items.size(), begin + BatchSize), written);
  }
  return written;
}

void ChannelValueWriter::WriteBatch(const QString& callerCode,
                                    const std::vector<ChannelValue>& items, std::size_t begin,
                                    std::size_t end, std::vector<bool>& written) {
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
  QString error;
  if (!records.empty() && allStorable && dbil_.WriteMessageRecords(records, &error)) {
    for (std::size_t i = begin; i < end; ++i) {
      written[i] = IsValueGiven(items[i].value);
    }
    return;
  }
  // Nothing of the batch was stored: each record gets its own transaction and its own report.
  for (std::size_t i = begin; i < end; ++i) {
    written[i] = WriteChannelValueRecord(callerCode, items[i].channelId, items[i].value);
  }
}

}  // namespace telmon
