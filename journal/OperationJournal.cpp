#include "journal/OperationJournal.h"

#include "journal/JournalForwarder.h"

#include "util/Clock.h"
#include "util/IRaiseMsg.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLocale>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QSysInfo>
#include <QThread>
#include <QUuid>
#include <QVariant>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <limits>
#include <mutex>
#include <thread>
#include <utility>

namespace telmon {

namespace {

// Another monitor's write takes milliseconds. The window's own connection does not let SQLite
// wait for a lock: a busy statement is tried again for at most WindowWaitMs in all, then the
// entry goes to the writer. The writer's connection waits kWriterBusyMs per try and tries again
// until the file is free or the program ends. Reads (never blocked by a writer in WAL mode, only
// while a file is being set up) are tried again for up to kRetryBudgetMs.
constexpr int kWriterBusyMs = 200;
constexpr qint64 kRetryBudgetMs = 3000;
constexpr qint64 kMaxPauseMs = 100;
constexpr qint64 kWriterPauseMs = 50;

const char* const kSchema[] = {
    "CREATE TABLE IF NOT EXISTS journal (id INTEGER PRIMARY KEY AUTOINCREMENT, time_utc TEXT NOT "
    "NULL, time_local TEXT NOT NULL, dahs INTEGER NOT NULL, account TEXT NOT NULL, computer TEXT "
    "NOT NULL, operation TEXT NOT NULL, targets TEXT NOT NULL, value TEXT NOT NULL, command TEXT "
    "NOT NULL, outcome TEXT NOT NULL, previous TEXT NOT NULL DEFAULT '')",
    "CREATE TRIGGER IF NOT EXISTS journal_no_update BEFORE UPDATE ON journal BEGIN SELECT "
    "RAISE(ABORT, 'the operator journal is append-only'); END",
    "CREATE TRIGGER IF NOT EXISTS journal_no_delete BEFORE DELETE ON journal BEGIN SELECT "
    "RAISE(ABORT, 'the operator journal is append-only'); END",
    // The file's identity on the shared journal, made once by whichever program opens it first.
    "CREATE TABLE IF NOT EXISTS outbox (id TEXT NOT NULL)",
};

const char kSelectEntries[] =
    "SELECT id, time_utc, time_local, dahs, account, computer, operation, targets, value, "
    "command, outcome, previous FROM journal";

bool IsBusy(const QSqlError& error) {
  bool ok = false;
  const int code = error.nativeErrorCode().toInt(&ok);
  constexpr int kPrimaryMask = 0xff;
  constexpr int kSqliteBusy = 5;
  constexpr int kSqliteLocked = 6;
  return (ok && ((code & kPrimaryMask) == kSqliteBusy || (code & kPrimaryMask) == kSqliteLocked)) ||
         error.databaseText().contains(QLatin1String("locked")) ||
         error.databaseText().contains(QLatin1String("busy"));
}

enum class Try { Done, Busy, Failed };

// Runs the prepared (or plain, when `text` is given) statement, retrying while the file is busy
// for at most `budgetMs`.
Try Exec(QSqlQuery& query, const QString& text, QString& error, qint64 budgetMs) {
  QElapsedTimer elapsed;
  elapsed.start();
  for (qint64 attempt = 1;; ++attempt) {
    const bool ok = text.isEmpty() ? query.exec() : query.exec(text);
    if (ok) {
      return Try::Done;
    }
    const qint64 left = budgetMs - elapsed.elapsed();
    const bool busy = IsBusy(query.lastError());
    if (left <= 0 || !busy) {
      error = query.lastError().text();
      return busy ? Try::Busy : Try::Failed;
    }
    QThread::msleep(static_cast<unsigned long>(std::min({kMaxPauseMs, 5 * attempt, left})));
  }
}

bool ExecWithRetry(QSqlQuery& query, const QString& text, QString& error) {
  return Exec(query, text, error, kRetryBudgetMs) == Try::Done;
}

// Brings an open connection's file up to date: WAL mode, the schema, the outbox identity, the
// previous value's column. On a file that is already set up none of this needs the write lock,
// so a file another program holds locked still opens.
Try SetUp(const QSqlDatabase& db, qint64 budgetMs, QString& error) {
  QElapsedTimer elapsed;
  elapsed.start();
  QSqlQuery query(db);
  auto run = [&](const QString& text) {
    return Exec(query, text, error, std::max<qint64>(0, budgetMs - elapsed.elapsed()));
  };
  // Switching to WAL needs the file to itself; a file already in WAL mode is left as it is.
  Try t = run(QStringLiteral("PRAGMA journal_mode"));
  const bool wal =
      t == Try::Done && query.next() && query.value(0).toString() == QLatin1String("wal");
  if (t == Try::Done && !wal) {
    t = run(QStringLiteral("PRAGMA journal_mode=WAL"));
  }
  // In WAL mode NORMAL still commits each entry before Record returns and keeps the file
  // consistent; only a power cut can cost the entries since the last checkpoint. FULL would
  // wait for the disk on every entry, which a bulk write of thousands of records then pays.
  if (t == Try::Done) {
    t = run(QStringLiteral("PRAGMA synchronous=NORMAL"));
  }
  for (const char* statement : kSchema) {
    if (t == Try::Done) {
      t = run(QString::fromLatin1(statement));
    }
  }
  if (t == Try::Done) {
    t = run(QStringLiteral("SELECT 1 FROM outbox LIMIT 1"));
    if (t == Try::Done && !query.next()) {
      t = run(QStringLiteral("INSERT INTO outbox (id) SELECT '%1' WHERE NOT EXISTS "
                             "(SELECT 1 FROM outbox)")
                  .arg(QUuid::createUuid().toString(QUuid::WithoutBraces)));
    }
  }
  // A file from before the previous value was kept gets its column (another program may be
  // adding it at the same moment).
  if (t == Try::Done) {
    bool has = false;
    t = run(QStringLiteral("PRAGMA table_info(journal)"));
    while (t == Try::Done && query.next()) {
      has = has || query.value(1).toString() == QLatin1String("previous");
    }
    if (t == Try::Done && !has) {
      t = run(QStringLiteral("ALTER TABLE journal ADD COLUMN previous TEXT NOT NULL DEFAULT ''"));
      if (t == Try::Failed && error.contains(QLatin1String("duplicate column"))) {
        t = Try::Done;
      }
    }
  }
  return t;
}

void Prepare(QSqlDatabase& db, const QString& fileName, int busyTimeoutMs) {
  QDir().mkpath(QFileInfo(fileName).absolutePath());
  db.setDatabaseName(fileName);
  db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMs));
}

