#pragma once

// The site's database interface: lookups, the realtime current-value read and command records,
// over Qt SQL (an SQLite file by default, or a PostgreSQL server). Connections are opened once
// and reused; a dropped connection is reopened on the next call. Failures are reported through
// the Message signal and the call's result, never by exceptions.
//
// An object and its connections belong to the thread that uses them: Qt SQL connections may
// not cross threads, so a worker thread has an H5DBIL of its own.

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace telmon {

struct ConnectionStrings {
  QString config;
  QString alarms;
  QString data;
  QString dataShortTerm;
  QString realtime;
};

// One realtime point as the current-value read returns it.
// One command record's texts, as WriteMessageRecord takes them.
struct MessageRecord {
  QString commandText;
  QString extra1;
  QString extra2;
  QString callerCode;
};

struct CurrentValueItem {
  QString ioid;
  QDateTime timestamp;
  std::optional<double> numericValue;  // empty = null
  QString textValue;
};
using CurrentValues = QHash<QString, CurrentValueItem>;  // keyed by IOID

// The IOIDs of one realtime read, in the order asked. A caller that holds them one by one
// hands them over so; Text is the comma-separated form callers in text use and a PostgreSQL
// server is handed.
struct IoidList {
  QStringList ioids;

  // The IOIDs joined with "," (no blanks).
  QString Text() const { return ioids.join(QLatin1Char(',')); }
  // Each piece of a comma-separated text, as it stands.
  static IoidList FromText(const QString& commaSeparated) {
    return IoidList{commaSeparated.split(QLatin1Char(','))};
  }
};

// Why a call failed: the database could not be reached (no connection, a connection lost or
// silent, a locked file, a full disk), or it was reached and refused the statement.
enum class DbFailure { None, Unavailable, Refused };

struct WriteResult {
  DbFailure failure = DbFailure::None;
  QString error;  // the driver's text when failed
  bool Written() const { return failure == DbFailure::None; }
};

class H5DBIL : public QObject {
  Q_OBJECT

 public:
  explicit H5DBIL(QObject* parent = nullptr);
  ~H5DBIL() override;

  bool SetSiteID(const QString& siteId, const QString& languageId,
                 const ConnectionStrings& connections);
  QString SiteID() const;
  const ConnectionStrings& Connections() const;

  bool TestConnectionsReadOnly();
  bool TestConnectionsReadWrite();

  // Value of `key` in H5LOOKUP for the site, or `defaultValue` when there is none.
  QString LookupValue(const QString& key, const QString& defaultValue);

  // Current values for a comma-separated IOID list. `connection` is a connection string (the
  // realtime one normally); an invalid `asOf` means current values. Empty on failure.
  std::optional<CurrentValues> ReadCurrentValues(const QString& connection, const QDateTime& asOf,
                                                 const QString& ioidList);
  // The same for the IOIDs as a list: each is trimmed, empty ones are left out and each is
  // read once, as in the text form.
  std::optional<CurrentValues> ReadCurrentValues(const QString& connection, const QDateTime& asOf,
                                                 const IoidList& ioids);

  // One command record in H5IOCOMMAND for the site, in a transaction.
  bool WriteMessageRecord(const QString& commandText, const QString& extra1, const QString& extra2,
                          const QString& callerCode);
  // Several command records in one transaction: all of them committed, or none (the
  // transaction is rolled back, the result says why, and nothing is reported, so that the
  // caller can split the records or report them).
  //
  // `writeKey` names the write across its retries (NewWriteKey). When a server's answer to the
  // commit was lost with the connection, the transaction is remembered under the key, and the
  // next call with that key first ends the lost session and asks the server whether the
  // transaction committed: if it did, the records are not written again and the call succeeds.
  WriteResult WriteMessageRecords(const std::vector<MessageRecord>& records,
                                  std::uint64_t writeKey);
  std::uint64_t NewWriteKey();

  // How long a statement may wait for the server's answer before the connection is given up
  // as lost (PostgreSQL; an SQLite file waits for its lock as SqliteBusyTimeoutMs says).
  void SetReplyTimeout(int milliseconds);
  static constexpr int DefaultReplyTimeoutMs = 10000;

 Q_SIGNALS:
  void Message(std::int32_t msgType, const QString& text);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace telmon
