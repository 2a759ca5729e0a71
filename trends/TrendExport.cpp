#include "trends/TrendExport.h"

#include "util/CsvFile.h"
#include "util/Value.h"

#include <cmath>

namespace telmon {

QDateTime TrendDateTime(double time) {
  return QDateTime::fromMSecsSinceEpoch(std::llround(time * 1000.0));
}

QString TrendTimeText(double time) {
  return TrendDateTime(time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

QByteArray TrendCsv(const TrendRecorder& recorder,
                    const std::vector<const TrendRecorder::Series*>& series, double fromTime,
                    double toTime) {
  CsvWriter writer;
  QStringList fields{QStringLiteral("Time")};
  for (const TrendRecorder::Series* one : series) {
    fields.push_back(one->Name());
  }
  writer.AddRecord(fields);
  for (const std::uint64_t tick : recorder.Ticks()) {
    const double time = recorder.TimeAt(tick);
    if (time < fromTime || time > toTime) {
      continue;
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
      writer.AddRecord(fields);
    }
  }
  return writer.Bytes();
}

}  // namespace telmon
