#include "messages/MessageFileLog.h"

#include "messages/MessageLogModel.h"
#include "util/ByteCount.h"

namespace telmon {

MessageFileLog::Rotation MessageFileLog::ParseRotation(const QString& text) {
  Rotation rotation;
  const QStringList fields = text.split(QLatin1Char(','));
  if (const qint64 size = ParseByteCount(fields.value(0)); size > 0) {
    rotation.maxBytes = size;
  }
  bool ok = false;
  const int kept = fields.value(1).trimmed().toInt(&ok);
  if (ok && kept >= 0 && kept <= 999) {
    rotation.keptFiles = kept;
  }
  return rotation;
}

MessageFileLog::MessageFileLog(QObject* parent) : QObject(parent) {}

bool MessageFileLog::Open(const QString& path) {
  file_.close();
  path_ = path;
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
  const QByteArray line = (column1 + QLatin1Char('\t') + text + QLatin1Char('\n')).toUtf8();
  if (rotation_.maxBytes > 0 && file_.size() > 0 &&
      file_.size() + line.size() > rotation_.maxBytes) {
    Rotate();
  }
  // A failing disk must not stop the program; the rows stay in the window.
  file_.write(line);
  file_.flush();
}

void MessageFileLog::Rotate() {
  const QString& path = path_;
  auto numbered = [&path](int n) { return path + QLatin1Char('.') + QString::number(n); };
  file_.close();
  QFile::remove(numbered(rotation_.keptFiles));
  for (int n = rotation_.keptFiles - 1; n >= 1; --n) {
    QFile::rename(numbered(n), numbered(n + 1));
  }
  if (rotation_.keptFiles == 0 ? !QFile::remove(path) : !QFile::rename(path, numbered(1))) {
    // Keep writing where we were rather than lose the line.
    file_.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text);
    return;
  }
  file_.setFileName(path);
  if (!file_.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
    // The line can still go to the file just renamed; the next switch tries the name again.
    file_.setFileName(numbered(1));
    file_.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text);
  }
}

}  // namespace telmon
