#include "platform/H5DBIL.h"

#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"
#include "util/IRaiseMsg.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <libpq-fe.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace telmon {

namespace {

const QString Prefix = QStringLiteral("H5DBIL: ");

// Cuts a connection whose server has not answered by a deadline: the socket is shut down, so
// the blocked driver call returns at once with the connection lost. A server that accepts and
// then stays silent (a host dropping packets, a proxy that stopped forwarding) would otherwise
// hold the calling thread for as long as TCP keeps the connection, which may be hours.
class ReplyWatchdog {
 public:
  ReplyWatchdog() = default;
  ~ReplyWatchdog() {
    {
      const std::lock_guard lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
      thread_.join();
    }
  }
  ReplyWatchdog(const ReplyWatchdog&) = delete;
  ReplyWatchdog& operator=(const ReplyWatchdog&) = delete;

  void Arm(int socket, std::chrono::milliseconds timeout) {
    const std::lock_guard lock(mutex_);
    if (!thread_.joinable()) {
      thread_ = std::thread([this] { Run(); });
    }
    socket_ = socket;
    deadline_ = std::chrono::steady_clock::now() + timeout;
    wake_.notify_all();
  }
  void Disarm() {
    const std::lock_guard lock(mutex_);
    socket_ = -1;
  }

