#pragma once

// A Prompter for tests: answers come from queues filled by the test, and every question is
// recorded exactly as asked so a test can check texts, titles, icons, buttons and defaults.
// When a queue is empty the prompter gives the safe answer: the default button (or the first
// button) for questions, a cancel for inputs, file names and credentials.

#include "platform/RecordingPrompter.h"

#include <deque>
#include <optional>

namespace telmon {

class ScriptedPrompter final : public RecordingPrompter {
 public:
  // Queue answers; each call to the matching method consumes one.
  void QueueAnswer(PromptAnswer answer);
  void QueueInput(std::optional<QString> text);  // std::nullopt = Cancel
  void QueueSaveFile(std::optional<QString> fileName);
  void QueueOpenFile(std::optional<QString> fileName);
  void QueueCredentials(std::optional<Credentials> credentials);  // std::nullopt = Cancel

  PromptAnswer Ask(const PromptQuestion& question) override;
  std::optional<QString> InputText(const QString& prompt, const QString& title,
                                   const QString& initial = QString()) override;
  std::optional<QString> SaveFileName(const FileDialogRequest& request) override;
  std::optional<QString> OpenFileName(const FileDialogRequest& request) override;
  std::optional<Credentials> AskCredentials(const QString& prompt, const QString& title) override;

  // Answers queued but not consumed (all kinds together).
  std::size_t PendingAnswers() const;
  // The records, the beeps and the queued answers.
  void Clear();

 private:
  std::deque<PromptAnswer> answers_;
  std::deque<std::optional<QString>> inputs_;
  std::deque<std::optional<QString>> saveFiles_;
  std::deque<std::optional<QString>> openFiles_;
  std::deque<std::optional<Credentials>> credentials_;
};

}  // namespace telmon
