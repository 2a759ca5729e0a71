#include "util/ErrorInfo.h"

#include <exception>
#include <new>

namespace telmon {

ErrorInfo CurrentErrorInfo() {
  try {
    throw;
  } catch (const TelmonError& e) {
    return {e.number(), e.description()};
  } catch (const std::bad_alloc&) {
    return {ErrorNumber::OutOfMemory, QStringLiteral("Out of memory")};
  } catch (const std::exception& e) {
    return {ErrorNumber::Unexpected, QString::fromLocal8Bit(e.what())};
  } catch (...) {
    return {ErrorNumber::Unexpected, QStringLiteral("Unexpected error")};
  }
}

}  // namespace telmon