Try Insert(const QSqlDatabase& db, const JournalEntry& entry, QString& error, qint64 budgetMs) {
  QSqlQuery query(db);
  query.prepare(QStringLiteral(
      "INSERT INTO journal (time_utc, time_local, dahs, account, computer, operation, targets, "
      "value, command, outcome, previous) VALUES (?, ?, ?, COALESCE(?, ''), COALESCE(?, ''), "
      "COALESCE(?, ''), COALESCE(?, ''), COALESCE(?, ''), COALESCE(?, ''), COALESCE(?, ''), "
      "COALESCE(?, ''))"));
  const QVariant values[] = {entry.timeUtc.toString(Qt::ISODateWithMs),
                             entry.timeLocal,
                             entry.dahs,
                             entry.account,
                             entry.computer,
                             entry.operation,
                             entry.targets,
                             entry.value,
                             entry.command,
                             entry.outcome,
                             entry.previous};
  for (const QVariant& value : values) {
    query.addBindValue(value);
  }
  return Exec(query, QString(), error, budgetMs);
}

QString NativeName(const QString& fileName) { return QDir::toNativeSeparators(fileName); }

QString NewConnectionName() {
  static std::atomic<int> counter{0};
  return QStringLiteral("telmon-journal-%1").arg(++counter);
}

}  // namespace

// The entries that wait for a busy file, and the writer that works through them.
struct OperationJournal::Queue {
  std::mutex mutex;
  std::condition_variable wake;      // an entry came, or stop
  std::condition_variable drained;   // the last entry was dealt with
  std::deque<JournalEntry> entries;  // the front one is being written
  std::thread thread;
  bool stop = false;
  // For the journal's own thread:
  bool announced = false;  // TELM-9050 said, TELM-9051 not yet
  bool emptied = false;    // the queue became empty
  bool wrote = false;      // an entry was written since the last notes
  std::size_t written = 0;
  QString failure;
  QString failureWhat;
  bool notesPosted = false;
};

