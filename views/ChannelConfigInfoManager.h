#pragma once

// The channel configuration records, one per channel, in the order the IOS first sent them.
// Numeric IDs are keyed with a "C" suffix ("17" and "17C" name the same record), the form
// the realtime points of channels use.

#include "util/UtilityXMLDOMFunctions.h"
#include "views/ChannelConfigInfo.h"

#include <QHash>
#include <QString>

#include <memory>
#include <vector>

namespace telmon {

class ChannelConfigInfoManager {
 public:
  using Records = std::vector<std::unique_ptr<ChannelConfigInfo>>;

  // The IOS is about to resend the whole configuration.
  void ClearAllConfigInfo();
  // Creates or overwrites the record of a "ChannelConfigUpdate" event: every field is
  // replaced, an absent attribute giving an empty field. Throws a type mismatch when
  // "DeviceID" is not an integer; the record has then been created and named, and keeps its
  // other old values. Returns the record.
  const ChannelConfigInfo& UpdateConfigInfo(xml::XmlElement event);
  // The record for a channel ID or key; null when unknown.
  const ChannelConfigInfo* Item(const QString& idOrKey) const;
  // Records in insertion order.
  const Records& NewEnum() const { return records_; }
  std::size_t Count() const { return records_.size(); }

  // "<ID>C" for a numeric ID, the text unchanged otherwise.
  static QString KeyFor(const QString& idOrKey);

 private:
  Records records_;
  QHash<QString, ChannelConfigInfo*> byKey_;
};

}  // namespace telmon
