#pragma once

// The one way a channel value is written: a "WriteToChannel" command record in the selected
// DAHS's command table, for the I/O server to act on. The forcing dialogs, the bulk mode-code
// writes and the cal HDR write all go through it; the main window owns the implementation.

#include "util/Value.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace telmon {

struct ChannelValue {
  std::int32_t channelId = 0;
  Value value;
};

// What came of a grouped write: one flag per item (true once its record is committed), and
// whether the operator cancelled it before its end.
struct ChannelWriteOutcome {
  std::vector<bool> written;
  bool cancelled = false;
};

// Shows a long write's progress with a way to cancel it between batches; a window's concern.
class IWriteProgress {
 public:
  virtual ~IWriteProgress() = default;
  // A write of `total` records starts; calling `cancel` stops it before its next batch.
  virtual void Begin(std::size_t total, std::function<void()> cancel) = 0;
  // `done` records of the write were dealt with (written or reported).
  virtual void Advance(std::size_t done) = 0;
  virtual void End() = 0;
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

  // The same, possibly carried out away from the calling thread: `done` is called on the
  // calling thread once every record is written or reported (at once when the writer works
  // in place, as this one does).
  virtual void WriteChannelValueRecordsThen(const QString& callerCode,
                                            std::vector<ChannelValue> items,
                                            const QString& operation,
                                            std::function<void(const ChannelWriteOutcome&)> done) {
    ChannelWriteOutcome outcome{WriteChannelValueRecords(callerCode, items, operation), false};
    done(outcome);
  }
};

}  // namespace telmon