OperationJournal::OperationJournal(QString fileName, Context context, IRaiseMsg& sink,
                                   const IClock& clock, QObject* parent)
    : QObject(parent),
      fileName_(std::move(fileName)),
      context_(std::move(context)),
      sink_(sink),
      clock_(clock),
      connectionName_(NewConnectionName()),
      queue_(std::make_unique<Queue>()) {
  if (context_.computer.isEmpty()) {
    context_.computer = QSysInfo::machineHostName();
  }
}

OperationJournal::~OperationJournal() {
  // Nobody is left to tell: what could not be written goes to the error stream.
  if (const std::size_t left = StopWriter(FinishWaitMs); left > 0) {
    qWarning("%s", qUtf8Printable(NotWrittenText(fileName_, left)));
  }
  if (QSqlDatabase::contains(connectionName_)) {
    QSqlDatabase::database(connectionName_, false).close();
  }
  QSqlDatabase::removeDatabase(connectionName_);
}

QString OperationJournal::BusyText(const QString& fileName) {
  return QStringLiteral(
             "TELM-9050: The operator journal '%1' is busy (another program holds it locked). "
             "Operations go on; their entries wait and are written in order when it is free.")
      .arg(NativeName(fileName));
}

QString OperationJournal::WrittenText(const QString& fileName, std::size_t count) {
  return QStringLiteral(
             "TELM-9051: The operator journal '%1' is free again; waiting entries "
             "written: %2.")
      .arg(NativeName(fileName), QLocale().toString(static_cast<qulonglong>(count)));
}

QString OperationJournal::NotWrittenText(const QString& fileName, std::size_t count) {
  return QStringLiteral(
             "TELM-9052: The operator journal '%1' was still busy when the program "
             "ended; entries not written: %2.")
      .arg(NativeName(fileName), QLocale().toString(static_cast<qulonglong>(count)));
}

QString OperationJournal::DefaultFileName() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
         QStringLiteral("/telmon/journal.sqlite");
}

OperationJournal::Place OperationJournal::Choose(const QString& option,
                                                 const QString& settingsServer) {
  if (option.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive)) {
    return {DefaultFileName(), option};
  }
  return {option.isEmpty() ? DefaultFileName() : option, settingsServer};
}

bool OperationJournal::Open(bool* busy) {
  QSqlDatabase db = QSqlDatabase::contains(connectionName_)
                        ? QSqlDatabase::database(connectionName_, false)
                        : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
  // No waiting inside SQLite: Exec tries again within the caller's budget.
  Prepare(db, fileName_, 0);
  if (!db.open()) {
    ReportOnce(QStringLiteral("opened"), db.lastError().text());
    return false;
  }
  QString error;
  const Try t = SetUp(db, WindowWaitMs, error);
  if (t == Try::Done) {
    open_ = true;
    return true;
  }
  db.close();
  if (t == Try::Busy) {
    if (busy != nullptr) {
      *busy = true;
    }
  } else {
    ReportOnce(QStringLiteral("opened"), error);
  }
  return false;
}

JournalEntry OperationJournal::MakeEntry(const JournalOperation& operation) const {
  JournalEntry entry;
  const QDateTime now = clock_.Now();
  entry.timeUtc = now.toUTC();
  entry.timeLocal = now.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
  entry.dahs = context_.dahs;
  entry.account = !operation.account.isEmpty() ? operation.account
                  : editAccount_.isEmpty()     ? NoAccount
                                               : editAccount_;
  entry.computer = context_.computer;
  entry.operation = operation.operation;
  entry.targets = operation.targets;
  entry.value = operation.value;
  entry.command = operation.command;
  entry.outcome = operation.outcome;
  entry.previous = operation.previous;
  return entry;
}

void OperationJournal::Record(const JournalOperation& operation) {
  JournalEntry entry = MakeEntry(operation);
  DeliverNotes();
  QElapsedTimer elapsed;
  elapsed.start();
  // While entries wait, a new one queues behind them: the file gets them in order.
  bool busy = WaitingCount() > 0;
  if (!busy && (open_ || Open(&busy))) {
    QString error;
    const Try t = Insert(QSqlDatabase::database(connectionName_, false), entry, error,
                         std::max<qint64>(0, WindowWaitMs - elapsed.elapsed()));
    busy = t == Try::Busy;
    if (t == Try::Failed) {
      ReportOnce(QStringLiteral("written"), error);
    } else if (t == Try::Done && forwarder_ != nullptr) {
      forwarder_->Request();
    }
  }
  if (busy && Enqueue(entry)) {
    sink_.RaiseMsg(MsgType::Error, BusyText(fileName_));
  }
  Q_EMIT Recorded(entry, operation);
}

