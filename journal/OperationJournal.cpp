#include "journal/OperationJournal.h"

#include "journal/JournalForwarder.h"

#include "util/Clock.h"
#include "util/IRaiseMsg.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
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
#include <iterator>
#include <limits>
#include <utility>

namespace telmon {

namespace {

// Another monitor's write takes milliseconds. SQLite waits up to kBusyTimeoutMs for a lock; a
// statement that still fails as busy (some lock changes are refused at once rather than waited
// for) is tried again until kRetryBudgetMs have passed in all, so that a file held locked by a
// stuck program costs each entry a few seconds at most, never the window.
constexpr int kBusyTimeoutMs = 2000;
constexpr qint64 kRetryBudgetMs = 3000;
constexpr unsigned long kMaxPauseMs = 100;

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

// Runs the prepared (or plain, when `text` is given) statement, retrying while the file is busy.
bool ExecWithRetry(QSqlQuery& query, const QString& text, QString& error) {
  QElapsedTimer elapsed;
  elapsed.start();
  for (int attempt = 1;; ++attempt) {
    const bool ok = text.isEmpty() ? query.exec() : query.exec(text);
    if (ok) {
      return true;
    }
    if (elapsed.elapsed() >= kRetryBudgetMs || !IsBusy(query.lastError())) {
      error = query.lastError().text();
      return false;
    }
    QThread::msleep(std::min(kMaxPauseMs, static_cast<unsigned long>(20 * attempt)));
  }
}

QString NewConnectionName() {
  static std::atomic<int> counter{0};
  return QStringLiteral("telmon-journal-%1").arg(++counter);
}

}  // namespace

OperationJournal::OperationJournal(QString fileName, Context context, IRaiseMsg& sink,
                                   const IClock& clock, QObject* parent)
    : QObject(parent),
      fileName_(std::move(fileName)),
      context_(std::move(context)),
      sink_(sink),
      clock_(clock),
      connectionName_(NewConnectionName()) {
  if (context_.computer.isEmpty()) {
    context_.computer = QSysInfo::machineHostName();
  }
}

OperationJournal::~OperationJournal() {
  if (QSqlDatabase::contains(connectionName_)) {
    QSqlDatabase::database(connectionName_, false).close();
  }
  QSqlDatabase::removeDatabase(connectionName_);
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

bool OperationJournal::Open() {
  QDir().mkpath(QFileInfo(fileName_).absolutePath());
  QSqlDatabase db = QSqlDatabase::contains(connectionName_)
                        ? QSqlDatabase::database(connectionName_, false)
                        : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
  db.setDatabaseName(fileName_);
  db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(kBusyTimeoutMs));
  if (!db.open()) {
    ReportOnce(QStringLiteral("opened"), db.lastError().text());
    return false;
  }
  QSqlQuery query(db);
  QString error;
  // Switching to WAL needs the file to itself; a file already in WAL mode is left as it is.
  bool ok = ExecWithRetry(query, QStringLiteral("PRAGMA journal_mode"), error);
  const bool wal = ok && query.next() && query.value(0).toString() == QLatin1String("wal");
  ok = ok && (wal || ExecWithRetry(query, QStringLiteral("PRAGMA journal_mode=WAL"), error));
  // In WAL mode NORMAL still commits each entry before Record returns and keeps the file
  // consistent; only a power cut can cost the entries since the last checkpoint. FULL would
  // wait for the disk on every entry, which a bulk write of thousands of records then pays.
  ok = ok && ExecWithRetry(query, QStringLiteral("PRAGMA synchronous=NORMAL"), error);
  for (const char* statement : kSchema) {
    ok = ok && ExecWithRetry(query, QString::fromLatin1(statement), error);
  }
  ok = ok && ExecWithRetry(query,
                           QStringLiteral("INSERT INTO outbox (id) SELECT '%1' WHERE NOT EXISTS "
                                          "(SELECT 1 FROM outbox)")
                               .arg(QUuid::createUuid().toString(QUuid::WithoutBraces)),
                           error);
  // A file from before the previous value was kept gets its column (another program may be
  // adding it at the same moment).
  if (ok) {
    bool has = false;
    ok = ExecWithRetry(query, QStringLiteral("PRAGMA table_info(journal)"), error);
    while (ok && query.next()) {
      has = has || query.value(1).toString() == QLatin1String("previous");
    }
    if (ok && !has &&
        !ExecWithRetry(query,
                       QStringLiteral("ALTER TABLE journal ADD COLUMN previous TEXT NOT NULL "
                                      "DEFAULT ''"),
                       error)) {
      ok = error.contains(QLatin1String("duplicate column"));
    }
  }
  if (!ok) {
    db.close();
    ReportOnce(QStringLiteral("opened"), error);
    return false;
  }
  open_ = true;
  return true;
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
  QString error;
  if ((open_ || Open()) && !Store(entry, error)) {
    ReportOnce(QStringLiteral("written"), error);
  } else if (open_ && forwarder_ != nullptr) {
    forwarder_->Request();
  }
  Q_EMIT Recorded(entry, operation);
}

bool OperationJournal::Store(const JournalEntry& entry, QString& error) {
  QSqlQuery query(QSqlDatabase::database(connectionName_, false));
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
  return ExecWithRetry(query, QString(), error);
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
  if (forwarder_ == nullptr) {
    return ReadAll();
  }
  std::vector<JournalEntry> entries = shared_;
  std::vector<JournalEntry> waiting;
  QString error;
  if ((open_ || Open()) &&
      !ReadEntries(QSqlDatabase::database(connectionName_, false), forwardedUpTo_,
                   std::numeric_limits<int>::max(), &waiting, &error)) {
    ReportOnce(QStringLiteral("read"), error);
  }
  entries.insert(entries.end(), std::make_move_iterator(waiting.begin()),
                 std::make_move_iterator(waiting.end()));
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
  if (!open_ && !Open()) {
    return entries;
  }
  QString error;
  if (!ReadEntries(QSqlDatabase::database(connectionName_, false), 0,
                   std::numeric_limits<int>::max(), &entries, &error)) {
    entries.clear();
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
