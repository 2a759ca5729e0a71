#pragma once

// A prompter with nobody at the screen: every box, input box, file dialog and credentials
// question is recorded exactly as asked, and each gets the answer that harms nothing: a question
// its default button (or its first), an input, a file name or credentials a cancel. Programs
// without a window build on it, and so does the tests' scripted operator.

#include "platform/Prompter.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace telmon {

class RecordingPrompter : public Prompter {
 public:
  enum class Kind { Ask, Input, SaveFile, OpenFile, Credentials };

  // One recorded interaction. `question` is filled for Ask; `text`/`title` for every kind
  // (Ask copies them from the question); `request` for the file dialogs.
  struct Record {
    Kind kind = Kind::Ask;
    PromptQuestion question;
    QString text;
    QString title;
    QString initial;
    FileDialogRequest request;
  };

  PromptAnswer Ask(const PromptQuestion& question) override;
  std::optional<QString> InputText(const QString& prompt, const QString& title,
                                   const QString& initial = QString()) override;
  std::optional<QString> SaveFileName(const FileDialogRequest& request) override;
  std::optional<QString> OpenFileName(const FileDialogRequest& request) override;
  std::optional<Credentials> AskCredentials(const QString& prompt, const QString& title) override;
  void Beep() override { ++beeps_; }

  const std::vector<Record>& Records() const { return records_; }
  // Only the Ask records, in order.
  std::vector<PromptQuestion> Questions() const;
  // The text of every recorded interaction, in order.
  QStringList Texts() const;
  int BeepCount() const { return beeps_; }
  // The records made since the last call (or Clear), which are then forgotten.
  std::vector<Record> TakeRecords();
  void Clear();

 private:
  // Records a file dialog of `kind` and cancels it.
  std::optional<QString> CancelFileDialog(Kind kind, const FileDialogRequest& request);

  std::vector<Record> records_;
  int beeps_ = 0;
};

}  // namespace telmon
