#pragma once

// A thread of its own for database work, so that a database that is slow, locked or silent
// never holds the window. The worker has its own H5DBIL (Qt SQL connections belong to the
// thread that opened them) and runs the jobs posted to it one at a time, in order.
//
// A job hands its results back with Reply: they run on the thread that made the worker, in
// the order they were given, a slice at a time, so that even thousands of results never keep
// that thread's timers waiting long. The worker's own database messages take the same way.

#include "platform/H5DBIL.h"

#include <QObject>
#include <QString>
#include <QThread>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace telmon {

class DatabaseWorker final : public QObject {
  Q_OBJECT

 public:
  using Job = std::function<void(H5DBIL&)>;

  // `onMessage` receives the worker H5DBIL's messages on this thread.
  DatabaseWorker(const QString& siteId, const QString& languageId,
                 const ConnectionStrings& connections,
                 std::function<void(std::int32_t, const QString&)> onMessage,
                 QObject* parent = nullptr);
  // Waits for the job that runs (at most the reply timeout of a silent server); jobs not yet
  // started and results not yet handed back are dropped.
  ~DatabaseWorker() override;
  DatabaseWorker(const DatabaseWorker&) = delete;
  DatabaseWorker& operator=(const DatabaseWorker&) = delete;

  void Post(Job job);
  // From a job: runs `result` on the worker's owning thread after every earlier result.
  void Reply(std::function<void()> result);

  // The longest time one slice of results may take before the owning thread's timers run.
  static constexpr int SliceMs = 20;

 private:
  void Drain();

  QThread thread_;
  QObject* home_ = nullptr;  // lives on the worker thread; jobs are its queued calls
  std::unique_ptr<H5DBIL> dbil_;
  std::mutex mutex_;
  std::deque<std::function<void()>> results_;
  bool drainQueued_ = false;
  std::atomic<bool> closing_{false};
};

}  // namespace telmon
