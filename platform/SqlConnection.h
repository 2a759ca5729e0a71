#pragma once

// Site connection strings and the one database connection that each of them opens.
//
// Two forms are understood:
//   sqlite:<path>                                   an SQLite file (created only by telmon-site)
//   postgresql://[user[:password]@]host[:port]/dbname[?key=value&...]
// Any query parameters of the PostgreSQL form are passed to the server as connection options;
// connect_timeout defaults to a few seconds so that an unreachable server fails quickly.

#include <QDateTime>
#include <QSqlDatabase>
#include <QString>
#include <QVariant>

#include <optional>

namespace telmon {

enum class DatabaseKind { Sqlite, Postgresql };

struct DatabaseAddress {
  DatabaseKind kind = DatabaseKind::Sqlite;
  QString path;  // SQLite file
  QString host;
  int port = 5432;
  QString databaseName;
  QString user;
  QString password;
  QString options;  // "key=value;key=value" as the Qt driver takes them
};

inline constexpr int DefaultConnectTimeoutSeconds = 3;
inline constexpr int SqliteBusyTimeoutMs = 5000;

// Empty (and `error` set) when the text is not a connection string of a known form.
std::optional<DatabaseAddress> ParseConnectionString(const QString& text, QString* error);

// The connection string with any password replaced by "***", for messages and displays.
QString MaskConnectionString(const QString& text);

enum class OpenMode { ReadWrite, ReadOnly, Create };

// One named Qt SQL connection, opened on first use and reopened after it dropped. The name
// is unique per object, and the connection is removed from Qt's registry on destruction.
class SqlConnection {
 public:
  SqlConnection(QString connectionString, OpenMode mode);
  ~SqlConnection();
  SqlConnection(const SqlConnection&) = delete;
  SqlConnection& operator=(const SqlConnection&) = delete;

  // The open database, opening it when needed; empty with `error` set when it cannot be opened.
  QSqlDatabase* Database(QString* error);
  // The open database, or null; never opens one.
  QSqlDatabase* Current() { return db_.isValid() && db_.isOpen() ? &db_ : nullptr; }
  // Forgets the current connection so that the next Database() opens a fresh one.
  void Reset();
  // True when the open connection still answers a trivial query.
  bool IsAlive();

  const QString& ConnectionString() const { return connectionString_; }
  DatabaseKind Kind() const { return address_ ? address_->kind : DatabaseKind::Sqlite; }

 private:
  bool Open(QString* error);

  QString connectionString_;
  OpenMode mode_;
  std::optional<DatabaseAddress> address_;
  QString name_;
  QSqlDatabase db_;
};

// "<text of the driver error>" in one line, for messages.
QString SqlErrorText(const class QSqlError& error);

// Prepares `sql` on `q`, binds `values` by position and runs it; false with the error's text in
// `error` when either step fails.
bool RunPrepared(class QSqlQuery& q, const QString& sql, const QVariantList& values,
                 QString* error);

// A time stamp column as a local date-time: PostgreSQL hands over a date-time, SQLite the ISO
// text that Qt bound ("2024-03-14T14:05:09.000", a blank instead of the "T" is accepted).
// Invalid for NULL or unreadable text.
QDateTime SqlToDateTime(const QVariant& value);

// "yyyy-MM-ddTHH:mm:ss[.zzz]" (or with a blank for the T), the form every realtime row has, read
// without the general parser; invalid for any other shape, which SqlToDateTime then hands to the
// general parser.
QDateTime ParseSqlTimestamp(QStringView text);

}  // namespace telmon
