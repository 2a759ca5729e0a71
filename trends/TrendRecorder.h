#pragma once

// The recent history of every watched channel, kept from the values the channel tick reads,
// whether or not a trend window is open. Every tick adds one point to every watched row, so
// the tick times are kept once for all channels and each channel keeps its values in step.
//
// A point is a number only when the read gave a number without text; a text, a null value, or
// a row the read did not return (a failed read) is a gap. A tick whose time is not after the
// last one (the clock was put back) drops the points at or after that time and leaves a gap,
// so that times only ever increase and no line is drawn back in time.
//
// The points are kept within a memory budget: when the watched channels' points would take
// more, the newest updates stay whole in three quarters of it and the older ones are thinned
// into the last quarter (one update kept in 2, 4, 8, ... as they grow), rather than the recording
// failing or the history growing shorter; ThinnedNote says so for the trend window. Only the
// age limit (the capacity) ever drops points outright.

#include "platform/H5DBIL.h"
#include "views/ChannelUpdateTick.h"
#include "views/KeyedListModel.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace telmon {

// Four hours at the two-second tick.
inline constexpr std::size_t DefaultTrendCapacity = 7200;
inline constexpr std::size_t DefaultTrendMemoryBudget = std::size_t{256} * 1024 * 1024;

class TrendRecorder : public QObject, public IChannelTickObserver {
  Q_OBJECT

 public:
  class Series {
   public:
    const QString& Key() const { return key_; }
    const QString& Name() const { return name_; }

   private:
    friend class TrendRecorder;
    QString key_;
    QString name_;
    std::uint64_t first_ = 0;      // the first tick this channel was recorded at
    std::uint64_t last_ = 0;       // the last tick it was watched at
    std::vector<double> values_;   // a ring in step with the tick times; NaN is a gap
    std::vector<double> thinned_;  // in step with the thinned ticks; NaN is a gap
  };

  struct Point {
    double time;   // seconds since the epoch, with milliseconds
    double value;  // NaN for a gap
  };

  // Records the rows of `watches` (keyed by IOID, named by their row text).
  explicit TrendRecorder(KeyedListModel& watches, std::size_t capacity = DefaultTrendCapacity,
                         QObject* parent = nullptr,
                         std::size_t memoryBudget = DefaultTrendMemoryBudget);
  ~TrendRecorder() override;

  void TickRead(const QDateTime& time, const CurrentValues* values) override;

  // The channels in the watch list's order.
  std::vector<const Series*> AllSeries() const;
  const Series* Find(const QString& key) const;
  // The points of a channel, oldest first.
  std::vector<Point> Points(const Series& series) const;
  // Appends the points recorded at ticks from `fromTick` on; returns the next tick to ask for.
  std::uint64_t AppendPoints(const Series& series, std::uint64_t fromTick,
                             std::vector<Point>& out) const;
  // The time of a kept tick, and a channel's value at it (NaN for a gap or a tick before the
  // channel was watched).
  // A thinned tick (before FirstTick) is found among the thinned ones.
  double TimeAt(std::uint64_t tick) const {
    return tick >= begin_ ? times_[Slot(tick)] : ThinnedTimeAt(tick);
  }
  double ValueAt(const Series& series, std::uint64_t tick) const;
  // The first tick kept whole, and the end of the kept ticks.
  std::uint64_t FirstTick() const { return begin_; }
  std::uint64_t EndTick() const { return end_; }
  // Every kept tick, oldest first: the thinned ones, then FirstTick to EndTick.
  std::vector<std::uint64_t> Ticks() const;
  // The time of the oldest point kept, thinned or whole; NaN while nothing is kept.
  double FirstTime() const;
  // The older ticks kept, one in ThinStep(), and that step (1 while nothing is thinned).
  std::size_t ThinnedTicks() const { return thinTicks_.size(); }
  std::size_t ThinStep() const { return thinStep_; }
  // Changes whenever kept points were dropped other than by age (the clock was put back).
  std::uint64_t Generation() const { return generation_; }
  std::size_t Capacity() const { return capacity_; }
  // The ticks kept at most for the channels watched now, within the memory budget.
  std::size_t KeptTicks() const { return ring_; }
  std::size_t MemoryBudget() const { return budget_; }
  // Empty while nothing was thinned for the budget; else "Older points were thinned to keep the
  // trends within <n> MiB: the last <ticks> updates are kept whole for each of <channels>
  // channels, those since <time> one in <step>."
  QString ThinnedNote() const;

  static std::optional<double> NumberOf(const CurrentValueItem& item);

 Q_SIGNALS:
  // After every tick that was recorded.
  void Recorded();
  // A watched row was removed: its channel is no longer recorded or shown.
  void SeriesRemoved();

 private:
  void AddTick(double time);
  void Rewind(double time);
  void Store(Series& series, std::uint64_t tick, double value);
  void DropUnwatched();
  // Fits the kept ticks to the budget for `channels` channels.
  void FitBudget(std::size_t channels);
  void Relayout(std::size_t ring);
  // Ticks [from, to) leave the ring: kept thinned while the budget, not age, makes them go.
  void Retire(std::uint64_t from, std::uint64_t to, bool forBudget);
  // Keeps every other thinned tick, doubling the step.
  void HalveThinned();
  // Halves the thinned ticks until they fit their share of the budget.
  void FitThinned();
  double ThinnedTimeAt(std::uint64_t tick) const;
  // The index of a thinned tick, or the largest size_t.
  std::size_t ThinnedIndex(std::uint64_t tick) const;
  std::size_t Slot(std::uint64_t tick) const { return static_cast<std::size_t>(tick % ring_); }

  KeyedListModel& watches_;
  std::size_t capacity_;
  std::size_t budget_;
  std::size_t ring_;  // the slots of the rings now: capacity_ or fewer for the budget
  bool thinned_ = false;
  std::size_t thinnedChannels_ = 0;
  std::size_t channels_ = 0;  // watched at the last tick
  std::vector<double> times_;
  std::uint64_t begin_ = 0;
  std::uint64_t end_ = 0;
  std::uint64_t generation_ = 0;
  std::unordered_map<QString, std::unique_ptr<Series>> series_;
  std::vector<std::uint64_t> thinTicks_;
  std::vector<double> thinTimes_;
  std::size_t thinStep_ = 1;
  std::size_t thinMax_ = 0;  // the thinned ticks the budget's last quarter holds
};

}  // namespace telmon
