#pragma once

// The journal as CSV (RFC 4180): UTF-8, CRLF between records, a header line, and a field in
// double quotes (its quotes doubled) when it holds a comma, a quote or a line break.

#include "journal/IOperationJournal.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace telmon {

QString CsvField(const QString& text);
// The entries in the order given.
QByteArray JournalCsv(const std::vector<const JournalEntry*>& entries);

}  // namespace telmon
