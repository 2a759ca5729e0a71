#include "platform/H5DBIL.h"

#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"
#include "util/IRaiseMsg.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace telmon {

namespace {

const QString Prefix = QStringLiteral("H5DBIL: ");

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

// Trimmed, non-empty, each IOID once, in the order given.
QStringList SplitIoidList(const QString& list) {
  QStringList ioids;
  QSet<QString> seen;
  for (const QString& part : list.split(QLatin1Char(','))) {
    const QString ioid = part.trimmed();
    if (!ioid.isEmpty() && !seen.contains(ioid)) {
      seen.insert(ioid);
      ioids.append(ioid);
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
      std::optional<Result> result = read(*link, &error);
      if (result) {
        return result;
      }
      if (link->connection->IsAlive()) {
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
                                    QString* error);
  bool Write(Link& link, const std::vector<MessageRecord>& records, QString* error);
};

std::optional<CurrentValues> H5DBIL::Impl::Read(Link& link, const QDateTime& asOf,
                                                const QStringList& ioids, QString* error) {
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
    if (!query->prepare(sql)) {
      *error = SqlErrorText(query->lastError());
      query.reset();
      return std::nullopt;
    }
  }
  const QString list =
      postgres
          ? ioids.join(QLatin1Char(','))
          : QString::fromUtf8(
                QJsonDocument(QJsonArray::fromStringList(ioids)).toJson(QJsonDocument::Compact));
  query->bindValue(0, list);
  if (asOf.isValid()) {
    query->bindValue(1, asOf);
  }
  if (!query->exec()) {
    *error = SqlErrorText(query->lastError());
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
                QString* error) {
  if (!statement) {
    statement = std::make_unique<QSqlQuery>(db);
    if (!statement->prepare(InsertSql(end - begin))) {
      *error = SqlErrorText(statement->lastError());
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
    *error = SqlErrorText(statement->lastError());
    return false;
  }
  return true;
}

}  // namespace

bool H5DBIL::Impl::Write(Link& link, const std::vector<MessageRecord>& records, QString* error) {
  QSqlDatabase* db = link.connection->Database(error);
  if (db == nullptr) {
    return false;
  }
  if (!db->transaction()) {
    *error = SqlErrorText(db->lastError());
    return false;
  }
  std::unique_ptr<QSqlQuery> full;  // RowsPerStatement rows
  std::unique_ptr<QSqlQuery> rest;  // the remainder
  bool ok = true;
  for (std::size_t begin = 0; ok && begin < records.size(); begin += RowsPerStatement) {
    const std::size_t end = std::min(records.size(), begin + RowsPerStatement);
    ok = InsertRows(*db, end - begin == RowsPerStatement ? full : rest, siteId, records, begin, end,
                    error);
  }
  full.reset();
  rest.reset();
  if (!ok) {
    db->rollback();
    return false;
  }
  if (!db->commit()) {
    *error = SqlErrorText(db->lastError());
    db->rollback();
    return false;
  }
  return true;
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
  auto read = [&](Link& link, QString* error) -> std::optional<QString> {
    QSqlDatabase* db = link.connection->Database(error);
    if (db == nullptr) {
      return std::nullopt;
    }
    if (!link.lookup) {
      link.lookup = std::make_unique<QSqlQuery>(*db);
      link.lookup->setForwardOnly(true);
      if (!link.lookup->prepare(QStringLiteral(
              "SELECT lookupvalue FROM H5LOOKUP WHERE siteid = ? AND lookupkey = ?"))) {
        *error = SqlErrorText(link.lookup->lastError());
        link.lookup.reset();
        return std::nullopt;
      }
    }
    QSqlQuery& query = *link.lookup;
    query.bindValue(0, siteId);
    query.bindValue(1, key);
    if (!query.exec()) {
      *error = SqlErrorText(query.lastError());
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
  const QStringList ioids = SplitIoidList(ioidList);
  if (ioids.isEmpty()) {
    return CurrentValues();
  }
  return impl_->ReadWithReopen<CurrentValues>(
      connection, QStringLiteral("read current values"),
      [&](Link& link, QString* error) { return impl_->Read(link, asOf, ioids, error); });
}

bool H5DBIL::WriteMessageRecord(const QString& commandText, const QString& extra1,
                                const QString& extra2, const QString& callerCode) {
  const QString& connection = impl_->connections.config;
  const std::vector<MessageRecord> records = {{commandText, extra1, extra2, callerCode}};
  QString error;
  Link* link = impl_->LinkFor(connection, &error);
  if (link != nullptr && impl_->Write(*link, records, &error)) {
    return true;
  }
  // A record is never written twice: a failed write is reported, and a dropped connection is
  // only reopened for the next call.
  if (link != nullptr && !link->connection->IsAlive()) {
    link->Reset();
  }
  impl_->Report(QStringLiteral("can't write the command record (%1): %2")
                    .arg(MaskConnectionString(connection), error));
  return false;
}

bool H5DBIL::WriteMessageRecords(const std::vector<MessageRecord>& records, QString* error) {
  Link* link = impl_->LinkFor(impl_->connections.config, error);
  if (link == nullptr) {
    return false;
  }
  if (impl_->Write(*link, records, error)) {
    return true;
  }
  if (!link->connection->IsAlive()) {
    link->Reset();
  }
  return false;
}

}  // namespace telmon
