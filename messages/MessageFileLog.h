#pragma once

// Copy of the message log on disk, for unattended runs: every row added to the log is
// appended to the file as it is added ("timestamp TAB text", one line each, UTF-8) and
// flushed at once, so nothing is lost when the program stops abruptly.

#include "util/ColorRef.h"

#include <QFile>
#include <QObject>
#include <QString>

namespace telmon {

class MessageLogModel;

class MessageFileLog : public QObject {
  Q_OBJECT

 public:
  explicit MessageFileLog(QObject* parent = nullptr);

  // Opens (or creates) the file for appending; false with ErrorString() set when it can't.
  bool Open(const QString& path);
  QString ErrorString() const { return file_.errorString(); }
  bool IsOpen() const { return file_.isOpen(); }
  // Follows every row the log adds from now on.
  void Follow(const MessageLogModel& model);
  void Append(const QString& column1, const QString& text);

 private:
  QFile file_;
};

}  // namespace telmon
