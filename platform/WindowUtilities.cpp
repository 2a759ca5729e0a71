#include "platform/WindowUtilities.h"

#include <QDir>
#include <QElapsedTimer>
#include <QHostInfo>
#include <QTemporaryFile>

namespace telmon {

QString WindowUtilities::LocalComputerName() {
  const QString name = QHostInfo::localHostName();
  return name.isEmpty() ? QStringLiteral("localhost") : name;
}

std::int32_t WindowUtilities::TickCount() {
  QElapsedTimer timer;
  timer.start();
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(timer.msecsSinceReference()));
}

QString WindowUtilities::TemporaryFileName(const QString& prefix, const QString& extension,
                                           QString* error) {
  QString suffix = extension;
  if (suffix.startsWith(QLatin1Char('.'))) {
    suffix.remove(0, 1);
  }
  QTemporaryFile file(QDir(QDir::tempPath())
                          .filePath(prefix + QStringLiteral("XXXXXX") +
                                    (suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix)));
  file.setAutoRemove(false);
  if (!file.open()) {
    if (error != nullptr) {
      *error = QStringLiteral("can't create a temporary file in '%1': %2")
                   .arg(QDir::tempPath(), file.errorString());
    }
    return {};
  }
  return file.fileName();
}

}  // namespace telmon
