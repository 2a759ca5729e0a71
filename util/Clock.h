#pragma once

// The injectable source of the current time and the millisecond tick, so that clock panels,
// time stamps and burst trimming are testable.

#include <QDateTime>
#include <QElapsedTimer>

#include <cstdint>

namespace telmon {

class IClock {
 public:
  virtual ~IClock() = default;
  virtual QDateTime Now() const = 0;
  // Milliseconds, wrapping like the system's 32-bit tick count.
  virtual std::int32_t TickMs() const = 0;
};

class SystemClock final : public IClock {
 public:
  SystemClock() { timer_.start(); }
  QDateTime Now() const override { return QDateTime::currentDateTime(); }
  std::int32_t TickMs() const override {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(timer_.elapsed()));
  }

 private:
  QElapsedTimer timer_;
};

// A clock the tests move by hand.
class ManualClock final : public IClock {
 public:
  QDateTime Now() const override { return now_; }
  std::int32_t TickMs() const override { return tick_; }
  void SetNow(const QDateTime& now) { now_ = now; }
  void SetTick(std::int32_t tick) { tick_ = tick; }
  void Advance(std::int32_t ms) {
    tick_ += ms;
    now_ = now_.addMSecs(ms);
  }

 private:
  QDateTime now_ = QDateTime(QDate(2024, 3, 14), QTime(14, 5, 9));
  std::int32_t tick_ = 0;
};

}  // namespace telmon
