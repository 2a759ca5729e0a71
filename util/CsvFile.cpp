#include "util/CsvFile.h"

#include <QSaveFile>

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

void CsvWriter::AddRecord(const QStringList& fields) {
  for (qsizetype i = 0; i < fields.size(); ++i) {
    if (i > 0) {
      bytes_.append(',');
    }
    AddField(fields[i]);
  }
  bytes_.append("\r\n");
}

void CsvWriter::AddField(const QString& field) {
  const QByteArray utf8 = field.toUtf8();
  if (!NeedsQuotes(utf8)) {
    bytes_.append(utf8);
    return;
  }
  // The quoted form is at most twice the field plus the two enclosing quotes.
  const auto size = static_cast<std::size_t>(utf8.size());
  QByteArray quoted(static_cast<qsizetype>(2 * size + 2), Qt::Uninitialized);
  const std::size_t written = csv_write2(quoted.data(), static_cast<std::size_t>(quoted.size()),
                                         utf8.constData(), size, CSV_QUOTE);
  quoted.truncate(static_cast<qsizetype>(written));
  bytes_.append(quoted);
}

QByteArray ModelToCsv(const QAbstractItemModel& model) {
  CsvWriter writer;
  const int columns = model.columnCount();
  QStringList fields;
  fields.reserve(columns);
  for (int column = 0; column < columns; ++column) {
    fields.push_back(model.headerData(column, Qt::Horizontal).toString());
  }
  writer.AddRecord(fields);
  const int rows = model.rowCount();
  for (int row = 0; row < rows; ++row) {
    fields.clear();
    for (int column = 0; column < columns; ++column) {
      fields.push_back(model.index(row, column).data().toString());
    }
    writer.AddRecord(fields);
  }
  return writer.Bytes();
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

}  // namespace telmon
