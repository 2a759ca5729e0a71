#include "platform/testing/ScriptedPrompter.h"

namespace telmon {

namespace {

// The next queued answer, or `safe` (what nobody at the screen would give) when none is left.
template <typename T>
T PopOr(std::deque<T>& queue, T safe) {
  if (queue.empty()) {
    return safe;
  }
  T value = std::move(queue.front());
  queue.pop_front();
  return value;
}

}  // namespace

void ScriptedPrompter::QueueAnswer(PromptAnswer answer) { answers_.push_back(answer); }
void ScriptedPrompter::QueueInput(std::optional<QString> text) {
  inputs_.push_back(std::move(text));
}
void ScriptedPrompter::QueueSaveFile(std::optional<QString> fileName) {
  saveFiles_.push_back(std::move(fileName));
}
void ScriptedPrompter::QueueOpenFile(std::optional<QString> fileName) {
  openFiles_.push_back(std::move(fileName));
}
void ScriptedPrompter::QueueCredentials(std::optional<Credentials> credentials) {
  credentials_.push_back(std::move(credentials));
}

PromptAnswer ScriptedPrompter::Ask(const PromptQuestion& question) {
  return PopOr(answers_, RecordingPrompter::Ask(question));
}

std::optional<QString> ScriptedPrompter::InputText(const QString& prompt, const QString& title,
                                                   const QString& initial) {
  return PopOr(inputs_, RecordingPrompter::InputText(prompt, title, initial));
}

std::optional<QString> ScriptedPrompter::SaveFileName(const FileDialogRequest& request) {
  return PopOr(saveFiles_, RecordingPrompter::SaveFileName(request));
}

std::optional<QString> ScriptedPrompter::OpenFileName(const FileDialogRequest& request) {
  return PopOr(openFiles_, RecordingPrompter::OpenFileName(request));
}

std::optional<Credentials> ScriptedPrompter::AskCredentials(const QString& prompt,
                                                            const QString& title) {
  return PopOr(credentials_, RecordingPrompter::AskCredentials(prompt, title));
}

std::size_t ScriptedPrompter::PendingAnswers() const {
  return answers_.size() + inputs_.size() + saveFiles_.size() + openFiles_.size() +
         credentials_.size();
}

void ScriptedPrompter::Clear() {
  RecordingPrompter::Clear();
  answers_.clear();
  inputs_.clear();
  saveFiles_.clear();
  openFiles_.clear();
  credentials_.clear();
}

}  // namespace telmon
