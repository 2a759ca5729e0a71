#include "views/ChannelValueTexts.h"

#include "views/ChannelListviewManager.h"

namespace telmon {

namespace {

// The same instant in another time spec is shown differently.
bool SameStamp(const QDateTime& a, const QDateTime& b) {
  return a == b && a.timeSpec() == b.timeSpec();
}

}  // namespace

const ChannelValueTexts::Texts& ChannelValueTexts::For(const CurrentValueItem& item,
                                                       const DateTimeFormats& formats) {
  Entry& e = entries_[item.ioid];
  if (!e.filled || e.numeric != item.numericValue || e.text != item.textValue) {
    e.numeric = item.numericValue;
    e.text = item.textValue;
    e.texts.value = ChannelListviewManager::ValueText(item);
  }
  if (!e.filled || !SameStamp(e.stamp, item.timestamp)) {
    if (lastStampText_.isNull() || !SameStamp(lastStamp_, item.timestamp)) {
      lastStamp_ = item.timestamp;
      lastStampText_ = ChannelListviewManager::DefaultDateTimeText(item.timestamp, formats);
    }
    e.stamp = item.timestamp;
    e.texts.stamp = lastStampText_;
  }
  e.filled = true;
  return e.texts;
}

void ChannelValueTexts::EndOfRead(qsizetype pointsRead) {
  if (entries_.size() > 2 * pointsRead + 64) {
    entries_.clear();
  }
}

void ChannelValueTexts::Clear() {
  entries_.clear();
  lastStamp_ = QDateTime();
  lastStampText_ = QString();
}

}  // namespace telmon
