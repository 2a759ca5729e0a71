#pragma once

// Comma-separated files as other programs read them (RFC 4180): UTF-8, records ended by CR LF,
// a field quoted (its quotes doubled) only when it holds a comma, a quote, a line break or
// leading or trailing spaces. Files are written whole or not at all.

#include <QAbstractItemModel>
#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <functional>

namespace telmon {

class CsvWriter {
 public:
  void AddRecord(const QStringList& fields);
  const QByteArray& Bytes() const { return bytes_; }
  // The record's bytes appended to `out`.
  static void AppendRecord(QByteArray& out, const QStringList& fields);

 private:
  static void AddField(QByteArray& out, const QString& field);

  QByteArray bytes_;
};

// The model's header captions, then every row's display texts, every column.
QByteArray ModelToCsv(const QAbstractItemModel& model);

// Writes `bytes` to `path` through a temporary file that replaces the target only when all of
// it was written; on failure the target is left as it was and `error` says why.
bool WriteWholeFile(const QString& path, const QByteArray& bytes, QString* error);

// How far a long piece of work done a chunk at a time has come: `done` of `total` items. It
// answers false when the work is to stop (the operator pressed Cancel).
using ProgressFn = std::function<bool(std::size_t done, std::size_t total)>;

struct ChunkedWrite {
  enum class Status { Written, Cancelled, Failed };
  Status status = Status::Written;
  std::size_t done = 0;  // items whose bytes were made before the write ended
  std::size_t total = 0;
  QString error;  // why it failed
};

// Items per chunk: a chunk of rows is made in a few milliseconds.
inline constexpr std::size_t FileChunkItems = 1000;

// Writes `head`, then the bytes `item(i, out)` appends for each i below `total`, to `path`
// through a temporary file that replaces the target only when all of it was written. After
// each chunk of items the bytes go to the temporary and `progress` (when given) is asked; when
// it says stop, or the disk refuses, the temporary goes and the target is left as it was.
ChunkedWrite WriteFileInChunks(const QString& path, const QByteArray& head, std::size_t total,
                               const std::function<void(std::size_t, QByteArray&)>& item,
                               const ProgressFn& progress, std::size_t chunk = FileChunkItems);

// The model as ModelToCsv makes it, written to `path` a chunk of rows at a time: the rows it
// has at the start, each once, wherever they move meanwhile; rows removed meanwhile are left
// out. A model reset meanwhile stops the write (Failed, `error` says so).
ChunkedWrite WriteModelCsv(const QAbstractItemModel& model, const QString& path,
                           const ProgressFn& progress, std::size_t chunk = FileChunkItems);

}  // namespace telmon
