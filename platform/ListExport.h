#pragma once

// "Export List...": asks for a file name and writes a list, header first, every row and
// column, as a comma-separated file. The file is replaced only when all of it was written; a
// failure leaves no partial file and says why in a message box. A large list is written a
// chunk of rows at a time, telling `progress` between chunks; Cancel there leaves no file
// either and says so.

#include "platform/Prompter.h"
#include "util/CsvFile.h"

#include <QAbstractItemModel>
#include <QString>

namespace telmon {

inline constexpr char ExportListCaption[] = "Export List...";
inline constexpr char ExportListTitle[] = "Export List";

// What happened, for the caller's own message log: the file written, or empty when the
// operator cancelled or the file could not be written.
QString ExportListToCsv(const QAbstractItemModel& model, Prompter& prompter,
                        const QString& suggestedName, const ProgressFn& progress = {});

// "The export was cancelled after <done> of <total> rows; <file> was not written."
QString ExportCancelledText(std::size_t done, std::size_t total, const QString& what,
                            const QString& path);

}  // namespace telmon
