#pragma once

// Test support for the settings page and the cal HDR tools: a message sink, an edit gate
// answering as told, channel configurations built from rows.

#include "platform/H5DBIL.h"
#include "tests/util/QStringPrinter.h"
#include "tools/CalHdrChannelList.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/IEditGate.h"

#include <QStringList>

#include <memory>
#include <utility>
#include <vector>

namespace telmon {
inline void PrintTo(const CalHdrRow& row, std::ostream* os) {
  *os << '{' << row.prefix.toStdString() << " | " << row.span.toStdString() << '}';
}
}  // namespace telmon

namespace telmon::test {

struct Sink final : IRaiseMsg {
  std::vector<std::pair<std::int32_t, QString>> messages;
  void RaiseMsg(std::int32_t type, const QString& text) override {
    messages.emplace_back(type, text);
  }
  QStringList Texts() const {
    QStringList texts;
    for (const auto& m : messages) texts << m.second;
    return texts;
  }
};

struct EditGate final : IEditGate {
  bool allowed = true;
  bool allowOnAsk = false;
  int asked = 0;
  bool EditsAllowed() const override { return allowed; }
  bool AskWhetherUserWantsToEnableEditing() override {
    ++asked;
    allowed = allowed || allowOnAsk;
    return allowed;
  }
};

struct ChannelRow {
  const char* id;
  QString name;
  QString address;
};

// Channel configuration records as the IOS would describe them, in order.
inline ChannelConfigInfoManager::Records Channels(const std::vector<ChannelRow>& rows) {
  ChannelConfigInfoManager::Records records;
  for (const ChannelRow& row : rows) {
    auto record = std::make_unique<ChannelConfigInfo>();
    record->Key = ChannelConfigInfoManager::KeyFor(QLatin1String(row.id));
    record->Name = row.name;
    record->Address = row.address;
    records.push_back(std::move(record));
  }
  return records;
}

}  // namespace telmon::test
