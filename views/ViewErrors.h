#pragma once

// Failures of the list pages, thrown as TelmonError with the numbers the list control of the
// system reports, so that "<code>: <number>, <description>" reads as operators know it.

#include "util/ErrorInfo.h"

#include <QString>

namespace telmon::ListError {

inline constexpr long ObjectNotSet = 91;
inline constexpr long IndexOutOfBounds = 35600;
inline constexpr long KeyNotUnique = 35602;

inline TelmonError KeyNotUniqueError() {
  return {KeyNotUnique, QStringLiteral("Key is not unique in collection")};
}
inline TelmonError IndexOutOfBoundsError() {
  return {IndexOutOfBounds, QStringLiteral("Index out of bounds")};
}
inline TelmonError ObjectNotSetError() {
  return {ObjectNotSet, QStringLiteral("Object variable or With block variable not set")};
}

// "<code>: <number>, <description>" for the exception being handled; call inside a catch.
inline QString CurrentFailureText(const QString& code) {
  const ErrorInfo info = CurrentErrorInfo();
  return code + QStringLiteral(": ") + QString::number(info.number) + QStringLiteral(", ") +
         info.description;
}

}  // namespace telmon::ListError
