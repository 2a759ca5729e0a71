#pragma once

// Failures that a handler reports as "<code>: <number>, <description>". Code that fails in a
// way the operator should read throws TelmonError with one of the numbers below; a handler
// catches everything and turns the in-flight exception into an ErrorInfo.

#include <QString>

#include <stdexcept>

namespace telmon {

namespace ErrorNumber {
inline constexpr long InvalidArgument = 5;
inline constexpr long Overflow = 6;
inline constexpr long OutOfMemory = 7;
inline constexpr long TypeMismatch = 13;
inline constexpr long DuplicateKey = 457;
inline constexpr long ObjectRequired = 424;
inline constexpr long Unexpected = 440;
}  // namespace ErrorNumber

class TelmonError : public std::runtime_error {
 public:
  TelmonError(long number, const QString& description)
      : std::runtime_error(description.toStdString()), number_(number) {}
  long number() const noexcept { return number_; }
  QString description() const { return QString::fromStdString(what()); }

  static TelmonError TypeMismatch() {
    return {ErrorNumber::TypeMismatch, QStringLiteral("Type mismatch")};
  }

 private:
  long number_;
};

struct ErrorInfo {
  long number = 0;
  QString description;
};

// Number and description of the exception being handled; call only inside a catch block.
ErrorInfo CurrentErrorInfo();

}  // namespace telmon
