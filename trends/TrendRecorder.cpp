#include "trends/TrendRecorder.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace telmon {

namespace {

constexpr double Gap = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t NotThinned = std::numeric_limits<std::size_t>::max();

}  // namespace

TrendRecorder::TrendRecorder(KeyedListModel& watches, std::size_t capacity, QObject* parent,
                             std::size_t memoryBudget)
    : QObject(parent),
      watches_(watches),
      capacity_(std::max<std::size_t>(capacity, 2)),
      budget_(memoryBudget),
      ring_(capacity_) {
  times_.reserve(std::min<std::size_t>(capacity_, 1024));
  connect(&watches_, &QAbstractItemModel::rowsRemoved, this, &TrendRecorder::DropUnwatched);
  connect(&watches_, &QAbstractItemModel::modelReset, this, &TrendRecorder::DropUnwatched);
}

TrendRecorder::~TrendRecorder() = default;

std::optional<double> TrendRecorder::NumberOf(const CurrentValueItem& item) {
  if (!item.numericValue || !item.textValue.isEmpty() || !std::isfinite(*item.numericValue)) {
    return std::nullopt;
  }
  return item.numericValue;
}

void TrendRecorder::TickRead(const QDateTime& time, const CurrentValues* values) {
  const double seconds = static_cast<double>(time.toMSecsSinceEpoch()) / 1000.0;
  if (end_ > begin_ && seconds <= times_[Slot(end_ - 1)]) {
    Rewind(seconds);
  }
  const int rows = watches_.RowCount();
  FitBudget(static_cast<std::size_t>(rows));
  AddTick(seconds);
  const std::uint64_t tick = end_ - 1;
  for (int i = 0; i < rows; ++i) {
    const KeyedListModel::RowRef row = watches_.RowAt(i);
    const QString key = watches_.Key(row);
    if (key.isEmpty()) {
      continue;
    }
    std::unique_ptr<Series>& series = series_[key];
    if (!series) {
      series = std::make_unique<Series>();
      series->key_ = key;
      series->first_ = tick;
    }
    series->name_ = watches_.Text(row);
    series->last_ = tick;
    std::optional<double> number;
    if (values != nullptr) {
      const auto it = values->constFind(key);
      if (it != values->constEnd()) {
        number = NumberOf(*it);
      }
    }
    Store(*series, tick, number.value_or(Gap));
  }
  const std::size_t before = series_.size();
  std::erase_if(series_, [tick](const auto& entry) { return entry.second->last_ != tick; });
  if (series_.size() != before) {
    Q_EMIT SeriesRemoved();
  }
  Q_EMIT Recorded();
}

void TrendRecorder::AddTick(double time) {
  // The tick that leaves the ring goes before its slot is written over.
  if (end_ + 1 - begin_ > ring_) {
    Retire(begin_, end_ + 1 - ring_, ring_ < capacity_);
    begin_ = end_ + 1 - ring_;
  }
  const std::size_t slot = Slot(end_);
  if (times_.size() <= slot) {
    times_.resize(slot + 1, Gap);
  }
  times_[slot] = time;
  ++end_;
}

void TrendRecorder::FitBudget(std::size_t channels) {
  // Each kept tick costs a time and one value per channel; a thinned one its number too.
  channels_ = channels;
  const std::size_t perTick = sizeof(double) * (channels + 1);
  std::size_t fits = std::clamp<std::size_t>(budget_ / perTick, 2, capacity_);
  if (fits < capacity_) {
    // Not everything fits whole: the newest in three quarters, the older thinned in the rest.
    fits = std::clamp<std::size_t>(budget_ / 4 * 3 / perTick, 2, capacity_);
  }
  // Shrink at once; grow back only in steps of a quarter or more, as each copies every point.
  const std::size_t ring =
      fits < ring_ || (fits > ring_ && (fits >= ring_ + ring_ / 4 || fits == capacity_)) ? fits
                                                                                         : ring_;
  const std::size_t whole = std::min(budget_, ring * perTick);
  thinMax_ = (budget_ - whole) / (sizeof(double) * (channels + 2));
  if (ring != ring_) {
    if (ring < ring_ && end_ - begin_ > ring) {
      thinned_ = true;
      thinnedChannels_ = channels;
    }
    Relayout(ring);
  }
  FitThinned();
}

