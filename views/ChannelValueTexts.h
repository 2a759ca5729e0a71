#pragma once

// The value and time-stamp texts of the watched realtime points. Formatting a number and a
// local date-time costs far more than reading them, and most points, tick after tick, hold the
// value and time stamp they held before, while points written together share one time stamp.
// So each point's texts are kept with the raw value they came from and formatted again only
// when that changes, and a time stamp equal to the last one formatted reuses its text.

#include "platform/H5DBIL.h"
#include "util/UtilityFunctions.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <optional>

namespace telmon {

class ChannelValueTexts {
 public:
  struct Texts {
    QString value;
    QString stamp;
  };

  // The texts of one point, as the watch list shows them (the formats must stay the same
  // between calls until Clear).
  const Texts& For(const CurrentValueItem& item, const DateTimeFormats& formats);
  // Drops the kept texts of points that were not read for a while: the cache never holds much
  // more than one read's worth.
  void EndOfRead(qsizetype pointsRead);
  void Clear();
  // How many points' texts are kept.
  qsizetype Size() const { return entries_.size(); }

 private:
  struct Entry {
    std::optional<double> numeric;
    QString text;
    QDateTime stamp;
    Texts texts;
    bool filled = false;
  };
  QHash<QString, Entry> entries_;
  QDateTime lastStamp_;
  QString lastStampText_;
};

}  // namespace telmon
