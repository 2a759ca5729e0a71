#include "trends/TrendRecorder.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace telmon {

namespace {

constexpr double Gap = std::numeric_limits<double>::quiet_NaN();

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
  const std::size_t slot = Slot(end_);
  if (times_.size() <= slot) {
    times_.resize(slot + 1, Gap);
  }
  times_[slot] = time;
  ++end_;
  if (end_ - begin_ > ring_) {
    begin_ = end_ - ring_;
  }
}

void TrendRecorder::FitBudget(std::size_t channels) {
  // Each kept tick costs a time and one value per channel.
  const std::size_t perTick = sizeof(double) * (channels + 1);
  const std::size_t fits = std::clamp<std::size_t>(budget_ / perTick, 2, capacity_);
  // Shrink at once; grow back only in steps of a quarter or more, as each copies every point.
  if (fits < ring_ || (fits > ring_ && (fits >= ring_ + ring_ / 4 || fits == capacity_))) {
    if (fits < ring_ && end_ - begin_ > fits) {
      thinned_ = true;
      thinnedChannels_ = channels;
    }
    Relayout(fits);
  }
}

// The rings get `ring` slots; the newest ticks that fit stay where they belong in them.
void TrendRecorder::Relayout(std::size_t ring) {
  const std::uint64_t from = std::max<std::uint64_t>(begin_, end_ > ring ? end_ - ring : 0);
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
  const std::uint64_t from = std::max({fromTick, series.first_, begin_});
  for (std::uint64_t tick = from; tick < end_; ++tick) {
    const std::size_t slot = Slot(tick);
    const double value = slot < series.values_.size() ? series.values_[slot] : Gap;
    out.push_back(Point{times_[slot], value});
  }
  return end_;
}

}  // namespace telmon