void TrendRecorder::FitThinned() {
  if (thinMax_ < 2 && !thinTicks_.empty()) {
    thinTicks_.clear();
    thinTimes_.clear();
    for (auto& [key, series] : series_) {
      series->thinned_.clear();
    }
    ++generation_;
  }
  while (thinTicks_.size() > std::max<std::size_t>(thinMax_, 1)) {
    HalveThinned();
  }
}

void TrendRecorder::Retire(std::uint64_t from, std::uint64_t to, bool forBudget) {
  if (!forBudget || thinMax_ < 2) {
    return;  // older than the age limit, or no room for thinned points at all
  }
  for (std::uint64_t tick = from; tick < to; ++tick) {
    if (tick % thinStep_ != 0) {
      continue;
    }
    thinned_ = true;
    thinnedChannels_ = channels_;
    thinTicks_.push_back(tick);
    thinTimes_.push_back(times_[Slot(tick)]);
    for (auto& [key, series] : series_) {
      series->thinned_.resize(thinTicks_.size() - 1, Gap);
      series->thinned_.push_back(ValueAt(*series, tick));
    }
  }
  // Past the age limit thinned points go too, an eighth of them at a time.
  const auto aged = static_cast<std::size_t>(
      std::find_if(thinTicks_.begin(), thinTicks_.end(),
                   [this](std::uint64_t tick) { return tick + capacity_ >= end_; }) -
      thinTicks_.begin());
  if (aged > 0 && aged >= thinTicks_.size() / 8) {
    const auto drop = [aged](auto& v) {
      v.erase(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(std::min(aged, v.size())));
    };
    drop(thinTicks_);
    drop(thinTimes_);
    for (auto& [key, series] : series_) {
      drop(series->thinned_);
    }
  }
  FitThinned();
}

void TrendRecorder::HalveThinned() {
  if (thinTicks_.size() <= 1) {
    return;
  }
  thinStep_ *= 2;
  std::vector<std::size_t> keep;
  for (std::size_t i = 0; i < thinTicks_.size(); ++i) {
    if (thinTicks_[i] % thinStep_ == 0) {
      keep.push_back(i);
    }
  }
  const auto pick = [&keep](auto& v) {
    std::remove_reference_t<decltype(v)> kept;
    kept.reserve(keep.size());
    for (const std::size_t i : keep) {
      kept.push_back(i < v.size() ? v[i] : Gap);
    }
    v = std::move(kept);
  };
  pick(thinTicks_);
  pick(thinTimes_);
  for (auto& [key, series] : series_) {
    pick(series->thinned_);
  }
  ++generation_;
}

std::size_t TrendRecorder::ThinnedIndex(std::uint64_t tick) const {
  const auto it = std::lower_bound(thinTicks_.begin(), thinTicks_.end(), tick);
  return it == thinTicks_.end() || *it != tick ? NotThinned
                                               : static_cast<std::size_t>(it - thinTicks_.begin());
}

double TrendRecorder::ThinnedTimeAt(std::uint64_t tick) const {
  const std::size_t i = ThinnedIndex(tick);
  return i == NotThinned ? Gap : thinTimes_[i];
}

std::vector<std::uint64_t> TrendRecorder::Ticks() const {
  std::vector<std::uint64_t> ticks = thinTicks_;
  for (std::uint64_t tick = begin_; tick < end_; ++tick) {
    ticks.push_back(tick);
  }
  return ticks;
}

double TrendRecorder::FirstTime() const {
  if (!thinTimes_.empty()) {
    return thinTimes_.front();
  }
  return end_ > begin_ ? times_[Slot(begin_)] : Gap;
}

// The rings get `ring` slots; the newest ticks that fit stay where they belong in them.
void TrendRecorder::Relayout(std::size_t ring) {
  const std::uint64_t from = std::max<std::uint64_t>(begin_, end_ > ring ? end_ - ring : 0);
  Retire(begin_, from, ring < capacity_);
  auto move = [&](std::vector<double>& slots) {
    std::vector<double> moved(std::min<std::uint64_t>(ring, end_), Gap);
    for (std::uint64_t tick = from; tick < end_; ++tick) {
      const std::size_t old = Slot(tick);
      moved[static_cast<std::size_t>(tick % ring)] = old < slots.size() ? slots[old] : Gap;
    }
    slots = std::move(moved);
  };
  move(times_);
  for (auto& [key, series] : series_) {
    move(series->values_);
  }
  if (from != begin_) {
    ++generation_;
  }
  begin_ = from;
  ring_ = ring;
}

