#pragma once

// Every message box, question, input box, file dialog and beep goes through this interface.
// The widget implementation wraps QMessageBox/QInputDialog/QFileDialog; tests use
// ScriptedPrompter, which answers from a script and records each question exactly.

#include <QString>

#include <optional>

namespace telmon {

enum class PromptIcon { None, Information, Exclamation, Critical, Question };
enum class PromptButtons { Ok, OkCancel, YesNo, YesNoCancel };
enum class PromptAnswer { Ok, Cancel, Yes, No };

struct PromptQuestion {
  QString text;
  QString title;
  PromptIcon icon = PromptIcon::None;
  PromptButtons buttons = PromptButtons::Ok;
  // The button that Enter presses; the first button when not set.
  std::optional<PromptAnswer> defaultButton;
};

struct FileDialogRequest {
  QString title;
  QString initialFileName;
  QString defaultExtension;  // ".txt"
  QString filter;            // "Text Files (*.txt)|*.txt|All Files (*.*)|*.*"
  bool promptOverwrite = true;
  // The folder the dialog opens in; when empty, wherever the toolkit chooses.
  QString initialFolder;
  // A name in a folder that does not exist is refused by the dialog, which stays open.
  bool requireExistingFolder = false;
};

struct Credentials {
  QString account;
  QString password;
};

class Prompter {
 public:
  virtual ~Prompter() = default;
  virtual PromptAnswer Ask(const PromptQuestion& question) = 0;
  // Empty when the operator cancels; an empty string when OK is pressed on an empty box.
  virtual std::optional<QString> InputText(const QString& prompt, const QString& title,
                                           const QString& initial = QString()) = 0;
  virtual std::optional<QString> SaveFileName(const FileDialogRequest& request) = 0;
  virtual std::optional<QString> OpenFileName(const FileDialogRequest& request) = 0;
  // Account and password for a privilege check; empty when the operator cancels.
  virtual std::optional<Credentials> AskCredentials(const QString& prompt,
                                                    const QString& title) = 0;
  virtual void Beep() = 0;

  // Convenience for the common one-button box.
  void Show(const QString& text, const QString& title, PromptIcon icon) {
    Ask(PromptQuestion{text, title, icon, PromptButtons::Ok, std::nullopt});
  }
};

// The answer a box gives when Enter is pressed: the default button, else the first button.
inline PromptAnswer DefaultAnswer(const PromptQuestion& question) {
  if (question.defaultButton) {
    return *question.defaultButton;
  }
  switch (question.buttons) {
    case PromptButtons::Ok:
    case PromptButtons::OkCancel:
      return PromptAnswer::Ok;
    case PromptButtons::YesNo:
    case PromptButtons::YesNoCancel:
      return PromptAnswer::Yes;
  }
  return PromptAnswer::Ok;
}

}  // namespace telmon
