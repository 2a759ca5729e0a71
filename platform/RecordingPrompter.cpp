#include "platform/RecordingPrompter.h"

namespace telmon {

PromptAnswer RecordingPrompter::Ask(const PromptQuestion& question) {
  Record record;
  record.kind = Kind::Ask;
  record.question = question;
  record.text = question.text;
  record.title = question.title;
  records_.push_back(record);
  return DefaultAnswer(question);
}

std::optional<QString> RecordingPrompter::InputText(const QString& prompt, const QString& title,
                                                    const QString& initial) {
  Record record;
  record.kind = Kind::Input;
  record.text = prompt;
  record.title = title;
  record.initial = initial;
  records_.push_back(record);
  return std::nullopt;
}

std::optional<QString> RecordingPrompter::SaveFileName(const FileDialogRequest& request) {
  return CancelFileDialog(Kind::SaveFile, request);
}

std::optional<QString> RecordingPrompter::OpenFileName(const FileDialogRequest& request) {
  return CancelFileDialog(Kind::OpenFile, request);
}

std::optional<QString> RecordingPrompter::CancelFileDialog(Kind kind,
                                                           const FileDialogRequest& request) {
  Record record;
  record.kind = kind;
  record.title = request.title;
  record.request = request;
  records_.push_back(record);
  return std::nullopt;
}

std::optional<Credentials> RecordingPrompter::AskCredentials(const QString& prompt,
                                                             const QString& title) {
  Record record;
  record.kind = Kind::Credentials;
  record.text = prompt;
  record.title = title;
  records_.push_back(record);
  return std::nullopt;
}

std::vector<PromptQuestion> RecordingPrompter::Questions() const {
  std::vector<PromptQuestion> questions;
  for (const Record& record : records_) {
    if (record.kind == Kind::Ask) {
      questions.push_back(record.question);
    }
  }
  return questions;
}

QStringList RecordingPrompter::Texts() const {
  QStringList texts;
  for (const Record& record : records_) {
    texts.append(record.text);
  }
  return texts;
}

std::vector<RecordingPrompter::Record> RecordingPrompter::TakeRecords() {
  std::vector<Record> taken;
  taken.swap(records_);
  return taken;
}

void RecordingPrompter::Clear() {
  records_.clear();
  beeps_ = 0;
}

}  // namespace telmon