std::size_t OperationJournal::WaitingCount() const {
  const std::lock_guard lock(queue_->mutex);
  return queue_->entries.size();
}

bool OperationJournal::Enqueue(const JournalEntry& entry) {
  Queue& q = *queue_;
  bool first = false;
  {
    const std::lock_guard lock(q.mutex);
    q.entries.push_back(entry);
    first = !q.announced;
    q.announced = true;
    if (!q.thread.joinable()) {
      q.stop = false;
      q.thread = std::thread([this] { WriterLoop(); });
    }
  }
  q.wake.notify_one();
  return first;
}

namespace {

// Writes the front entry in a transaction of its own and takes it off the queue in the same
// moment as the commit, under the queue's lock: a reader holding that lock sees each entry
// either in the file or in the queue, never in both or neither.
template <typename Queue>
Try CommitFront(const QSqlDatabase& db, const JournalEntry& entry, Queue& q, QString& error,
                qint64 budgetMs) {
  QSqlQuery query(db);
  Try t = Exec(query, QStringLiteral("BEGIN IMMEDIATE"), error, budgetMs);
  if (t != Try::Done) {
    return t;
  }
  t = Insert(db, entry, error, budgetMs);
  if (t == Try::Done) {
    const std::lock_guard lock(q.mutex);
    if (query.exec(QStringLiteral("COMMIT"))) {
      q.entries.pop_front();
      ++q.written;
      q.wrote = true;
      return Try::Done;
    }
    error = query.lastError().text();
    t = IsBusy(query.lastError()) ? Try::Busy : Try::Failed;
  }
  query.exec(QStringLiteral("ROLLBACK"));
  return t;
}

}  // namespace

void OperationJournal::WriterLoop() {
  Queue& q = *queue_;
  const QString name = NewConnectionName();
  {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    Prepare(db, fileName_, kWriterBusyMs);
    bool ready = false;
    for (;;) {
      JournalEntry entry;
      {
        std::unique_lock lock(q.mutex);
        q.wake.wait(lock, [&q] { return q.stop || !q.entries.empty(); });
        if (q.stop) {
          break;
        }
        entry = q.entries.front();
      }
      QString error;
      QString what = QStringLiteral("written");
      Try t = Try::Done;
      if (!ready) {
        what = QStringLiteral("opened");
        if (!db.isOpen() && !db.open()) {
          t = Try::Failed;
          error = db.lastError().text();
        } else {
          t = SetUp(db, kWriterBusyMs, error);
        }
        ready = t == Try::Done;
      }
      if (t == Try::Done) {
        what = QStringLiteral("written");
        t = CommitFront(db, entry, q, error, kWriterBusyMs);
      }
      if (t == Try::Busy) {
        std::unique_lock lock(q.mutex);
        q.wake.wait_for(lock, std::chrono::milliseconds(kWriterPauseMs), [&q] { return q.stop; });
        continue;
      }
      {
        const std::lock_guard lock(q.mutex);
        if (t == Try::Failed) {
          // A file that refuses the entry for good (full disk, read-only) drops it, as the
          // window's own write does; the failure is reported.
          q.entries.pop_front();
          if (q.failure.isEmpty()) {
            q.failure = error;
            q.failureWhat = what;
          }
        }
        if (q.entries.empty()) {
          q.emptied = true;
          q.drained.notify_all();
        }
      }
      PostNotes();
    }
    db.close();
  }
  QSqlDatabase::removeDatabase(name);
}

void OperationJournal::PostNotes() {
  {
    const std::lock_guard lock(queue_->mutex);
    if (queue_->notesPosted) {
      return;
    }
    queue_->notesPosted = true;
  }
  QMetaObject::invokeMethod(
      this, [this] { DeliverNotes(); }, Qt::QueuedConnection);
}

