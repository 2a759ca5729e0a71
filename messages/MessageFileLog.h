#pragma once

// Copy of the message log on disk, for unattended runs: every row added to the log is
// appended to the file as it is added ("timestamp TAB text", one line each, UTF-8) and
// flushed at once, so nothing is lost when the program stops abruptly.
//
// The file is kept to a size: a line that would take it past the limit goes into a fresh file
// instead, after the full one has been renamed FILE.1 (FILE.1 to FILE.2 and so on, the oldest
// beyond the kept count deleted). A line is never split or dropped at the switch: when the
// rename fails the line is still written, to the file as it is.

#include "util/ColorRef.h"

#include <QFile>
#include <QObject>
#include <QString>

namespace telmon {

class MessageLogModel;

class MessageFileLog : public QObject {
  Q_OBJECT

 public:
  struct Rotation {
    qint64 maxBytes = qint64{10} * 1024 * 1024;  // 0 or less: never rotate
    int keptFiles = 5;                           // FILE.1 .. FILE.n
  };
  // "SIZE[,KEPT]" as in "10M,5" (see ParseByteCount); fields left out or unusable keep their
  // defaults. Read from the environment variable TELMON_MESSAGE_LOG_ROTATE by the program.
  static Rotation ParseRotation(const QString& text);

  explicit MessageFileLog(QObject* parent = nullptr);

  // Opens (or creates) the file for appending; false with ErrorString() set when it can't.
  bool Open(const QString& path);
  void SetRotation(const Rotation& rotation) { rotation_ = rotation; }
  QString ErrorString() const { return file_.errorString(); }
  bool IsOpen() const { return file_.isOpen(); }
  // Follows every row the log adds from now on.
  void Follow(const MessageLogModel& model);
  void Append(const QString& column1, const QString& text);

 private:
  void Rotate();

  QString path_;
  QFile file_;
  Rotation rotation_;
};

}  // namespace telmon
