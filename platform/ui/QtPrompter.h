#pragma once

// Operator prompts on real dialogs: message boxes with the exact text, title, icon, buttons
// and default button; input boxes; file dialogs; and a small account-and-password dialog.

#include "platform/Prompter.h"

#include <QPointer>
#include <QWidget>

namespace telmon {

class QtPrompter final : public Prompter {
 public:
  explicit QtPrompter(QWidget* parent = nullptr) : parent_(parent) {}
  // The window the dialogs are centred on and modal to.
  void SetParent(QWidget* parent) { parent_ = parent; }

  PromptAnswer Ask(const PromptQuestion& question) override;
  std::optional<QString> InputText(const QString& prompt, const QString& title,
                                   const QString& initial = QString()) override;
  std::optional<QString> SaveFileName(const FileDialogRequest& request) override;
  std::optional<QString> OpenFileName(const FileDialogRequest& request) override;
  std::optional<Credentials> AskCredentials(const QString& prompt, const QString& title) override;
  void Beep() override;

  // "Text Files (*.txt)|*.txt|All Files (*.*)|*.*" as the file dialog's name filters
  // ("Text Files (*.txt)", "All Files (*)").
  static QStringList NameFilters(const QString& filter);

 private:
  std::optional<QString> FileName(const FileDialogRequest& request, bool save);

  QPointer<QWidget> parent_;
};

}  // namespace telmon
