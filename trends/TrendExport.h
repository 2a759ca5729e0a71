#pragma once

// The trend window's data as a comma-separated file: a "Time" column, then one column per
// channel named by its row text, one record per tick inside the time range; a gap is an
// empty field.

#include "trends/TrendRecorder.h"
#include "util/CsvFile.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <vector>

namespace telmon {

QByteArray TrendCsv(const TrendRecorder& recorder,
                    const std::vector<const TrendRecorder::Series*>& series, double fromTime,
                    double toTime);

// The same bytes written to `path` a chunk of ticks at a time, telling `progress` (ticks dealt
// with of those kept) between chunks; a cancelled or failed write leaves no file. The caller
// stops the write (through `progress`) when a series goes meanwhile.
ChunkedWrite WriteTrendCsv(const QString& path, const TrendRecorder& recorder,
                           const std::vector<const TrendRecorder::Series*>& series, double fromTime,
                           double toTime, const ProgressFn& progress);

// A tick time (seconds since the epoch) as local "yyyy-MM-dd hh:mm:ss".
QString TrendTimeText(double time);
QDateTime TrendDateTime(double time);

}  // namespace telmon
