#pragma once

// The one way a channel value is written: a "WriteToChannel" command record in the selected
// DAHS's command table, for the I/O server to act on. The forcing dialogs, the bulk mode-code
// writes and the cal HDR write all go through it; the main window owns the implementation.

#include "util/Value.h"

#include <QString>

#include <cstdint>
#include <vector>

namespace telmon {

struct ChannelValue {
  std::int32_t channelId = 0;
  Value value;
};

class IChannelValueWriter {
 public:
  virtual ~IChannelValueWriter() = default;

  // Does nothing when no value is given. Reports its own failure (TELM-0036) and returns false;
  // true once the record is committed.
  virtual bool WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                                       const Value& value) = 0;

  // The same for many channels with one caller code, in order: one result per item, each record
  // written once or reported once. Implementations may group records into transactions, and
  // journal the group as one `operation` ("Bulk mode-code write", ...).
  virtual std::vector<bool> WriteChannelValueRecords(const QString& callerCode,
                                                     const std::vector<ChannelValue>& items,
                                                     const QString& /*operation*/) {
    std::vector<bool> written;
    written.reserve(items.size());
    for (const ChannelValue& item : items) {
      written.push_back(WriteChannelValueRecord(callerCode, item.channelId, item.value));
    }
    return written;
  }
};

}  // namespace telmon
