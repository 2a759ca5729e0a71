#pragma once

// Errors of the I/O server link. Event handlers (the view managers, the settings page) signal
// a failure by throwing HandlerError; the dispatcher reports it once as TELM-0034 with the
// number and description and drops the rest of that arrival.

#include "util/ErrorInfo.h"

#include <QAbstractSocket>

#include <cstdint>

namespace telmon {

using HandlerError = TelmonError;

namespace IosErrorNumber {
// Sending on a socket that is not connected.
inline constexpr long WrongState = 40006;
inline constexpr long InvalidPropertyValue = 380;
}  // namespace IosErrorNumber

// The operator-facing number of a socket error, in the numbering the site's staff know from
// the system's other tools (10061 connection refused, 11001 host not found, ...).
std::int32_t SocketErrorNumber(QAbstractSocket::SocketError error);
// The status code that goes with a socket error number.
std::int32_t SocketStatusCode(std::int32_t number);

}  // namespace telmon
