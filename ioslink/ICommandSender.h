#pragma once

#include <QString>

namespace telmon {

// Whether a command left for the I/O server; when it did not, the message that was reported.
struct SendOutcome {
  bool sent = false;
  QString failure;
};

// The one way every part sends a command to the I/O server. The connection hands the text
// unchanged to its socket and says whether it left.
class ICommandSender {
 public:
  virtual ~ICommandSender() = default;
  virtual SendOutcome SendCommand(const QString& command) = 0;
};

}  // namespace telmon
