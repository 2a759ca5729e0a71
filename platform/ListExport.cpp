#include "platform/ListExport.h"

#include <QDir>
#include <QLocale>

namespace telmon {

QString ExportCancelledText(std::size_t done, std::size_t total, const QString& what,
                            const QString& path) {
  const QLocale locale;
  return QStringLiteral("The export was cancelled after %1 of %2 %3; %4 was not written.")
      .arg(locale.toString(static_cast<qulonglong>(done)),
           locale.toString(static_cast<qulonglong>(total)), what, QDir::toNativeSeparators(path));
}

QString ExportListToCsv(const QAbstractItemModel& model, Prompter& prompter,
                        const QString& suggestedName, const ProgressFn& progress) {
  FileDialogRequest request;
  request.title = QLatin1String(ExportListTitle);
  request.initialFileName = suggestedName;
  request.defaultExtension = QStringLiteral("csv");
  request.filter = QStringLiteral("CSV Files (*.csv)|*.csv|All Files (*.*)|*.*");
  request.promptOverwrite = true;
  QString path = prompter.SaveFileName(request).value_or(QString());
  if (path.isEmpty()) {
    return {};
  }
  const ChunkedWrite result = WriteModelCsv(model, path, progress);
  if (result.status == ChunkedWrite::Status::Cancelled) {
    prompter.Show(ExportCancelledText(result.done, result.total, QStringLiteral("rows"), path),
                  QLatin1String(ExportListTitle), PromptIcon::Information);
    return {};
  }
  if (result.status == ChunkedWrite::Status::Failed) {
    prompter.Show(QStringLiteral("Could not export the list to %1: %2").arg(path, result.error),
                  QLatin1String(ExportListTitle), PromptIcon::Exclamation);
    return {};
  }
  return path;
}

}  // namespace telmon