void OperationJournal::DeliverNotes() {
  Queue& q = *queue_;
  bool wrote = false;
  bool free = false;
  std::size_t written = 0;
  QString failure;
  QString what;
  {
    const std::lock_guard lock(q.mutex);
    q.notesPosted = false;
    wrote = std::exchange(q.wrote, false);
    if (std::exchange(q.emptied, false) && q.entries.empty() && q.announced) {
      free = true;
      written = std::exchange(q.written, 0);
      q.announced = false;
    }
    failure = std::exchange(q.failure, QString());
    what = q.failureWhat;
  }
  if (!failure.isEmpty()) {
    ReportOnce(what, failure);
  }
  if (wrote && forwarder_ != nullptr) {
    forwarder_->Request();
  }
  if (free) {
    sink_.RaiseMsg(MsgType::Progress, WrittenText(fileName_, written));
  }
}

std::size_t OperationJournal::StopWriter(int timeoutMs) {
  Queue& q = *queue_;
  if (!q.thread.joinable()) {
    return 0;
  }
  {
    std::unique_lock lock(q.mutex);
    q.drained.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                       [&q] { return q.entries.empty(); });
    q.stop = true;
  }
  q.wake.notify_all();
  q.thread.join();
  const std::lock_guard lock(q.mutex);
  const std::size_t left = q.entries.size();
  if (left > 0) {
    // Reported as not written; a later entry starts a new spell.
    q.entries.clear();
    q.announced = false;
    q.written = 0;
  }
  return left;
}

std::size_t OperationJournal::Finish(int timeoutMs) {
  const std::size_t left = StopWriter(timeoutMs);
  DeliverNotes();
  if (left > 0) {
    sink_.RaiseMsg(MsgType::Error, NotWrittenText(fileName_, left));
  }
  return left;
}

template <typename Read>
bool OperationJournal::ReadWithWaiting(std::vector<JournalEntry>* entries, Read&& read) {
  // The writer commits nothing while the lock is held, so each entry is read once.
  const std::lock_guard lock(queue_->mutex);
  const bool ok = read();
  entries->insert(entries->end(), queue_->entries.begin(), queue_->entries.end());
  return ok;
}

void OperationJournal::SetSharedJournal(const QString& connection, int retryMs, int followMs) {
  delete forwarder_;
  forwarder_ = nullptr;
  if (connection.isEmpty()) {
    return;
  }
  // An existing file is brought up to date before the forwarder reads it.
  if (!open_ && QFileInfo::exists(fileName_)) {
    Open();
  }
  forwarder_ = new JournalForwarder(fileName_, connection,
                                    retryMs > 0 ? retryMs : JournalForwarder::DefaultRetryMs, this,
                                    followMs > 0 ? followMs : JournalForwarder::DefaultFollowMs);
  connect(forwarder_, &JournalForwarder::Message, this,
          [this](int msgType, const QString& text) { sink_.RaiseMsg(msgType, text); });
  connect(forwarder_, &JournalForwarder::SharedEntries, this,
          [this](const std::vector<JournalEntry>& entries, qint64 forwardedUpTo) {
            shared_.insert(shared_.end(), entries.begin(), entries.end());
            if (shared_.size() > SharedEntriesKept) {
              shared_.erase(shared_.begin(), shared_.end() - SharedEntriesKept);
            }
            forwardedUpTo_ = std::max<std::int64_t>(forwardedUpTo_, forwardedUpTo);
            Q_EMIT SharedChanged();
          });
  connect(forwarder_, &JournalForwarder::EditModeElsewhereChanged, this,
          [this](const std::vector<telmon::EditModeElsewhere>& others) {
            elsewhere_ = others;
            Q_EMIT EditModeElsewhereChanged();
          });
  if (!editAccount_.isEmpty()) {
    forwarder_->SetEditMode(context_.computer, editAccount_, editSince_);
  }
  forwarder_->Request();
}

void OperationJournal::SetEditAccount(const QString& account) {
  if (account.isEmpty()) {
    editSince_.clear();
  } else if (editAccount_.isEmpty() || editSince_.isEmpty()) {
    editSince_ = clock_.Now().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
  }
  editAccount_ = account;
  if (forwarder_ != nullptr) {
    forwarder_->SetEditMode(context_.computer, editAccount_, editSince_);
  }
}

std::vector<JournalEntry> OperationJournal::ReadForWindow() {
  bool stopped = false;
  return ReadForWindow({}, &stopped);
}

