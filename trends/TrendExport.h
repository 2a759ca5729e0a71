#pragma once

// The trend window's data as a comma-separated file: a "Time" column, then one column per
// channel named by its row text, one record per tick inside the time range; a gap is an
// empty field.

#include "trends/TrendRecorder.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <vector>

namespace telmon {

QByteArray TrendCsv(const TrendRecorder& recorder,
                    const std::vector<const TrendRecorder::Series*>& series, double fromTime,
                    double toTime);

// A tick time (seconds since the epoch) as local "yyyy-MM-dd hh:mm:ss".
QString TrendTimeText(double time);
QDateTime TrendDateTime(double time);

}  // namespace telmon
