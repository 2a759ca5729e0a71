#pragma once

// What the change-value operation of the watch list opens: the one-channel and the
// several-channels value dialogs. The watch operations decide which one (and stay testable
// without windows); the main window hands in the implementation that shows the real dialogs.

#include <QString>

#include <cstdint>

namespace telmon {

class IChangeValueDialogs {
 public:
  virtual ~IChangeValueDialogs() = default;

  // frmChangeChanValue for one channel, shown modally over the main window.
  virtual void ShowChangeChanValue(std::int32_t channelId) = 0;
  // frmChangeChanValues for the channel IDs of a TAB-separated list (it begins with a TAB).
  virtual void ShowChangeChanValues(const QString& tabSeparatedIds) = 0;
};

}  // namespace telmon
