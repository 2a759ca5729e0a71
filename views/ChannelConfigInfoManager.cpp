#include "views/ChannelConfigInfoManager.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"

namespace telmon {

namespace {

std::int32_t ToInt32Field(const Value& value) {
  if (const std::optional<std::int32_t> number = value.ToInt32()) {
    return *number;
  }
  if (value.IsNumeric()) {
    throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
  }
  throw TelmonError::TypeMismatch();
}

}  // namespace

void ChannelConfigInfoManager::ClearAllConfigInfo() {
  byKey_.clear();
  records_.clear();
}

const ChannelConfigInfo& ChannelConfigInfoManager::UpdateConfigInfo(xml::XmlElement event) {
  const QString id = xml::GetAttributeText(event, "ID");
  const QString key = KeyFor(id);
  ChannelConfigInfo* record = byKey_.value(key, nullptr);
  if (record == nullptr) {
    auto created = std::make_unique<ChannelConfigInfo>();
    created->Key = key;
    bool numeric = false;
    const std::int32_t number = id.trimmed().toInt(&numeric);
    created->ID = numeric ? std::optional<std::int32_t>(number) : std::nullopt;
    record = created.get();
    records_.push_back(std::move(created));
    byKey_.insert(key, record);
  }
  auto text = [event](const char* name) { return xml::GetAttributeText(event, name); };
  record->Name = text("Name");
  // A missing or non-numeric device ID is a fault in the event, reported by the dispatcher.
  record->DeviceID = ToInt32Field(Value(text("DeviceID")));
  record->BlockID = ToInt32Field(NullToEmpty(NullIfZeroOrEmpty(Value(text("BlockID")))));
  record->Address = text("Address");
  record->Scaling = text("Scaling");
  record->OtherInfo = text("OtherInfo");
  record->DataSource = text("DataSource");
  record->OscillationMin = text("OscillationMin");
  record->OscillationMax = text("OscillationMax");
  record->OscillationPeriod = text("OscillationPeriod");
  return *record;
}

const ChannelConfigInfo* ChannelConfigInfoManager::Item(const QString& idOrKey) const {
  return byKey_.value(KeyFor(idOrKey), nullptr);
}

QString ChannelConfigInfoManager::KeyFor(const QString& idOrKey) {
  return IsNumeric(idOrKey) ? idOrKey + QLatin1Char('C') : idOrKey;
}

}  // namespace telmon
