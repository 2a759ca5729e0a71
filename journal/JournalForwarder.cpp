#include "journal/JournalForwarder.h"

#include "journal/OperationJournal.h"
#include "journal/SharedJournal.h"
#include "platform/SqlConnection.h"
#include "util/IRaiseMsg.h"

#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QThread>
#include <QTimer>

#include <memory>
#include <optional>

namespace telmon {

namespace {

// Entries per insert transaction: large enough that a bulk write's thousands of entries go in
// a few round trips, small enough that the table lock is held for a moment only.
constexpr int kBatch = 500;

}  // namespace

// Lives on the forwarder's thread; every connection it opens is used there only.
class JournalForwarderWorker final : public QObject {
 public:
  JournalForwarderWorker(JournalForwarder& owner, QString outboxFile, int retryMs, int followMs)
      : owner_(owner),
        outboxFile_(std::move(outboxFile)),
        localName_(QStringLiteral("telmon-outbox-%1").arg(reinterpret_cast<quintptr>(this))),
        retryMs_(retryMs),
        followMs_(followMs),
        server_(std::make_unique<SqlConnection>(owner_.server_, OpenMode::ReadWrite)) {}

  ~JournalForwarderWorker() override {
    // A program that ends in edit mode says so, where the server is still at hand.
    if (marked_ && server_ != nullptr && !outage_) {
      QString error;
      if (QSqlDatabase* server = server_->Database(&error)) {
        SharedJournal::SetEditMode(*server, markedComputer_, QString(), QString(), &error);
      }
    }
    server_.reset();
    if (QSqlDatabase::contains(localName_)) {
      QSqlDatabase::database(localName_, false).close();
    }
    QSqlDatabase::removeDatabase(localName_);
  }
  JournalForwarderWorker(const JournalForwarderWorker&) = delete;
  JournalForwarderWorker& operator=(const JournalForwarderWorker&) = delete;

  void Forward() {
    owner_.requested_.store(false);
    if (retry_ != nullptr) {
      retry_->stop();
    }
    if (follow_ == nullptr && followMs_ > 0) {
      follow_ = new QTimer(this);
      connect(follow_, &QTimer::timeout, this, [this] {
        if (!outage_) {
          Forward();
        }
      });
      follow_->start(followMs_);
    }
    if (!QFileInfo::exists(outboxFile_)) {
      Publish(0);
      return FollowIfReachable();
    }
    // The file's own trouble is the journal's to report (TELM-9002); here it is tried again.
    QSqlDatabase local = Local();
    if (!local.isOpen() && !local.open()) {
      return Retry();
    }
    const QString outbox = OperationJournal::OutboxId(local);
    if (outbox.isEmpty()) {
      Publish(0);
      return FollowIfReachable();
    }
    QString error;
    QSqlDatabase* server = nullptr;
    if (!serverHolds_) {
      server = server_->Database(&error);
      serverHolds_ =
          server == nullptr ? std::nullopt : SharedJournal::LastForwarded(*server, outbox, &error);
      if (!serverHolds_) {
        return Failed(local, error);
      }
    }
    for (;;) {
      std::vector<JournalEntry> entries;
      if (!OperationJournal::ReadEntries(local, *serverHolds_, kBatch, &entries, &error)) {
        return Retry();
      }
      if (entries.empty()) {
        break;
      }
      server = server != nullptr ? server : server_->Database(&error);
      if (server == nullptr || !SharedJournal::Append(*server, outbox, entries, &error)) {
        return Failed(local, error);
      }
      *serverHolds_ = entries.back().id;
      lastKnown_ = *serverHolds_;
    }
    if (outage_) {
      outage_ = false;
      Q_EMIT owner_.Message(MsgType::Progress,
                            QStringLiteral("TELM-9042: The shared journal %1 is reached again; "
                                           "the waiting entries have been sent.")
                                .arg(MaskConnectionString(owner_.server_)));
    }
    Publish(0);
    server = server != nullptr ? server : server_->Database(&error);
    if (server != nullptr) {
      Follow(*server);
    }
  }

