#include "trends/TrendExport.h"

#include "util/CsvFile.h"
#include "util/Value.h"

#include <algorithm>
#include <cmath>

namespace telmon {

QDateTime TrendDateTime(double time) {
  return QDateTime::fromMSecsSinceEpoch(std::llround(time * 1000.0));
}

QString TrendTimeText(double time) {
  return TrendDateTime(time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

namespace {

QByteArray HeaderRecord(const std::vector<const TrendRecorder::Series*>& series) {
  QStringList fields{QStringLiteral("Time")};
  for (const TrendRecorder::Series* one : series) {
    fields.push_back(one->Name());
  }
  QByteArray out;
  CsvWriter::AppendRecord(out, fields);
  return out;
}

// The tick's record when its time is inside the range and it has a value (or there are no
// series); between the chunks of a long write the tick may have left the recorder (no time).
void AppendTick(const TrendRecorder& recorder,
                const std::vector<const TrendRecorder::Series*>& series, std::uint64_t tick,
                double fromTime, double toTime, QStringList& fields, QByteArray& out) {
  const double time = recorder.TimeAt(tick);
  if (std::isnan(time) || time < fromTime || time > toTime) {
    return;
  }
  fields.clear();
  fields.push_back(TrendTimeText(time));
  bool any = false;
  for (const TrendRecorder::Series* one : series) {
    const double value = recorder.ValueAt(*one, tick);
    any = any || !std::isnan(value);
    fields.push_back(std::isnan(value) ? QString() : Value(value).ToText());
  }
  if (any || series.empty()) {
    CsvWriter::AppendRecord(out, fields);
  }
}

}  // namespace

QByteArray TrendCsv(const TrendRecorder& recorder,
                    const std::vector<const TrendRecorder::Series*>& series, double fromTime,
                    double toTime) {
  QByteArray out = HeaderRecord(series);
  QStringList fields;
  for (const std::uint64_t tick : recorder.Ticks()) {
    AppendTick(recorder, series, tick, fromTime, toTime, fields, out);
  }
  return out;
}

ChunkedWrite WriteTrendCsv(const QString& path, const TrendRecorder& recorder,
                           const std::vector<const TrendRecorder::Series*>& series, double fromTime,
                           double toTime, const ProgressFn& progress) {
  const std::vector<std::uint64_t> ticks = recorder.Ticks();
  QStringList fields;
  // A chunk of ticks is as much work as a chunk of rows of as many fields.
  const std::size_t chunk =
      std::max<std::size_t>(1, FileChunkItems * 10 / std::max<std::size_t>(10, series.size()));
  return WriteFileInChunks(
      path, HeaderRecord(series), ticks.size(),
      [&](std::size_t i, QByteArray& out) {
        AppendTick(recorder, series, ticks[i], fromTime, toTime, fields, out);
      },
      progress, chunk);
}

}  // namespace telmon
