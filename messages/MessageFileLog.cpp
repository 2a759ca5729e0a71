#include "messages/MessageFileLog.h"

#include "messages/MessageLogModel.h"

namespace telmon {

MessageFileLog::MessageFileLog(QObject* parent) : QObject(parent) {}

bool MessageFileLog::Open(const QString& path) {
  file_.close();
  file_.setFileName(path);
  return file_.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text);
}

void MessageFileLog::Follow(const MessageLogModel& model) {
  connect(&model, &MessageLogModel::EntryAdded, this,
          [this](const QString& column1, const QString& text, ColorRef) { Append(column1, text); });
}

void MessageFileLog::Append(const QString& column1, const QString& text) {
  if (!file_.isOpen()) {
    return;
  }
  // A failing disk must not stop the program; the rows stay in the window.
  file_.write((column1 + QLatin1Char('\t') + text + QLatin1Char('\n')).toUtf8());
  file_.flush();
}

}  // namespace telmon
