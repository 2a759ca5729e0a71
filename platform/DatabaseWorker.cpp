#include "platform/DatabaseWorker.h"

#include <QElapsedTimer>
#include <QTimer>

namespace telmon {

DatabaseWorker::DatabaseWorker(const QString& siteId, const QString& languageId,
                               const ConnectionStrings& connections,
                               std::function<void(std::int32_t, const QString&)> onMessage,
                               QObject* parent)
    : QObject(parent) {
  thread_.setObjectName(QStringLiteral("telmon-database"));
  home_ = new QObject();
  home_->moveToThread(&thread_);
  connect(&thread_, &QThread::finished, home_, &QObject::deleteLater);
  thread_.start();
  // The H5DBIL is made on the worker thread, before any job runs.
  QMetaObject::invokeMethod(
      home_,
      [this, siteId, languageId, connections, onMessage = std::move(onMessage)] {
        dbil_ = std::make_unique<H5DBIL>();
        QObject::connect(dbil_.get(), &H5DBIL::Message, dbil_.get(),
                         [this, onMessage](std::int32_t type, const QString& text) {
                           Reply([onMessage, type, text] { onMessage(type, text); });
                         });
        dbil_->SetSiteID(siteId, languageId, connections);
      },
      Qt::QueuedConnection);
}

DatabaseWorker::~DatabaseWorker() {
  closing_ = true;
  // The connections are closed on the thread that opened them.
  QMetaObject::invokeMethod(
      home_, [this] { dbil_.reset(); }, Qt::QueuedConnection);
  thread_.quit();
  thread_.wait();
  const std::lock_guard lock(mutex_);
  results_.clear();
}

void DatabaseWorker::Post(Job job) {
  QMetaObject::invokeMethod(
      home_,
      [this, job = std::move(job)] {
        if (!closing_ && dbil_) {
          job(*dbil_);
        }
      },
      Qt::QueuedConnection);
}

void DatabaseWorker::Reply(std::function<void()> result) {
  const std::lock_guard lock(mutex_);
  if (closing_) {
    return;
  }
  results_.push_back(std::move(result));
  if (!drainQueued_) {
    drainQueued_ = true;
    QMetaObject::invokeMethod(this, &DatabaseWorker::Drain, Qt::QueuedConnection);
  }
}

void DatabaseWorker::Drain() {
  QElapsedTimer slice;
  slice.start();
  for (;;) {
    std::function<void()> next;
    {
      const std::lock_guard lock(mutex_);
      if (results_.empty()) {
        drainQueued_ = false;
        return;
      }
      if (slice.elapsed() >= SliceMs) {
        // The rest waits for the timers that are due.
        QTimer::singleShot(0, this, &DatabaseWorker::Drain);
        return;
      }
      next = std::move(results_.front());
      results_.pop_front();
    }
    next();
  }
}

}  // namespace telmon
