#pragma once

// The widget-free part of the window utilities: the local computer's name, a millisecond tick
// count and temporary file names. The printing, column sizing and boxes are in the _ui target.

#include <QString>

#include <cstdint>

namespace telmon {

class WindowUtilities {
 public:
  // The name of the computer the program runs on; "localhost" when the system has none.
  static QString LocalComputerName();
  // Milliseconds of a monotonic clock, wrapping like a 32-bit tick count.
  static std::int32_t TickCount();
  // Creates an empty, uniquely named file in the temporary folder, named `prefix`, a unique
  // part and "." + `extension`, and returns its path; empty (and `error` set) when it can't.
  // The caller owns the file and deletes it when done.
  static QString TemporaryFileName(const QString& prefix, const QString& extension,
                                   QString* error = nullptr);
};

}  // namespace telmon
