#include "platform/ui/QtPrompter.h"

#include "platform/ui/CredentialsDialog.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>

namespace telmon {

namespace {

QMessageBox::Icon ToIcon(PromptIcon icon) {
  switch (icon) {
    case PromptIcon::Information:
      return QMessageBox::Information;
    case PromptIcon::Exclamation:
      return QMessageBox::Warning;
    case PromptIcon::Critical:
      return QMessageBox::Critical;
    case PromptIcon::Question:
      return QMessageBox::Question;
    case PromptIcon::None:
      break;
  }
  return QMessageBox::NoIcon;
}

QMessageBox::StandardButton ToButton(PromptAnswer answer) {
  switch (answer) {
    case PromptAnswer::Ok:
      return QMessageBox::Ok;
    case PromptAnswer::Cancel:
      return QMessageBox::Cancel;
    case PromptAnswer::Yes:
      return QMessageBox::Yes;
    case PromptAnswer::No:
      break;
  }
  return QMessageBox::No;
}

struct ButtonSet {
  QMessageBox::StandardButtons buttons;
  QMessageBox::StandardButton first = QMessageBox::Ok;
  QMessageBox::StandardButton escape = QMessageBox::Ok;  // what closing the box answers
};

ButtonSet ToButtons(PromptButtons buttons) {
  switch (buttons) {
    case PromptButtons::Ok:
      return {QMessageBox::Ok, QMessageBox::Ok, QMessageBox::Ok};
    case PromptButtons::OkCancel:
      return {QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Ok, QMessageBox::Cancel};
    case PromptButtons::YesNo:
      return {QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes, QMessageBox::No};
    case PromptButtons::YesNoCancel:
      break;
  }
  return {QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, QMessageBox::Yes,
          QMessageBox::Cancel};
}

PromptAnswer ToAnswer(int button) {
  switch (button) {
    case QMessageBox::Ok:
      return PromptAnswer::Ok;
    case QMessageBox::Yes:
      return PromptAnswer::Yes;
    case QMessageBox::No:
      return PromptAnswer::No;
    default:
      return PromptAnswer::Cancel;
  }
}

}  // namespace

PromptAnswer QtPrompter::Ask(const PromptQuestion& question) {
  const ButtonSet set = ToButtons(question.buttons);
  QMessageBox box(ToIcon(question.icon), question.title, question.text, set.buttons, parent_);
  box.setTextFormat(Qt::PlainText);
  const QMessageBox::StandardButton wanted =
      question.defaultButton ? ToButton(*question.defaultButton) : set.first;
  box.setDefaultButton(set.buttons.testFlag(wanted) ? wanted : set.first);
  box.setEscapeButton(set.escape);
  box.exec();
  QAbstractButton* clicked = box.clickedButton();
  return ToAnswer(clicked != nullptr ? box.standardButton(clicked) : set.escape);
}

std::optional<QString> QtPrompter::InputText(const QString& prompt, const QString& title,
                                             const QString& initial) {
  QInputDialog dialog(parent_);
  dialog.setInputMode(QInputDialog::TextInput);
  dialog.setWindowTitle(title);
  dialog.setLabelText(prompt);
  dialog.setTextValue(initial);
  if (dialog.exec() != QDialog::Accepted) {
    return std::nullopt;
  }
  // An OK on an empty box is an empty answer, not a cancel.
  const QString text = dialog.textValue();
  return text.isNull() ? QStringLiteral("") : text;
}

QStringList QtPrompter::NameFilters(const QString& filter) {
  const QStringList parts = filter.split(QLatin1Char('|'));
  QStringList filters;
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QString name = parts[i];
    const qsizetype bracket = name.indexOf(QLatin1Char('('));
    if (bracket >= 0) {
      name = name.left(bracket);
    }
    QString patterns = parts[i + 1];
    patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
    patterns.replace(QStringLiteral("*.*"), QStringLiteral("*"));
    filters.append(name.trimmed() + QStringLiteral(" (") + patterns.trimmed() + QLatin1Char(')'));
  }
  return filters;
}

namespace {

// A file dialog that, when asked to, refuses a name in a folder that does not exist: it says so
// and stays open, so nothing is later written to a path that cannot be created.
class FolderCheckingFileDialog final : public QFileDialog {
 public:
  FolderCheckingFileDialog(QWidget* parent, const QString& title, bool requireExistingFolder)
      : QFileDialog(parent, title), requireExistingFolder_(requireExistingFolder) {}

  void accept() override {
    const QStringList files = selectedFiles();
    if (requireExistingFolder_ && !files.isEmpty()) {
      const QFileInfo chosen(files.constFirst());
      if (!chosen.isDir() && !chosen.absoluteDir().exists()) {
        QMessageBox::warning(this, windowTitle(),
                             QStringLiteral("%1\nThe folder does not exist.\nChoose an existing "
                                            "folder and try again.")
                                 .arg(QDir::toNativeSeparators(chosen.absolutePath())));
        return;
      }
    }
    QFileDialog::accept();
  }

 private:
  bool requireExistingFolder_;
};

}  // namespace

std::optional<QString> QtPrompter::FileName(const FileDialogRequest& request, bool save) {
  FolderCheckingFileDialog dialog(parent_, request.title, request.requireExistingFolder);
  dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  dialog.setFileMode(save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
  const QStringList filters = NameFilters(request.filter);
  if (!filters.isEmpty()) {
    dialog.setNameFilters(filters);
  }
  QString suffix = request.defaultExtension;
  if (suffix.startsWith(QLatin1Char('.'))) {
    suffix.remove(0, 1);
  }
  dialog.setDefaultSuffix(suffix);
  dialog.setOption(QFileDialog::DontConfirmOverwrite, !request.promptOverwrite);
  if (!request.initialFolder.isEmpty()) {
    dialog.setDirectory(request.initialFolder);
  }
  if (!request.initialFileName.isEmpty()) {
    dialog.selectFile(request.initialFileName);
  }
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
    return std::nullopt;
  }
  return dialog.selectedFiles().constFirst();
}

std::optional<QString> QtPrompter::SaveFileName(const FileDialogRequest& request) {
  return FileName(request, true);
}

std::optional<QString> QtPrompter::OpenFileName(const FileDialogRequest& request) {
  return FileName(request, false);
}

std::optional<Credentials> QtPrompter::AskCredentials(const QString& prompt, const QString& title) {
  CredentialsDialog dialog(prompt, title, parent_);
  if (dialog.exec() != QDialog::Accepted) {
    return std::nullopt;
  }
  Credentials credentials{dialog.Account(), dialog.Password()};
  dialog.ClearPassword();
  return credentials;
}

void QtPrompter::Beep() { QApplication::beep(); }

}  // namespace telmon