 private:
  QSqlDatabase Local() {
    if (QSqlDatabase::contains(localName_)) {
      return QSqlDatabase::database(localName_, false);
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), localName_);
    db.setDatabaseName(outboxFile_);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(SqliteBusyTimeoutMs));
    return db;
  }

  void Failed(QSqlDatabase& local, const QString& error) {
    server_->Reset();
    serverHolds_.reset();
    std::vector<JournalEntry> waiting;
    QString ignored;
    std::int64_t count = 0;
    // Counted in batches of ids so that a long outage does not load the whole outbox at once.
    for (std::int64_t after = lastKnown_;
         OperationJournal::ReadEntries(local, after, kBatch, &waiting, &ignored) &&
         !waiting.empty();
         waiting.clear()) {
      count += static_cast<std::int64_t>(waiting.size());
      after = waiting.back().id;
    }
    Publish(count);
    if (!outage_) {
      outage_ = true;
      Q_EMIT owner_.Message(
          MsgType::Error,
          QStringLiteral("TELM-9041: The shared journal %1 cannot be reached (%2). Operations go "
                         "on; their entries wait in the local journal and are sent when it can "
                         "be reached.")
              .arg(MaskConnectionString(owner_.server_), error.trimmed()));
    }
    Retry();
  }

  void FollowIfReachable() {
    QString error;
    if (QSqlDatabase* server = server_->Database(&error)) {
      Follow(*server);
    }
  }

  // The entries that came to the server since the last look, and who else is in edit mode. A
  // failure here is left to the next pass: forwarding reports the server's outages.
  void Follow(QSqlDatabase& server) {
    QString error;
    if (!followed_) {
      const std::optional<JournalHead> head = SharedJournal::Head(server, &error);
      if (!head) {
        return;
      }
      followed_ = std::max<std::int64_t>(0, head->seq - JournalForwarder::FollowWindow);
    }
    const std::optional<std::vector<JournalEntry>> entries =
        SharedJournal::EntriesAfter(server, *followed_, JournalForwarder::FollowWindow, &error);
    if (entries && (!entries->empty() || !announced_)) {
      announced_ = true;
      if (!entries->empty()) {
        followed_ = entries->back().id;
      }
      Q_EMIT owner_.SharedEntries(*entries, serverHolds_.value_or(0));
    }
    QString computer;
    QString account;
    QString since;
    {
      QMutexLocker lock(&owner_.editMutex_);
      computer = owner_.editComputer_;
      account = owner_.editAccount_;
      since = owner_.editSince_;
    }
    if (computer.isEmpty()) {
      return;
    }
    // Marked while on (renewed every pass), cleared once when it goes off.
    if ((!account.isEmpty() || marked_) &&
        SharedJournal::SetEditMode(server, computer, account, since, &error)) {
      marked_ = !account.isEmpty();
      markedComputer_ = computer;
    }
    const auto others = SharedJournal::OthersInEditMode(
        server, computer, JournalForwarder::EditModeStaleSeconds, &error);
    if (others && (!othersKnown_ || *others != others_)) {
      othersKnown_ = true;
      others_ = *others;
      Q_EMIT owner_.EditModeElsewhereChanged(others_);
    }
  }

  void Retry() {
    if (retry_ == nullptr) {
      retry_ = new QTimer(this);
      retry_->setSingleShot(true);
      connect(retry_, &QTimer::timeout, this, [this] { Forward(); });
    }
    retry_->start(retryMs_);
  }

  void Publish(std::int64_t count) {
    owner_.waiting_ = count;
    Q_EMIT owner_.WaitingChanged(count);
  }

  JournalForwarder& owner_;
  QString outboxFile_;
  QString localName_;
  int retryMs_;
  int followMs_;
  std::unique_ptr<SqlConnection> server_;
  std::optional<std::int64_t> followed_;  // the last server number handed to the window
  bool announced_ = false;
  bool marked_ = false;
  QString markedComputer_;
  bool othersKnown_ = false;
  std::vector<EditModeElsewhere> others_;
  QTimer* follow_ = nullptr;
  std::optional<std::int64_t> serverHolds_;  // the highest local number the server has
  std::int64_t lastKnown_ = 0;
  bool outage_ = false;
  QTimer* retry_ = nullptr;
};

JournalForwarder::JournalForwarder(const QString& outboxFile, const QString& serverConnection,
                                   int retryMs, QObject* parent, int followMs)
    : QObject(parent),
      server_(serverConnection),
      thread_(new QThread(this)),
      worker_(new JournalForwarderWorker(*this, outboxFile, retryMs, followMs)) {
  thread_->setObjectName(QStringLiteral("journal forwarder"));
  worker_->moveToThread(thread_);
  thread_->start();
}

JournalForwarder::~JournalForwarder() {
  QMetaObject::invokeMethod(
      worker_, [worker = worker_] { delete worker; }, Qt::BlockingQueuedConnection);
  thread_->quit();
  thread_->wait();
}

void JournalForwarder::Request() {
  if (!requested_.exchange(true)) {
    QMetaObject::invokeMethod(
        worker_, [worker = worker_] { worker->Forward(); }, Qt::QueuedConnection);
  }
}

void JournalForwarder::SetEditMode(const QString& computer, const QString& account,
                                   const QString& since) {
  {
    QMutexLocker lock(&editMutex_);
    editComputer_ = computer;
    editAccount_ = account;
    editSince_ = since;
  }
  Request();
}

void JournalForwarder::SendNow() {
  QMetaObject::invokeMethod(
      worker_, [worker = worker_] { worker->Forward(); }, Qt::BlockingQueuedConnection);
}

QString JournalForwarder::WaitingText(std::int64_t count) {
  return count == 0 ? QStringLiteral("Journal: all sent")
                    : QStringLiteral("Journal: %1 waiting").arg(count);
}

}  // namespace telmon
