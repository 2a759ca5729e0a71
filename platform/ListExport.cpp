#include "platform/ListExport.h"

#include "util/CsvFile.h"

namespace telmon {

QString ExportListToCsv(const QAbstractItemModel& model, Prompter& prompter,
                        const QString& suggestedName) {
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
  QString error;
  if (!WriteWholeFile(path, ModelToCsv(model), &error)) {
    prompter.Show(QStringLiteral("Could not export the list to %1: %2").arg(path, error),
                  QLatin1String(ExportListTitle), PromptIcon::Exclamation);
    return {};
  }
  return path;
}

}  // namespace telmon
