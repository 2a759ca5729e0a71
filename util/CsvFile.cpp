#include "util/CsvFile.h"

#include <QObject>
#include <QPersistentModelIndex>
#include <QSaveFile>

#include <algorithm>
#include <vector>

#include <csv.h>

namespace telmon {

namespace {

bool NeedsQuotes(const QByteArray& field) {
  if (field.isEmpty()) {
    return false;
  }
  if (field.front() == ' ' || field.back() == ' ') {
    return true;
  }
  for (const char c : field) {
    if (c == ',' || c == '"' || c == '\r' || c == '\n') {
      return true;
    }
  }
  return false;
}

}  // namespace

void CsvWriter::AddRecord(const QStringList& fields) { AppendRecord(bytes_, fields); }

void CsvWriter::AppendRecord(QByteArray& out, const QStringList& fields) {
  for (qsizetype i = 0; i < fields.size(); ++i) {
    if (i > 0) {
      out.append(',');
    }
    AddField(out, fields[i]);
  }
  out.append("\r\n");
}

void CsvWriter::AddField(QByteArray& out, const QString& field) {
  const QByteArray utf8 = field.toUtf8();
  if (!NeedsQuotes(utf8)) {
    out.append(utf8);
    return;
  }
  // The quoted form is at most twice the field plus the two enclosing quotes.
  const auto size = static_cast<std::size_t>(utf8.size());
  QByteArray quoted(static_cast<qsizetype>(2 * size + 2), Qt::Uninitialized);
  const std::size_t written = csv_write2(quoted.data(), static_cast<std::size_t>(quoted.size()),
                                         utf8.constData(), size, CSV_QUOTE);
  quoted.truncate(static_cast<qsizetype>(written));
  out.append(quoted);
}

namespace {

QByteArray HeaderRecord(const QAbstractItemModel& model) {
  QStringList fields;
  for (int column = 0; column < model.columnCount(); ++column) {
    fields.push_back(model.headerData(column, Qt::Horizontal).toString());
  }
  QByteArray out;
  CsvWriter::AppendRecord(out, fields);
  return out;
}

void AppendRow(const QAbstractItemModel& model, int row, QByteArray& out) {
  QStringList fields;
  const int columns = model.columnCount();
  fields.reserve(columns);
  for (int column = 0; column < columns; ++column) {
    fields.push_back(model.index(row, column).data().toString());
  }
  CsvWriter::AppendRecord(out, fields);
}

}  // namespace

QByteArray ModelToCsv(const QAbstractItemModel& model) {
  QByteArray out = HeaderRecord(model);
  const int rows = model.rowCount();
  for (int row = 0; row < rows; ++row) {
    AppendRow(model, row, out);
  }
  return out;
}

bool WriteWholeFile(const QString& path, const QByteArray& bytes, QString* error) {
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly)) {
    *error = file.errorString();
    return false;
  }
  if (file.write(bytes) != bytes.size()) {
    *error = file.errorString();
    file.cancelWriting();
    return false;
  }
  if (!file.commit()) {
    *error = file.errorString();
    return false;
  }
  return true;
}

ChunkedWrite WriteFileInChunks(const QString& path, const QByteArray& head, std::size_t total,
                               const std::function<void(std::size_t, QByteArray&)>& item,
                               const ProgressFn& progress, std::size_t chunk) {
  ChunkedWrite result;
  result.total = total;
  QSaveFile file(path);
  auto fail = [&](ChunkedWrite::Status status) {
    result.status = status;
    if (status == ChunkedWrite::Status::Failed) {
      result.error = file.errorString();
    }
    file.cancelWriting();
    return result;
  };
  if (!file.open(QIODevice::WriteOnly)) {
    result.status = ChunkedWrite::Status::Failed;
    result.error = file.errorString();
    return result;
  }
  QByteArray bytes = head;
  chunk = std::max<std::size_t>(1, chunk);
  for (std::size_t i = 0;;) {
    const std::size_t end = std::min(total, i + chunk);
    for (; i < end; ++i) {
      item(i, bytes);
    }
    result.done = i;
    if (file.write(bytes) != bytes.size()) {
      return fail(ChunkedWrite::Status::Failed);
    }
    bytes.clear();
    if (progress && !progress(i, total)) {
      return fail(ChunkedWrite::Status::Cancelled);
    }
    if (i == total) {
      break;
    }
  }
  if (!file.commit()) {
    result.status = ChunkedWrite::Status::Failed;
    result.error = file.errorString();
  }
  return result;
}

ChunkedWrite WriteModelCsv(const QAbstractItemModel& model, const QString& path,
                           const ProgressFn& progress, std::size_t chunk) {
  // Between chunks the window runs and the list may change: each row present at the start is
  // followed where it moves (sorting, rows added or removed before it) and written once with
  // its values of the moment, or left out when it went; rows added meanwhile are not written.
  // A list emptied and filled anew, or whose columns change, stops the write.
  const int rowCount = model.rowCount();
  std::vector<QPersistentModelIndex> rows;
  rows.reserve(static_cast<std::size_t>(rowCount));
  for (int row = 0; row < rowCount; ++row) {
    rows.emplace_back(model.index(row, 0));
  }
  bool reset = false;
  QObject guard;
  const auto stop = [&reset] { reset = true; };
  QObject::connect(&model, &QAbstractItemModel::modelReset, &guard, stop);
  QObject::connect(&model, &QAbstractItemModel::columnsInserted, &guard, stop);
  QObject::connect(&model, &QAbstractItemModel::columnsRemoved, &guard, stop);
  QObject::connect(&model, &QAbstractItemModel::columnsMoved, &guard, stop);
  ChunkedWrite result = WriteFileInChunks(
      path, HeaderRecord(model), rows.size(),
      [&](std::size_t i, QByteArray& out) {
        if (rows[i].isValid()) {
          AppendRow(model, rows[i].row(), out);
        }
      },
      [&](std::size_t done, std::size_t total) {
        return !reset && (!progress || progress(done, total));
      },
      chunk);
  if (reset && result.status == ChunkedWrite::Status::Cancelled) {
    result.status = ChunkedWrite::Status::Failed;
    result.error = QStringLiteral("the list was emptied or rebuilt while it was being exported");
  }
  return result;
}

}  // namespace telmon
