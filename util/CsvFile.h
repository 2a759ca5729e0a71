#pragma once

// Comma-separated files as other programs read them (RFC 4180): UTF-8, records ended by CR LF,
// a field quoted (its quotes doubled) only when it holds a comma, a quote, a line break or
// leading or trailing spaces. Files are written whole or not at all.

#include <QAbstractItemModel>
#include <QByteArray>
#include <QString>
#include <QStringList>

namespace telmon {

class CsvWriter {
 public:
  void AddRecord(const QStringList& fields);
  const QByteArray& Bytes() const { return bytes_; }

 private:
  void AddField(const QString& field);

  QByteArray bytes_;
};

// The model's header captions, then every row's display texts, every column.
QByteArray ModelToCsv(const QAbstractItemModel& model);

// Writes `bytes` to `path` through a temporary file that replaces the target only when all of
// it was written; on failure the target is left as it was and `error` says why.
bool WriteWholeFile(const QString& path, const QByteArray& bytes, QString* error);

}  // namespace telmon