QString TrendRecorder::ThinnedNote() const {
  if (!thinned_) {
    return {};
  }
  if (!thinTicks_.empty()) {
    return QStringLiteral(
               "Older points were thinned to keep the trends within %1 MiB: the last %2 updates "
               "are kept whole for each of %3 channels, those since %4 one in %5.")
        .arg(budget_ / (std::size_t{1024} * 1024))
        .arg(ring_)
        .arg(thinnedChannels_)
        .arg(QDateTime::fromMSecsSinceEpoch(std::llround(thinTimes_.front() * 1000.0))
                 .toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")))
        .arg(thinStep_);
  }
  return QStringLiteral(
             "Older points were dropped to keep the trends within %1 MiB: %2 updates are kept "
             "for each of %3 channels.")
      .arg(budget_ / (std::size_t{1024} * 1024))
      .arg(ring_)
      .arg(thinnedChannels_);
}

// The clock was put back: the points at or after the new time go, and a gap between the last
// point kept and the new one keeps the line from joining them.
void TrendRecorder::Rewind(double time) {
  while (end_ > begin_ && times_[Slot(end_ - 1)] >= time) {
    --end_;
  }
  while (!thinTimes_.empty() && thinTimes_.back() >= time) {
    thinTicks_.pop_back();
    thinTimes_.pop_back();
    for (auto& [key, series] : series_) {
      series->thinned_.resize(std::min(series->thinned_.size(), thinTicks_.size()));
    }
  }
  ++generation_;
  for (auto& [key, series] : series_) {
    series->first_ = std::min(series->first_, end_);
  }
  if (end_ == begin_) {
    return;
  }
  const double last = times_[Slot(end_ - 1)];
  AddTick(last + (time - last) / 2);
  for (auto& [key, series] : series_) {
    Store(*series, end_ - 1, Gap);
  }
}

void TrendRecorder::Store(Series& series, std::uint64_t tick, double value) {
  const std::size_t slot = Slot(tick);
  if (series.values_.size() <= slot) {
    series.values_.resize(slot + 1, Gap);
  }
  series.values_[slot] = value;
}

void TrendRecorder::DropUnwatched() {
  const std::size_t before = series_.size();
  std::erase_if(series_,
                [this](const auto& entry) { return watches_.FindKey(entry.first) == nullptr; });
  if (series_.size() != before) {
    Q_EMIT SeriesRemoved();
  }
}

std::vector<const TrendRecorder::Series*> TrendRecorder::AllSeries() const {
  std::vector<const Series*> all;
  all.reserve(series_.size());
  const int rows = watches_.RowCount();
  for (int i = 0; i < rows; ++i) {
    if (const Series* series = Find(watches_.Key(watches_.RowAt(i)))) {
      all.push_back(series);
    }
  }
  return all;
}

const TrendRecorder::Series* TrendRecorder::Find(const QString& key) const {
  const auto it = series_.find(key);
  return it == series_.end() ? nullptr : it->second.get();
}

double TrendRecorder::ValueAt(const Series& series, std::uint64_t tick) const {
  if (tick < begin_ && tick >= series.first_) {
    const std::size_t i = ThinnedIndex(tick);
    return i < series.thinned_.size() ? series.thinned_[i] : Gap;
  }
  const std::size_t slot = Slot(tick);
  if (tick < series.first_ || tick < begin_ || tick >= end_ || slot >= series.values_.size()) {
    return Gap;
  }
  return series.values_[slot];
}

std::vector<TrendRecorder::Point> TrendRecorder::Points(const Series& series) const {
  std::vector<Point> points;
  AppendPoints(series, 0, points);
  return points;
}

std::uint64_t TrendRecorder::AppendPoints(const Series& series, std::uint64_t fromTick,
                                          std::vector<Point>& out) const {
  for (std::size_t i = 0; i < thinTicks_.size(); ++i) {
    if (thinTicks_[i] >= fromTick && thinTicks_[i] >= series.first_) {
      out.push_back(Point{thinTimes_[i], i < series.thinned_.size() ? series.thinned_[i] : Gap});
    }
  }
  const std::uint64_t from = std::max({fromTick, series.first_, begin_});
  for (std::uint64_t tick = from; tick < end_; ++tick) {
    const std::size_t slot = Slot(tick);
    const double value = slot < series.values_.size() ? series.values_[slot] : Gap;
    out.push_back(Point{times_[slot], value});
  }
  return end_;
}

}  // namespace telmon
