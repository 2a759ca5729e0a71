#pragma once

// The journal as CSV (RFC 4180): UTF-8, CRLF between records, a header line, and a field in
// double quotes (its quotes doubled) when it holds a comma, a quote or a line break.

#include "journal/IOperationJournal.h"
#include "util/CsvFile.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace telmon {

QString CsvField(const QString& text);
// The entries in the order given.
QByteArray JournalCsv(const std::vector<const JournalEntry*>& entries);
// The same bytes written to `path` a chunk of entries at a time, telling `progress` between
// chunks; a cancelled or failed write leaves no file (WriteFileInChunks).
ChunkedWrite WriteJournalCsv(const QString& path, const std::vector<JournalEntry>& entries,
                             const ProgressFn& progress);

}  // namespace telmon
