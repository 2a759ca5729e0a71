#include "iossim/DemoSite.h"

namespace telmon::iossim {

bool WriteDemoSite(const QString& /*dir*/, QString* error) {
  if (error != nullptr) {
    *error = QStringLiteral("the demo site writer is not built yet");
  }
  return false;
}

}  // namespace telmon::iossim
