#include "platform/SqlConnection.h"

#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>

namespace telmon {

namespace {

const QString SqlitePrefix = QStringLiteral("sqlite:");

std::optional<DatabaseAddress> ParseSqlite(const QString& text, QString* error) {
  QString path = text.mid(SqlitePrefix.size()).trimmed();
  if (path.startsWith(QStringLiteral("//"))) {
    path = path.mid(2);
  }
  if (path.isEmpty()) {
    *error = QStringLiteral("the connection string '%1' names no SQLite file").arg(text);
    return std::nullopt;
  }
  DatabaseAddress address;
  address.kind = DatabaseKind::Sqlite;
  address.path = path;
  return address;
}

std::optional<DatabaseAddress> ParsePostgresql(const QString& text, QString* error) {
  const QUrl url(text, QUrl::StrictMode);
  if (!url.isValid()) {
    *error = QStringLiteral("the connection string '%1' is not a valid PostgreSQL address: %2")
                 .arg(MaskConnectionString(text), url.errorString());
    return std::nullopt;
  }
  DatabaseAddress address;
  address.kind = DatabaseKind::Postgresql;
  address.host = url.host(QUrl::FullyDecoded);
  address.port = url.port(5432);
  address.user = url.userName(QUrl::FullyDecoded);
  address.password = url.password(QUrl::FullyDecoded);
  address.databaseName = url.path(QUrl::FullyDecoded).mid(1);
  if (address.databaseName.isEmpty()) {
    *error = QStringLiteral("the connection string '%1' names no database")
                 .arg(MaskConnectionString(text));
    return std::nullopt;
  }
  QStringList options;
  bool hasTimeout = false;
  for (const auto& [key, value] : QUrlQuery(url).queryItems(QUrl::FullyDecoded)) {
    hasTimeout = hasTimeout || key == QStringLiteral("connect_timeout");
    options.append(key + QLatin1Char('=') + value);
  }
  if (!hasTimeout) {
    options.append(QStringLiteral("connect_timeout=%1").arg(DefaultConnectTimeoutSeconds));
  }
  address.options = options.join(QLatin1Char(';'));
  return address;
}

}  // namespace

std::optional<DatabaseAddress> ParseConnectionString(const QString& text, QString* error) {
  QString ignored;
  QString& message = error != nullptr ? *error : ignored;
  const QString trimmed = text.trimmed();
  if (trimmed.isEmpty()) {
    message = QStringLiteral("the connection string is empty");
    return std::nullopt;
  }
  if (trimmed.startsWith(SqlitePrefix, Qt::CaseInsensitive)) {
    return ParseSqlite(trimmed, &message);
  }
  if (trimmed.startsWith(QStringLiteral("postgresql://"), Qt::CaseInsensitive) ||
      trimmed.startsWith(QStringLiteral("postgres://"), Qt::CaseInsensitive)) {
    return ParsePostgresql(trimmed, &message);
  }
  message = QStringLiteral(
                "the connection string '%1' is neither 'sqlite:<file>' nor "
                "'postgresql://user@host:port/database'")
                .arg(MaskConnectionString(trimmed));
  return std::nullopt;
}

QString MaskConnectionString(const QString& text) {
  const qsizetype scheme = text.indexOf(QStringLiteral("://"));
  const qsizetype at = text.lastIndexOf(QLatin1Char('@'));
  if (scheme < 0 || at < scheme) {
    return text;
  }
  const qsizetype colon = text.indexOf(QLatin1Char(':'), scheme + 3);
  if (colon < 0 || colon > at) {
    return text;
  }
  return text.left(colon + 1) + QStringLiteral("***") + text.mid(at);
}

QString SqlErrorText(const QSqlError& error) {
  QString text = error.text().simplified();
  return text.isEmpty() ? QStringLiteral("unknown database error") : text;
}

bool RunPrepared(QSqlQuery& q, const QString& sql, const QVariantList& values, QString* error) {
  if (!q.prepare(sql)) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  for (int i = 0; i < values.size(); ++i) {
    q.bindValue(i, values[i]);
  }
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  return true;
}

namespace {

// Digits of text[from, from + count) as a number; -1 when any is not a digit.
int Digits(QStringView text, int from, int count) {
  int value = 0;
  for (int i = from; i < from + count; ++i) {
    const char16_t c = text[i].unicode();
    if (c < u'0' || c > u'9') {
      return -1;
    }
    value = value * 10 + (c - u'0');
  }
  return value;
}

}  // namespace

// The general parser is far slower and shows in reads of thousands of rows.
QDateTime ParseSqlTimestamp(QStringView text) {
  if ((text.size() != 19 && text.size() != 23) || text[4] != u'-' || text[7] != u'-' ||
      (text[10] != u'T' && text[10] != u' ') || text[13] != u':' || text[16] != u':' ||
      (text.size() == 23 && text[19] != u'.')) {
    return {};
  }
  // A year that is not four digits would otherwise read as a year before the common era.
  const int year = Digits(text, 0, 4);
  if (year < 1) {
    return {};
  }
  const QDate date(year, Digits(text, 5, 2), Digits(text, 8, 2));
  const QTime time(Digits(text, 11, 2), Digits(text, 14, 2), Digits(text, 17, 2),
                   text.size() == 23 ? Digits(text, 20, 3) : 0);
  if (!date.isValid() || !time.isValid()) {
    return {};
  }
  return QDateTime(date, time);
}

QDateTime SqlToDateTime(const QVariant& value) {
  if (value.isNull()) {
    return {};
  }
  if (value.metaType().id() == QMetaType::QDateTime) {
    return value.toDateTime().toLocalTime();
  }
  const QString text = value.toString().trimmed();
  QDateTime parsed = ParseSqlTimestamp(text);
  if (!parsed.isValid()) {
    parsed = QDateTime::fromString(text, Qt::ISODateWithMs);
  }
  return parsed.isValid() ? parsed.toLocalTime() : parsed;
}

SqlConnection::SqlConnection(QString connectionString, OpenMode mode)
    : connectionString_(std::move(connectionString)),
      mode_(mode),
      name_(QStringLiteral("telmon-") + QUuid::createUuid().toString(QUuid::WithoutBraces)) {}

SqlConnection::~SqlConnection() { Reset(); }

void SqlConnection::Reset() {
  if (db_.isValid()) {
    db_.close();
  }
  db_ = QSqlDatabase();
  if (QSqlDatabase::contains(name_)) {
    QSqlDatabase::removeDatabase(name_);
  }
}

QSqlDatabase* SqlConnection::Database(QString* error) {
  if (db_.isValid() && db_.isOpen()) {
    return &db_;
  }
  Reset();
  QString message;
  if (!Open(&message)) {
    Reset();
    if (error != nullptr) {
      *error = message;
    }
    return nullptr;
  }
  return &db_;
}

bool SqlConnection::IsAlive() {
  if (!db_.isValid() || !db_.isOpen()) {
    return false;
  }
  QSqlQuery query(db_);
  return query.exec(QStringLiteral("SELECT 1")) && query.next();
}

bool SqlConnection::Open(QString* error) {
  if (!address_) {
    address_ = ParseConnectionString(connectionString_, error);
    if (!address_) {
      return false;
    }
  }
  const DatabaseAddress& a = *address_;
  const QString shown = MaskConnectionString(connectionString_);
  if (a.kind == DatabaseKind::Sqlite) {
    if (mode_ != OpenMode::Create && !QFileInfo::exists(a.path)) {
      *error = QStringLiteral("the database file '%1' does not exist").arg(a.path);
      return false;
    }
    db_ = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name_);
    db_.setDatabaseName(a.path);
    QString options = QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(SqliteBusyTimeoutMs);
    if (mode_ == OpenMode::ReadOnly) {
      options += QStringLiteral(";QSQLITE_OPEN_READONLY");
    }
    db_.setConnectOptions(options);
  } else {
    db_ = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name_);
    db_.setHostName(a.host);
    db_.setPort(a.port);
    db_.setDatabaseName(a.databaseName);
    db_.setUserName(a.user);
    db_.setPassword(a.password);
    db_.setConnectOptions(a.options);
  }
  if (!db_.isValid()) {
    *error = QStringLiteral("no Qt SQL driver for '%1'").arg(shown);
    return false;
  }
  if (!db_.open()) {
    *error = QStringLiteral("can't open '%1': %2").arg(shown, SqlErrorText(db_.lastError()));
    return false;
  }
  QSqlQuery setup(db_);
  bool ok = true;
  if (a.kind == DatabaseKind::Sqlite && mode_ != OpenMode::ReadOnly) {
    // The simulator rewrites the realtime table every second while the monitor reads it;
    // write-ahead logging lets the reader go on while the writer commits.
    ok = setup.exec(QStringLiteral("PRAGMA journal_mode=WAL"));
  } else if (a.kind == DatabaseKind::Postgresql && mode_ == OpenMode::ReadOnly) {
    ok = setup.exec(QStringLiteral("SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY"));
  }
  if (!ok) {
    *error = QStringLiteral("can't prepare '%1': %2").arg(shown, SqlErrorText(setup.lastError()));
    return false;
  }
  return true;
}

}  // namespace telmon