 private:
  void Run() {
    std::unique_lock lock(mutex_);
    while (!stop_) {
      if (socket_ < 0) {
        wake_.wait(lock);
      } else if (std::chrono::steady_clock::now() >= deadline_) {
        ::shutdown(socket_, SHUT_RDWR);
        socket_ = -1;
      } else {
        wake_.wait_until(lock, deadline_);
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::thread thread_;
  int socket_ = -1;
  std::chrono::steady_clock::time_point deadline_;
  bool stop_ = false;
};

PGconn* PostgresHandle(QSqlDatabase& db) {
  const QVariant handle = db.driver() != nullptr ? db.driver()->handle() : QVariant();
  // The driver names the type by its struct ("pg_conn*").
  if (!handle.isValid() ||
      (qstrcmp(handle.typeName(), "pg_conn*") != 0 && qstrcmp(handle.typeName(), "PGconn*") != 0)) {
    return nullptr;
  }
  return *static_cast<PGconn* const*>(handle.data());
}

// SQLite result codes (the low byte of an extended code) that say the file cannot be used
// now, whatever the statement: busy, locked, out of memory, read-only, I/O error, corrupt,
// full, cannot open, not a database.
bool SqliteUnavailable(int code) {
  switch (code & 0xff) {
    case 5:
    case 6:
    case 7:
    case 8:
    case 10:
    case 11:
    case 13:
    case 14:
    case 26:
      return true;
    default:
      return false;
  }
}

// PostgreSQL error classes that are about the server or the connection, not the statement:
// connection exception, insufficient resources (a full disk), operator intervention (shutdown),
// system error. The driver does not always pass the class on; a full disk is then known by
// the system's own words.
bool PostgresUnavailable(const QSqlError& error) {
  const QString state = error.nativeErrorCode();
  return state.startsWith(QLatin1String("08")) || state.startsWith(QLatin1String("53")) ||
         state.startsWith(QLatin1String("57")) || state.startsWith(QLatin1String("58")) ||
         error.databaseText().contains(QLatin1String("No space left on device"));
}

// A transaction whose commit was sent but not answered: the session that ran it and its
// transaction ID, to ask the server later whether it committed.
struct LostCommit {
  QString xid;
  qint64 backendPid = 0;
  QString backendStart;  // with the pid, names the session even across a server restart
};

// An open connection with the statements prepared on it; the statements go before the
// connection does.
struct Link {
  std::unique_ptr<SqlConnection> connection;
  std::unique_ptr<QSqlQuery> realtimeRead;
  std::unique_ptr<QSqlQuery> realtimeReadAsOf;
  std::unique_ptr<QSqlQuery> lookup;

  void Reset() {
    realtimeRead.reset();
    realtimeReadAsOf.reset();
    lookup.reset();
    connection->Reset();
  }
};

// Trimmed, non-empty, each IOID once, in the order given. A comma separates IOIDs in a list
// item as in the text form, so that both forms ask for the same points on every database.
QStringList DistinctIoids(const QStringList& list) {
  QStringList ioids;
  ioids.reserve(list.size());
  QSet<QString> seen;
  seen.reserve(list.size());
  const auto take = [&](const QString& part) {
    QString ioid = part.trimmed();
    if (!ioid.isEmpty() && !seen.contains(ioid)) {
      seen.insert(ioid);
      ioids.append(std::move(ioid));
    }
  };
  for (const QString& item : list) {
    if (item.contains(QLatin1Char(','))) {
      for (const QString& part : item.split(QLatin1Char(','))) {
        take(part);
      }
    } else {
      take(item);
    }
  }
  return ioids;
}

// The rows of one write share their time stamp, and turning text into a local date-time asks
// the system for the time zone each time, so the last conversion is reused.
struct StampCache {
  QVariant raw;
  QDateTime stamp;
  const QDateTime& Get(const QVariant& value) {
    if (value != raw || !raw.isValid()) {
      raw = value;
      stamp = SqlToDateTime(value);
    }
    return stamp;
  }
};

CurrentValueItem ItemFromRow(const QSqlQuery& query, StampCache& stamps) {
  CurrentValueItem item;
  item.ioid = query.value(0).toString();
  item.timestamp = stamps.Get(query.value(1));
  const QVariant number = query.value(2);
  if (!number.isNull()) {
    bool ok = false;
    const double value = number.toDouble(&ok);
    if (ok) {
      item.numericValue = value;
    }
  }
  item.textValue = query.value(3).toString();
  return item;
}

}  // namespace

struct H5DBIL::Impl {
  H5DBIL* self = nullptr;
  QString siteId;
  QString languageId;
  ConnectionStrings connections;
  std::map<QString, std::unique_ptr<Link>> links;
  std::map<std::uint64_t, LostCommit> lostCommits;
  std::uint64_t nextWriteKey = 1;
  std::chrono::milliseconds replyTimeout{DefaultReplyTimeoutMs};
  ReplyWatchdog watchdog;

  // Runs `call` (one round trip to the server) under the reply deadline.
  template <typename Call>
  bool Guarded(Link& link, Call call) {
    QSqlDatabase* db = link.connection->Current();
    PGconn* conn = db != nullptr ? PostgresHandle(*db) : nullptr;
    const int socket = conn != nullptr ? PQsocket(conn) : -1;
    if (socket >= 0) {
      watchdog.Arm(socket, replyTimeout);
    }
    const bool ok = call();
    if (socket >= 0) {
      watchdog.Disarm();
    }
    return ok;
  }

  DbFailure Classify(Link& link, const QSqlError& error) {
    QSqlDatabase* db = link.connection->Current();
    if (db == nullptr) {
      return DbFailure::Unavailable;
    }
    if (link.connection->Kind() == DatabaseKind::Postgresql) {
      PGconn* conn = PostgresHandle(*db);
      if (conn == nullptr || PQstatus(conn) != CONNECTION_OK) {
        return DbFailure::Unavailable;
      }
      return PostgresUnavailable(error) ? DbFailure::Unavailable : DbFailure::Refused;
    }
    bool numeric = false;
    const int code = error.nativeErrorCode().toInt(&numeric);
    return numeric && SqliteUnavailable(code) ? DbFailure::Unavailable : DbFailure::Refused;
  }

  void Report(const QString& text) { Q_EMIT self->Message(MsgType::Error, Prefix + text); }

  Link* LinkFor(const QString& connectionString, QString* error) {
    auto& link = links[connectionString];
    if (!link) {
      link = std::make_unique<Link>();
      link->connection = std::make_unique<SqlConnection>(connectionString, OpenMode::ReadWrite);
    }
    if (link->connection->Database(error) == nullptr) {
      link->Reset();
      return nullptr;
    }
    return link.get();
  }

  // Runs a read, and when it fails because the connection dropped, runs it once more on a
  // fresh connection. A statement error on a live connection is not retried.
  template <typename Result, typename Read>
  std::optional<Result> ReadWithReopen(const QString& connectionString, const QString& what,
                                       Read read) {
    QString error;
    for (int attempt = 0; attempt < 2; ++attempt) {
      Link* link = LinkFor(connectionString, &error);
      if (link == nullptr) {
        break;
      }
      DbFailure failure = DbFailure::Refused;
      std::optional<Result> result = read(*link, &error, &failure);
      if (result) {
        return result;
      }
      if (failure != DbFailure::Unavailable) {
        break;
      }
      link->Reset();
    }
    Report(QStringLiteral("can't %1 (%2): %3")
               .arg(what, MaskConnectionString(connectionString), error));
    return std::nullopt;
  }

  std::vector<std::pair<QString, QString>> DistinctConnections() const {
    std::vector<std::pair<QString, QString>> list;
    const std::pair<QString, QString> all[] = {
        {QStringLiteral("configuration"), connections.config},
        {QStringLiteral("alarms"), connections.alarms},
        {QStringLiteral("data"), connections.data},
        {QStringLiteral("short-term data"), connections.dataShortTerm},
        {QStringLiteral("realtime"), connections.realtime}};
    QSet<QString> seen;
    for (const auto& [role, text] : all) {
      if (!text.trimmed().isEmpty() && !seen.contains(text)) {
        seen.insert(text);
        list.emplace_back(role, text);
      }
    }
    return list;
  }

  bool CheckSchema(QSqlDatabase& db, QString* error) {
    const int version = SiteSchema::Version(db, error);
    if (version == 0) {
      *error = QStringLiteral("the database has no site schema (run 'telmon-site init')");
    }
    return version > 0;
  }

  std::optional<CurrentValues> Read(Link& link, const QDateTime& asOf, const QStringList& ioids,
                                    QString* error, DbFailure* failure);
  WriteResult Write(Link& link, const std::vector<MessageRecord>& records, std::uint64_t key);
  // Whether the transaction lost under `key` committed: None (it did), Refused (it did not, so
  // the records may be written), Unavailable (the server cannot tell now).
  DbFailure ResolveLostCommit(Link& link, std::uint64_t key, QString* error);
};

std::optional<CurrentValues> H5DBIL::Impl::Read(Link& link, const QDateTime& asOf,
                                                const QStringList& ioids, QString* error,
                                                DbFailure* failure) {
  QSqlDatabase* db = link.connection->Database(error);
  if (db == nullptr) {
    return std::nullopt;
  }
  const bool postgres = link.connection->Kind() == DatabaseKind::Postgresql;
  std::unique_ptr<QSqlQuery>& query = asOf.isValid() ? link.realtimeReadAsOf : link.realtimeRead;
  if (!query) {
    // The whole list travels as one parameter, so one prepared statement serves every call
    // whatever the number of IOIDs.
    QString sql = QStringLiteral("SELECT ioid, tstamp, numvalue, textvalue FROM H5REALTIME WHERE ");
    sql += postgres ? QStringLiteral("ioid = ANY(string_to_array(?, ','))")
                    : QStringLiteral("ioid IN (SELECT value FROM json_each(?))");
    if (asOf.isValid()) {
      sql += QStringLiteral(" AND tstamp <= ?");
    }
    query = std::make_unique<QSqlQuery>(*db);
    query->setForwardOnly(true);
    if (!Guarded(link, [&] { return query->prepare(sql); })) {
      *error = SqlErrorText(query->lastError());
      *failure = Classify(link, query->lastError());
      query.reset();
      return std::nullopt;
    }
  }
  const QString list =
      postgres
          ? IoidList{ioids}.Text()
          : QString::fromUtf8(
                QJsonDocument(QJsonArray::fromStringList(ioids)).toJson(QJsonDocument::Compact));
  query->bindValue(0, list);
  if (asOf.isValid()) {
    query->bindValue(1, asOf);
  }
  if (!Guarded(link, [&] { return query->exec(); })) {
    *error = SqlErrorText(query->lastError());
    *failure = Classify(link, query->lastError());
    return std::nullopt;
  }
  CurrentValues values;
  values.reserve(ioids.size());
  StampCache stamps;
  while (query->next()) {
    CurrentValueItem item = ItemFromRow(*query, stamps);
    QString key = item.ioid;
    values.emplace(std::move(key), std::move(item));
  }
  query->finish();
  return values;
}

namespace {

// Rows per INSERT statement when several records go together: one round trip carries many
// records, and 6 placeholders a row stay far below every driver's parameter limit.
constexpr std::size_t RowsPerStatement = 100;

QString InsertSql(std::size_t rows) {
  QString sql = QStringLiteral(
      "INSERT INTO H5IOCOMMAND (siteid, commandtext, extra1, extra2, callercode, createdat)"
      " VALUES ");
  for (std::size_t i = 0; i < rows; ++i) {
    sql += i == 0 ? QStringLiteral("(?, ?, ?, ?, ?, ?)") : QStringLiteral(", (?, ?, ?, ?, ?, ?)");
  }
  return sql;
}

// An empty text is stored as such, never as NULL.
QString NotNull(const QString& value) { return value.isNull() ? QStringLiteral("") : value; }

// Inserts records [begin, end) with one statement; the statement is prepared on first use.
bool InsertRows(QSqlDatabase& db, std::unique_ptr<QSqlQuery>& statement, const QString& siteId,
                const std::vector<MessageRecord>& records, std::size_t begin, std::size_t end,
                QSqlError* error) {
  if (!statement) {
    statement = std::make_unique<QSqlQuery>(db);
    if (!statement->prepare(InsertSql(end - begin))) {
      *error = statement->lastError();
      return false;
    }
  }
  const QDateTime now = QDateTime::currentDateTime();
  int p = 0;
  for (std::size_t i = begin; i < end; ++i) {
    statement->bindValue(p++, NotNull(siteId));
    statement->bindValue(p++, NotNull(records[i].commandText));
    statement->bindValue(p++, NotNull(records[i].extra1));
    statement->bindValue(p++, NotNull(records[i].extra2));
    statement->bindValue(p++, NotNull(records[i].callerCode));
    statement->bindValue(p++, now);
  }
  if (!statement->exec()) {
    *error = statement->lastError();
    return false;
  }
  return true;
}

}  // namespace

DbFailure H5DBIL::Impl::ResolveLostCommit(Link& link, std::uint64_t key, QString* error) {
  const auto lost = lostCommits.find(key);
  if (lost == lostCommits.end()) {
    return DbFailure::Refused;
  }
  QSqlDatabase* db = link.connection->Current();
  QSqlQuery query(*db);
  // The lost session may still hold its transaction open (the commit never reached the
  // server): ending it settles the transaction one way or the other.
  bool ok = Guarded(link, [&] {
    if (!query.prepare(QStringLiteral(
            "SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity"
            " WHERE pid = ? AND CAST(backend_start AS text) = ? AND pid <> pg_backend_pid()"))) {
      return false;
    }
    query.bindValue(0, lost->second.backendPid);
    query.bindValue(1, lost->second.backendStart);
    return query.exec();
  });
  query.finish();
  ok = ok && Guarded(link, [&] {
         if (!query.prepare(QStringLiteral("SELECT pg_xact_status(CAST(? AS xid8))"))) {
           return false;
         }
         query.bindValue(0, lost->second.xid);
         return query.exec();
       });
  if (!ok) {
    *error = SqlErrorText(query.lastError());
    // A transaction ID the server has not reached was never committed (a server restarted
    // before the transaction's log was written).
    if (query.lastError().nativeErrorCode() == QLatin1String("22023")) {
      lostCommits.erase(lost);
      return DbFailure::Refused;
    }
    return DbFailure::Unavailable;
  }
  const QString status = query.next() ? query.value(0).toString() : QString();
  query.finish();
  if (status == QLatin1String("committed")) {
    lostCommits.erase(lost);
    return DbFailure::None;
  }
  if (status == QLatin1String("in progress")) {
    *error = QStringLiteral("the outcome of an earlier commit is not known yet");
    return DbFailure::Unavailable;
  }
  lostCommits.erase(lost);
  return DbFailure::Refused;
}

WriteResult H5DBIL::Impl::Write(Link& link, const std::vector<MessageRecord>& records,
                                std::uint64_t key) {
  WriteResult result;
  QSqlDatabase* db = link.connection->Database(&result.error);
  if (db == nullptr) {
    result.failure = DbFailure::Unavailable;
    return result;
  }
  const bool postgres = link.connection->Kind() == DatabaseKind::Postgresql;
  if (postgres) {
    const DbFailure earlier = ResolveLostCommit(link, key, &result.error);
    if (earlier != DbFailure::Refused) {
      result.failure = earlier;
      if (earlier == DbFailure::None) {
        result.error.clear();
      }
      return result;
    }
  }
  auto fail = [&](const QSqlError& error) {
    result.error = SqlErrorText(error);
    result.failure = Classify(link, error);
    return result;
  };
  if (!Guarded(link, [&] { return db->transaction(); })) {
    return fail(db->lastError());
  }
  LostCommit session;
  if (postgres) {
    QSqlQuery ask(*db);
    if (!Guarded(link, [&] {
          return ask.exec(
                     QStringLiteral("SELECT CAST(pg_current_xact_id() AS text), pg_backend_pid(),"
                                    " CAST(backend_start AS text)"
                                    " FROM pg_stat_activity WHERE pid = pg_backend_pid()")) &&
                 ask.next();
        })) {
      const QSqlError error = ask.lastError();
      ask.finish();
      Guarded(link, [&] { return db->rollback(); });
      return fail(error);
    }
    session = {ask.value(0).toString(), ask.value(1).toLongLong(), ask.value(2).toString()};
    ask.finish();
  }
  std::unique_ptr<QSqlQuery> full;  // RowsPerStatement rows
  std::unique_ptr<QSqlQuery> rest;  // the remainder
  QSqlError failure;
  bool ok = true;
  for (std::size_t begin = 0; ok && begin < records.size(); begin += RowsPerStatement) {
    const std::size_t end = std::min(records.size(), begin + RowsPerStatement);
    std::unique_ptr<QSqlQuery>& statement = end - begin == RowsPerStatement ? full : rest;
    ok = Guarded(link,
                 [&] { return InsertRows(*db, statement, siteId, records, begin, end, &failure); });
  }
  for (const auto* statement : {&full, &rest}) {
    if (*statement) {
      (*statement)->finish();
    }
  }
  // The statements are released after the transaction ends: an aborted PostgreSQL
  // transaction refuses even their deallocation.
  if (!ok) {
    fail(failure);
    if (result.failure == DbFailure::Refused) {
      Guarded(link, [&] { return db->rollback(); });
    }
    return result;
  }
  if (!Guarded(link, [&] { return db->commit(); })) {
    fail(db->lastError());
    if (result.failure == DbFailure::Unavailable && postgres) {
      lostCommits[key] = session;
    } else {
      Guarded(link, [&] { return db->rollback(); });
    }
    return result;
  }
  lostCommits.erase(key);
  return result;
}

H5DBIL::H5DBIL(QObject* parent) : QObject(parent), impl_(std::make_unique<Impl>()) {
  impl_->self = this;
}

H5DBIL::~H5DBIL() = default;

bool H5DBIL::SetSiteID(const QString& siteId, const QString& languageId,
                       const ConnectionStrings& connections) {
  impl_->links.clear();
  impl_->siteId = siteId;
  impl_->languageId = languageId;
  impl_->connections = connections;
  if (siteId.trimmed().isEmpty()) {
    impl_->Report(QStringLiteral("the site identifier is empty"));
    return false;
  }
  if (connections.config.trimmed().isEmpty()) {
    impl_->Report(QStringLiteral("the configuration connection string is empty"));
    return false;
  }
  bool ok = true;
  for (const auto& [role, text] : impl_->DistinctConnections()) {
    QString error;
    if (!ParseConnectionString(text, &error)) {
      impl_->Report(QStringLiteral("%1 database: %2").arg(role, error));
      ok = false;
    }
  }
  return ok;
}

QString H5DBIL::SiteID() const { return impl_->siteId; }

const ConnectionStrings& H5DBIL::Connections() const { return impl_->connections; }

bool H5DBIL::TestConnectionsReadOnly() {
  const auto list = impl_->DistinctConnections();
  bool ok = !list.empty();
  for (const auto& [role, text] : list) {
    SqlConnection connection(text, OpenMode::ReadOnly);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    if (db == nullptr || !impl_->CheckSchema(*db, &error)) {
      impl_->Report(QStringLiteral("read-only test of the %1 database (%2) failed: %3")
                        .arg(role, MaskConnectionString(text), error));
      ok = false;
    }
  }
  return ok;
}

bool H5DBIL::TestConnectionsReadWrite() {
  const auto list = impl_->DistinctConnections();
  bool ok = !list.empty();
  for (const auto& [role, text] : list) {
    QString error;
    Link* link = impl_->LinkFor(text, &error);
    QSqlDatabase* db = link != nullptr ? link->connection->Database(&error) : nullptr;
    bool writable = db != nullptr && impl_->CheckSchema(*db, &error);
    if (writable) {
      // Taking the write lock (SQLite) or asking the session (PostgreSQL) proves that a write
      // would be accepted without writing anything.
      QSqlQuery probe(*db);
      if (link->connection->Kind() == DatabaseKind::Sqlite) {
        writable =
            probe.exec(QStringLiteral("BEGIN IMMEDIATE")) && probe.exec(QStringLiteral("ROLLBACK"));
        error = SqlErrorText(probe.lastError());
      } else if (!probe.exec(QStringLiteral("SELECT current_setting('transaction_read_only')")) ||
                 !probe.next()) {
        writable = false;
        error = SqlErrorText(probe.lastError());
      } else {
        writable = probe.value(0).toString() == QStringLiteral("off");
        error = QStringLiteral("the server accepts reads only");
      }
    }
    if (!writable) {
      impl_->Report(QStringLiteral("read-write test of the %1 database (%2) failed: %3")
                        .arg(role, MaskConnectionString(text), error));
      ok = false;
    }
  }
  return ok;
}

QString H5DBIL::LookupValue(const QString& key, const QString& defaultValue) {
  const QString siteId = impl_->siteId;
  auto read = [&](Link& link, QString* error, DbFailure* failure) -> std::optional<QString> {
    QSqlDatabase* db = link.connection->Database(error);
    if (db == nullptr) {
      return std::nullopt;
    }
    if (!link.lookup) {
      link.lookup = std::make_unique<QSqlQuery>(*db);
      link.lookup->setForwardOnly(true);
      if (!impl_->Guarded(link, [&] {
            return link.lookup->prepare(QStringLiteral(
                "SELECT lookupvalue FROM H5LOOKUP WHERE siteid = ? AND lookupkey = ?"));
          })) {
        *error = SqlErrorText(link.lookup->lastError());
        *failure = impl_->Classify(link, link.lookup->lastError());
        link.lookup.reset();
        return std::nullopt;
      }
    }
    QSqlQuery& query = *link.lookup;
    query.bindValue(0, siteId);
    query.bindValue(1, key);
    if (!impl_->Guarded(link, [&] { return query.exec(); })) {
      *error = SqlErrorText(query.lastError());
      *failure = impl_->Classify(link, query.lastError());
      return std::nullopt;
    }
    const QString value = query.next() ? query.value(0).toString() : defaultValue;
    query.finish();
    return value;
  };
  const auto value = impl_->ReadWithReopen<QString>(impl_->connections.config,
                                                    QStringLiteral("look up '%1'").arg(key), read);
  return value.value_or(defaultValue);
}

std::optional<CurrentValues> H5DBIL::ReadCurrentValues(const QString& connection,
                                                       const QDateTime& asOf,
                                                       const QString& ioidList) {
  return ReadCurrentValues(connection, asOf, IoidList::FromText(ioidList));
}

std::optional<CurrentValues> H5DBIL::ReadCurrentValues(const QString& connection,
                                                       const QDateTime& asOf,
                                                       const IoidList& ioidList) {
  const QStringList ioids = DistinctIoids(ioidList.ioids);
  if (ioids.isEmpty()) {
    return CurrentValues();
  }
  return impl_->ReadWithReopen<CurrentValues>(connection, QStringLiteral("read current values"),
                                              [&](Link& link, QString* error, DbFailure* failure) {
                                                return impl_->Read(link, asOf, ioids, error,
                                                                   failure);
                                              });
}

bool H5DBIL::WriteMessageRecord(const QString& commandText, const QString& extra1,
                                const QString& extra2, const QString& callerCode) {
  const QString& connection = impl_->connections.config;
  const std::vector<MessageRecord> records = {{commandText, extra1, extra2, callerCode}};
  WriteResult result;
  Link* link = impl_->LinkFor(connection, &result.error);
  if (link != nullptr) {
    result = impl_->Write(*link, records, NewWriteKey());
    if (result.Written()) {
      return true;
    }
  }
  // A record is never written twice: a failed write is reported, and a lost connection is
  // only reopened for the next call.
  if (link != nullptr && result.failure == DbFailure::Unavailable) {
    link->Reset();
  }
  impl_->Report(QStringLiteral("can't write the command record (%1): %2")
                    .arg(MaskConnectionString(connection), result.error));
  return false;
}

WriteResult H5DBIL::WriteMessageRecords(const std::vector<MessageRecord>& records,
                                        std::uint64_t writeKey) {
  WriteResult result;
  Link* link = impl_->LinkFor(impl_->connections.config, &result.error);
  if (link == nullptr) {
    result.failure = DbFailure::Unavailable;
    return result;
  }
  result = impl_->Write(*link, records, writeKey);
  if (result.failure == DbFailure::Unavailable) {
    link->Reset();
  }
  return result;
}

std::uint64_t H5DBIL::NewWriteKey() { return impl_->nextWriteKey++; }

void H5DBIL::SetReplyTimeout(int milliseconds) {
  impl_->replyTimeout = std::chrono::milliseconds(milliseconds);
}

}  // namespace telmon
