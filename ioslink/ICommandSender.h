#pragma once

#include <QString>

namespace telmon {

// The one way every part sends a command to the I/O server. Implemented by the main window,
// which hands the text unchanged to the connection.
class ICommandSender {
 public:
  virtual ~ICommandSender() = default;
  virtual void SendCommand(const QString& command) = 0;
};

}  // namespace telmon