std::vector<JournalEntry> OperationJournal::ReadForWindow(const ProgressFn& progress,
                                                          bool* stopped) {
  *stopped = false;
  std::vector<JournalEntry> entries;
  std::int64_t after = 0;
  if (forwarder_ != nullptr) {
    entries = shared_;
    after = forwardedUpTo_;
  }
  const std::size_t kept = entries.size();
  QString error;
  bool ok = true;
  if (open_ || Open()) {
    const QSqlDatabase db = QSqlDatabase::database(connectionName_, false);
    std::size_t total = 0;
    if (progress) {
      QSqlQuery count(db);
      count.prepare(QStringLiteral("SELECT COUNT(*) FROM journal WHERE id > ?"));
      count.addBindValue(static_cast<qlonglong>(after));
      ok = ExecWithRetry(count, QString(), error) && count.next();
      total = ok ? count.value(0).toULongLong() : 0;
    }
    // Chunk by chunk while the window runs in between, then the rest and the waiting entries
    // at once with the writer held, so that each entry comes once.
    for (std::size_t done = 0; ok && progress;) {
      const std::size_t before = entries.size();
      ok = ReadEntries(db, after, ReadChunk, &entries, &error);
      done += entries.size() - before;
      if (!ok || entries.size() - before < static_cast<std::size_t>(ReadChunk)) {
        break;
      }
      after = entries.back().id;
      if (!progress(done, std::max(total, done))) {
        *stopped = true;
        return entries;
      }
    }
    if (ok) {
      ok = ReadWithWaiting(&entries, [&] {
        return ReadEntries(db, entries.size() > kept ? entries.back().id : after,
                           std::numeric_limits<int>::max(), &entries, &error);
      });
    }
  } else {
    ReadWithWaiting(&entries, [] { return true; });
  }
  if (!ok) {
    if (forwarder_ == nullptr) {
      entries.clear();
    }
    ReportOnce(QStringLiteral("read"), error);
  }
  return entries;
}

bool OperationJournal::ReadEntries(const QSqlDatabase& db, std::int64_t afterId, int limit,
                                   std::vector<JournalEntry>* entries, QString* error) {
  QSqlQuery query(db);
  query.setForwardOnly(true);
  query.prepare(
      QStringLiteral("%1 WHERE id > ? ORDER BY id LIMIT ?").arg(QLatin1String(kSelectEntries)));
  query.addBindValue(static_cast<qlonglong>(afterId));
  query.addBindValue(limit);
  if (!ExecWithRetry(query, QString(), *error)) {
    return false;
  }
  while (query.next()) {
    JournalEntry& e = entries->emplace_back();
    e.id = query.value(0).toLongLong();
    e.timeUtc = QDateTime::fromString(query.value(1).toString(), Qt::ISODateWithMs);
    e.timeLocal = query.value(2).toString();
    e.dahs = query.value(3).toInt();
    e.account = query.value(4).toString();
    e.computer = query.value(5).toString();
    e.operation = query.value(6).toString();
    e.targets = query.value(7).toString();
    e.value = query.value(8).toString();
    e.command = query.value(9).toString();
    e.outcome = query.value(10).toString();
    e.previous = query.value(11).toString();
  }
  return true;
}

QString OperationJournal::OutboxId(const QSqlDatabase& db) {
  QSqlQuery query(db);
  QString error;
  if (!ExecWithRetry(query, QStringLiteral("SELECT id FROM outbox LIMIT 1"), error) ||
      !query.next()) {
    return {};
  }
  return query.value(0).toString();
}

std::vector<JournalEntry> OperationJournal::ReadAll() {
  std::vector<JournalEntry> entries;
  QString error;
  const bool open = open_ || Open();
  if (!ReadWithWaiting(&entries, [&] {
        if (open && !ReadEntries(QSqlDatabase::database(connectionName_, false), 0,
                                 std::numeric_limits<int>::max(), &entries, &error)) {
          entries.clear();
          return false;
        }
        return true;
      })) {
    ReportOnce(QStringLiteral("read"), error);
  }
  return entries;
}

void OperationJournal::ReportOnce(const QString& what, const QString& error) {
  if (reported_) {
    return;
  }
  reported_ = true;
  sink_.RaiseMsg(MsgType::Error,
                 QStringLiteral("TELM-9002: The operator journal '%1' could not be %2 (%3). "
                                "Operations go on; they are not journaled until it can be.")
                     .arg(QDir::toNativeSeparators(fileName_), what, error.trimmed()));
}

}  // namespace telmon
