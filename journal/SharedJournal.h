#pragma once

// The site's shared operator journal on a PostgreSQL server: every computer's entries in one
// hash chain. Each row carries its sequence number, the previous row's hash and its own hash,
// SHA-256 over the previous hash (32 bytes) and the row's canonical bytes. Writers take a table
// lock in the insert transaction, so the chain never forks; triggers refuse UPDATE, DELETE and
// TRUNCATE. A row is keyed by its computer, the local journal file it came from (the outbox)
// and its number there, so an entry forwarded twice is stored once.

#include "journal/IOperationJournal.h"

#include <QByteArray>
#include <QSqlDatabase>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace telmon {

// One row of the shared journal, every field as the server stores it.
struct SharedJournalRow {
  std::int64_t seq = 0;
  QString computer;
  QString outbox;
  std::int64_t localSeq = 0;
  QString timeUtc;  // ISO 8601 with milliseconds, as the local journal stores it
  QString timeLocal;
  std::int32_t dahs = 0;
  QString account;
  QString operation;
  QString targets;
  QString value;
  QString command;
  QString outcome;
  QString previousHash;  // 64 hex digits; all zeros before the first row
  QString hash;
  QString previousValue;  // the target's value before the change; empty when not known
};

struct JournalHead {
  std::int64_t seq = 0;
  QString hash;
};

// Another computer of the site with edit mode on.
struct EditModeElsewhere {
  QString computer;
  QString account;
  QString since;  // local time, "yyyy-MM-dd hh:mm:ss"
  bool operator==(const EditModeElsewhere&) const = default;
};

struct JournalVerifyResult {
  bool ok = false;
  std::int64_t entries = 0;  // rows that matched before the first that did not
  QString problem;           // names the first row that does not match
};

namespace SharedJournal {

inline const QString GenesisHash = QString(64, QLatin1Char('0'));

// The row's fields, other than the hashes, as netstrings ("<length>:<UTF-8 bytes>,") in a
// fixed order.
QByteArray CanonicalBytes(const SharedJournalRow& row);
// SHA-256 over the previous hash's 32 bytes and the canonical bytes, as 64 lowercase hex digits.
QString ChainHash(const QString& previousHash, const QByteArray& canonical);

// Creates the table, its indexes and the triggers where they are missing.
bool InitSchema(QSqlDatabase& db, QString* error);

// The highest local number of `outbox` on the server, 0 when none; empty on failure.
std::optional<std::int64_t> LastForwarded(QSqlDatabase& db, const QString& outbox, QString* error);

// Appends the entries (local numbers in `id`) of `outbox`, in order, in one transaction; entries
// already on the server are skipped. False (nothing appended) on failure.
bool Append(QSqlDatabase& db, const QString& outbox, const std::vector<JournalEntry>& entries,
            QString* error);

// Walks the chain from the first row.
JournalVerifyResult Verify(QSqlDatabase& db);

// The latest row's number and hash; seq 0 and the genesis hash for an empty journal.
std::optional<JournalHead> Head(QSqlDatabase& db, QString* error);

// Every row, oldest first (for tests and the journal window).
std::vector<SharedJournalRow> ReadAll(QSqlDatabase& db, QString* error);

// Up to `limit` rows after `afterSeq`, oldest first, as the journal window shows entries (the
// row's number in `id`); empty on failure.
std::optional<std::vector<JournalEntry>> EntriesAfter(QSqlDatabase& db, std::int64_t afterSeq,
                                                      std::int64_t limit, QString* error);

// Records that `computer` has edit mode on for `account` since `since` (renewing the mark), or,
// for an empty account, that it has not.
bool SetEditMode(QSqlDatabase& db, const QString& computer, const QString& account,
                 const QString& since, QString* error);
// The other computers whose edit mode mark was renewed within `staleSeconds`, by name.
std::optional<std::vector<EditModeElsewhere>> OthersInEditMode(QSqlDatabase& db,
                                                               const QString& computer,
                                                               int staleSeconds, QString* error);

}  // namespace SharedJournal

}  // namespace telmon
