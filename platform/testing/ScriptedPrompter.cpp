#include "platform/testing/ScriptedPrompter.h"

namespace telmon {

namespace {

template <typename T>
std::optional<T> PopOr(std::deque<std::optional<T>>& queue) {
  if (queue.empty()) {
    return std::nullopt;
  }
  std::optional<T> value = std::move(queue.front());
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
  Record record;
  record.kind = Kind::Ask;
  record.question = question;
  record.text = question.text;
  record.title = question.title;
  records_.push_back(record);
  if (answers_.empty()) {
    return DefaultAnswer(question);
  }
  const PromptAnswer answer = answers_.front();
  answers_.pop_front();
  return answer;
}

std::optional<QString> ScriptedPrompter::InputText(const QString& prompt, const QString& title,
                                                   const QString& initial) {
  Record record;
  record.kind = Kind::Input;
  record.text = prompt;
  record.title = title;
  record.initial = initial;
  records_.push_back(record);
  return PopOr(inputs_);
}

std::optional<QString> ScriptedPrompter::SaveFileName(const FileDialogRequest& request) {
  Record record;
  record.kind = Kind::SaveFile;
  record.title = request.title;
  record.request = request;
  records_.push_back(record);
  return PopOr(saveFiles_);
}

std::optional<QString> ScriptedPrompter::OpenFileName(const FileDialogRequest& request) {
  Record record;
  record.kind = Kind::OpenFile;
  record.title = request.title;
  record.request = request;
  records_.push_back(record);
  return PopOr(openFiles_);
}

std::optional<Credentials> ScriptedPrompter::AskCredentials(const QString& prompt,
                                                            const QString& title) {
  Record record;
  record.kind = Kind::Credentials;
  record.text = prompt;
  record.title = title;
  records_.push_back(record);
  return PopOr(credentials_);
}

void ScriptedPrompter::Beep() { ++beeps_; }

std::vector<PromptQuestion> ScriptedPrompter::Questions() const {
  std::vector<PromptQuestion> questions;
  for (const Record& record : records_) {
    if (record.kind == Kind::Ask) {
      questions.push_back(record.question);
    }
  }
  return questions;
}

QStringList ScriptedPrompter::Texts() const {
  QStringList texts;
  for (const Record& record : records_) {
    texts.append(record.text);
  }
  return texts;
}

std::size_t ScriptedPrompter::PendingAnswers() const {
  return answers_.size() + inputs_.size() + saveFiles_.size() + openFiles_.size() +
         credentials_.size();
}

void ScriptedPrompter::Clear() {
  records_.clear();
  answers_.clear();
  inputs_.clear();
  saveFiles_.clear();
  openFiles_.clear();
  credentials_.clear();
  beeps_ = 0;
}

}  // namespace telmon
