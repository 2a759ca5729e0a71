#include "journal/SharedJournal.h"

#include "platform/SqlConnection.h"

#include <sodium.h>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <array>

namespace telmon::SharedJournal {

namespace {

constexpr int kHashBytes = crypto_hash_sha256_BYTES;
constexpr int kVerifyBatch = 20000;

const char* const kSchema[] = {
    "CREATE TABLE IF NOT EXISTS telmon_journal (seq BIGINT PRIMARY KEY, computer TEXT NOT NULL, "
    "outbox TEXT NOT NULL, local_seq BIGINT NOT NULL, time_utc TEXT NOT NULL, time_local TEXT NOT "
    "NULL, dahs INTEGER NOT NULL, account TEXT NOT NULL, operation TEXT NOT NULL, targets TEXT NOT "
    "NULL, value TEXT NOT NULL, command TEXT NOT NULL, outcome TEXT NOT NULL, previous_hash "
    "TEXT NOT NULL, hash TEXT NOT NULL, UNIQUE (computer, outbox, local_seq))",
    // Kept from the start of the value's history; a journal made before it gets it here.
    "ALTER TABLE telmon_journal ADD COLUMN IF NOT EXISTS previous_value TEXT NOT NULL DEFAULT ''",
    "CREATE INDEX IF NOT EXISTS telmon_journal_outbox ON telmon_journal (outbox, local_seq)",
    // Who has edit mode on where: a row per computer while it does, renewed at every pass of its
    // forwarder; a row not renewed for a while belongs to a program that ended without saying.
    "CREATE TABLE IF NOT EXISTS telmon_edit_mode (computer TEXT PRIMARY KEY, account TEXT NOT "
    "NULL, since TEXT NOT NULL, seen TIMESTAMPTZ NOT NULL)",
    "CREATE OR REPLACE FUNCTION telmon_journal_append_only() RETURNS trigger LANGUAGE plpgsql AS "
    "$$ BEGIN RAISE EXCEPTION 'the operator journal is append-only'; END $$",
};

const char* const kTriggers[][2] = {
    {"telmon_journal_no_change",
     "CREATE TRIGGER telmon_journal_no_change BEFORE UPDATE OR DELETE ON telmon_journal FOR EACH "
     "ROW EXECUTE FUNCTION telmon_journal_append_only()"},
    {"telmon_journal_no_truncate",
     "CREATE TRIGGER telmon_journal_no_truncate BEFORE TRUNCATE ON telmon_journal FOR EACH "
     "STATEMENT EXECUTE FUNCTION telmon_journal_append_only()"},
};

const char kColumns[] =
    "seq, computer, outbox, local_seq, time_utc, time_local, dahs, account, operation, targets, "
    "value, command, outcome, previous_hash, hash, previous_value";

void AppendNetstring(QByteArray& out, const QByteArray& bytes) {
  out += QByteArray::number(bytes.size());
  out += ':';
  out += bytes;
  out += ',';
}

bool Fail(QSqlQuery& query, QString* error) {
  *error = SqlErrorText(query.lastError());
  return false;
}

bool IsPermissionDenied(const QSqlError& error) {
  return error.nativeErrorCode() == QLatin1String("42501") ||
         error.databaseText().contains(QLatin1String("permission denied")) ||
         error.databaseText().contains(QLatin1String("must be owner"));
}

SharedJournalRow ReadRow(const QSqlQuery& query) {
  SharedJournalRow row;
  row.seq = query.value(0).toLongLong();
  row.computer = query.value(1).toString();
  row.outbox = query.value(2).toString();
  row.localSeq = query.value(3).toLongLong();
  row.timeUtc = query.value(4).toString();
  row.timeLocal = query.value(5).toString();
  row.dahs = query.value(6).toInt();
  row.account = query.value(7).toString();
  row.operation = query.value(8).toString();
  row.targets = query.value(9).toString();
  row.value = query.value(10).toString();
  row.command = query.value(11).toString();
  row.outcome = query.value(12).toString();
  row.previousHash = query.value(13).toString();
  row.hash = query.value(14).toString();
  row.previousValue = query.value(15).toString();
  return row;
}

// Calls `visit` with each row after `after`, in batches; false with `error` set when a batch
// cannot be read, or when `visit` returns false (error left empty).
template <typename Visit>
bool ForEachRow(QSqlDatabase& db, QString* error, Visit visit, std::int64_t after = -1) {
  QSqlQuery query(db);
  query.setForwardOnly(true);
  if (!query.prepare(QStringLiteral("SELECT %1 FROM telmon_journal WHERE seq > ? ORDER BY seq "
                                    "LIMIT %2")
                         .arg(QLatin1String(kColumns))
                         .arg(kVerifyBatch))) {
    return Fail(query, error);
  }
  for (;;) {
    query.bindValue(0, static_cast<qlonglong>(after));
    if (!query.exec()) {
      return Fail(query, error);
    }
    int count = 0;
    while (query.next()) {
      ++count;
      const SharedJournalRow row = ReadRow(query);
      after = row.seq;
      if (!visit(row)) {
        return false;
      }
    }
    if (count < kVerifyBatch) {
      return true;
    }
  }
}

QString Describe(const SharedJournalRow& row) {
  return QStringLiteral("entry %1 (computer '%2', local entry %3)")
      .arg(row.seq)
      .arg(row.computer)
      .arg(row.localSeq);
}

}  // namespace

QByteArray CanonicalBytes(const SharedJournalRow& row) {
  QByteArray out;
  out.reserve(256);
  AppendNetstring(out, QByteArray::number(static_cast<qlonglong>(row.seq)));
  for (const QString* text : {&row.computer, &row.outbox}) {
    AppendNetstring(out, text->toUtf8());
  }
  AppendNetstring(out, QByteArray::number(static_cast<qlonglong>(row.localSeq)));
  AppendNetstring(out, row.timeUtc.toUtf8());
  AppendNetstring(out, row.timeLocal.toUtf8());
  AppendNetstring(out, QByteArray::number(row.dahs));
  for (const QString* text :
       {&row.account, &row.operation, &row.targets, &row.value, &row.command, &row.outcome}) {
    AppendNetstring(out, text->toUtf8());
  }
  // Only where there is one, so that the bytes of an entry without it stay what they were.
  if (!row.previousValue.isEmpty()) {
    AppendNetstring(out, row.previousValue.toUtf8());
  }
  return out;
}

QString ChainHash(const QString& previousHash, const QByteArray& canonical) {
  static const int sodium = sodium_init();
  (void)sodium;
  QByteArray previous = QByteArray::fromHex(previousHash.toLatin1());
  previous.resize(kHashBytes, '\0');
  crypto_hash_sha256_state state;
  crypto_hash_sha256_init(&state);
  crypto_hash_sha256_update(&state, reinterpret_cast<const unsigned char*>(previous.constData()),
                            kHashBytes);
  crypto_hash_sha256_update(&state, reinterpret_cast<const unsigned char*>(canonical.constData()),
                            static_cast<unsigned long long>(canonical.size()));
  std::array<unsigned char, kHashBytes> digest{};
  crypto_hash_sha256_final(&state, digest.data());
  return QString::fromLatin1(
      QByteArray(reinterpret_cast<const char*>(digest.data()), kHashBytes).toHex());
}

bool InitSchema(QSqlDatabase& db, QString* error) {
  QSqlQuery query(db);
  const auto failed = [&](const QString& what) {
    *error = IsPermissionDenied(query.lastError())
                 ? QStringLiteral(
                       "TELM-9040: The user may not %1 in this database (%2). The "
                       "shared journal's schema needs a user who may create tables, "
                       "functions and triggers; ask the database administrator to run "
                       "'telmon-site init-journal' as such a user.")
                       .arg(what, SqlErrorText(query.lastError()))
                 : SqlErrorText(query.lastError());
    return false;
  };
  // Run again on an existing journal, the statements would each leave a notice on the error
  // stream ("already exists, skipping"); only warnings and errors are of interest.
  query.exec(QStringLiteral("SET client_min_messages = warning"));
  for (const char* statement : kSchema) {
    if (!query.exec(QString::fromLatin1(statement))) {
      return failed(QStringLiteral("create the journal's table and function"));
    }
  }
  for (const auto& [name, statement] : kTriggers) {
    if (!query.prepare(QStringLiteral("SELECT 1 FROM pg_trigger WHERE tgname = ? AND tgrelid = "
                                      "'telmon_journal'::regclass")) ||
        (query.addBindValue(QString::fromLatin1(name)), !query.exec())) {
      return Fail(query, error);
    }
    if (!query.next() && !query.exec(QString::fromLatin1(statement))) {
      return failed(QStringLiteral("create triggers"));
    }
  }
  return true;
}

std::optional<std::int64_t> LastForwarded(QSqlDatabase& db, const QString& outbox, QString* error) {
  QSqlQuery query(db);
  if (!query.prepare(QStringLiteral(
          "SELECT COALESCE(MAX(local_seq), 0) FROM telmon_journal WHERE outbox = ?"))) {
    Fail(query, error);
    return std::nullopt;
  }
  query.addBindValue(outbox);
  if (!query.exec() || !query.next()) {
    Fail(query, error);
    return std::nullopt;
  }
  return query.value(0).toLongLong();
}

bool Append(QSqlDatabase& db, const QString& outbox, const std::vector<JournalEntry>& entries,
            QString* error) {
  if (!db.transaction()) {
    *error = SqlErrorText(db.lastError());
    return false;
  }
  QSqlQuery query(db);
  const auto rollback = [&] {
    Fail(query, error);
    db.rollback();
    return false;
  };
  // The lock conflicts with itself only: readers go on, writers queue, the chain stays a line.
  if (!query.exec(QStringLiteral("LOCK TABLE telmon_journal IN SHARE ROW EXCLUSIVE MODE")) ||
      !query.exec(
          QStringLiteral("SELECT seq, hash FROM telmon_journal ORDER BY seq DESC LIMIT 1"))) {
    return rollback();
  }
  JournalHead head{0, GenesisHash};
  if (query.next()) {
    head = {query.value(0).toLongLong(), query.value(1).toString()};
  }
  if (!query.prepare(QStringLiteral("INSERT INTO telmon_journal (%1) VALUES (?, ?, ?, ?, ?, ?, ?, "
                                    "?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT (computer, outbox, "
                                    "local_seq) DO NOTHING")
                         .arg(QLatin1String(kColumns)))) {
    return rollback();
  }
  for (const JournalEntry& entry : entries) {
    SharedJournalRow row{head.seq + 1,
                         entry.computer,
                         outbox,
                         entry.id,
                         entry.timeUtc.toString(Qt::ISODateWithMs),
                         entry.timeLocal,
                         entry.dahs,
                         entry.account,
                         entry.operation,
                         entry.targets,
                         entry.value,
                         entry.command,
                         entry.outcome,
                         head.hash,
                         {},
                         entry.previous};
    row.hash = ChainHash(row.previousHash, CanonicalBytes(row));
    const QVariant values[] = {static_cast<qlonglong>(row.seq), row.computer, row.outbox,
                               static_cast<qlonglong>(row.localSeq), row.timeUtc, row.timeLocal,
                               row.dahs, row.account, row.operation, row.targets, row.value,
                               row.command, row.outcome, row.previousHash, row.hash,
                               // Never NULL: an empty text binds as one.
                               row.previousValue.isNull() ? QStringLiteral("") : row.previousValue};
    for (int i = 0; i < static_cast<int>(std::size(values)); ++i) {
      query.bindValue(i, values[i]);
    }
    if (!query.exec()) {
      return rollback();
    }
    if (query.numRowsAffected() == 1) {
      head = {row.seq, row.hash};
    }
  }
  if (!db.commit()) {
    *error = SqlErrorText(db.lastError());
    db.rollback();
    return false;
  }
  return true;
}

JournalVerifyResult Verify(QSqlDatabase& db) {
  JournalVerifyResult result;
  JournalHead previous{0, GenesisHash};
  QString error;
  const bool walked = ForEachRow(db, &error, [&](const SharedJournalRow& row) {
    if (row.seq != previous.seq + 1) {
      result.problem = QStringLiteral("%1 follows entry %2").arg(Describe(row)).arg(previous.seq);
    } else if (row.previousHash != previous.hash) {
      result.problem = QStringLiteral("%1: its previous hash is not the hash of entry %2")
                           .arg(Describe(row))
                           .arg(previous.seq);
    } else if (row.hash != ChainHash(row.previousHash, CanonicalBytes(row))) {
      result.problem =
          QStringLiteral("%1: its hash does not match its contents").arg(Describe(row));
    } else {
      previous = {row.seq, row.hash};
      ++result.entries;
      return true;
    }
    return false;
  });
  if (!walked && result.problem.isEmpty()) {
    result.problem = error;
  }
  result.ok = walked;
  return result;
}

std::optional<JournalHead> Head(QSqlDatabase& db, QString* error) {
  QSqlQuery query(db);
  if (!query.exec(
          QStringLiteral("SELECT seq, hash FROM telmon_journal ORDER BY seq DESC LIMIT 1"))) {
    Fail(query, error);
    return std::nullopt;
  }
  if (!query.next()) {
    return JournalHead{0, GenesisHash};
  }
  return JournalHead{query.value(0).toLongLong(), query.value(1).toString()};
}

std::vector<SharedJournalRow> ReadAll(QSqlDatabase& db, QString* error) {
  std::vector<SharedJournalRow> rows;
  if (!ForEachRow(db, error, [&](const SharedJournalRow& row) {
        rows.push_back(row);
        return true;
      })) {
    rows.clear();
  }
  return rows;
}

std::optional<std::vector<JournalEntry>> EntriesAfter(QSqlDatabase& db, std::int64_t afterSeq,
                                                      std::int64_t limit, QString* error) {
  std::vector<JournalEntry> entries;
  QString failure;
  ForEachRow(
      db, &failure,
      [&](const SharedJournalRow& row) {
        JournalEntry e;
        e.id = row.seq;
        e.timeUtc = QDateTime::fromString(row.timeUtc, Qt::ISODateWithMs);
        e.timeLocal = row.timeLocal;
        e.dahs = row.dahs;
        e.account = row.account;
        e.computer = row.computer;
        e.operation = row.operation;
        e.targets = row.targets;
        e.value = row.value;
        e.command = row.command;
        e.outcome = row.outcome;
        e.previous = row.previousValue;
        entries.push_back(std::move(e));
        return static_cast<std::int64_t>(entries.size()) < limit;
      },
      afterSeq);
  if (!failure.isEmpty()) {
    *error = failure;
    return std::nullopt;
  }
  return entries;
}

bool SetEditMode(QSqlDatabase& db, const QString& computer, const QString& account,
                 const QString& since, QString* error) {
  QSqlQuery query(db);
  const QString sql =
      account.isEmpty()
          ? QStringLiteral("DELETE FROM telmon_edit_mode WHERE computer = ?")
          : QStringLiteral(
                "INSERT INTO telmon_edit_mode (computer, account, since, seen) VALUES "
                "(?, ?, ?, now()) ON CONFLICT (computer) DO UPDATE SET account = "
                "EXCLUDED.account, since = EXCLUDED.since, seen = now()");
  const QVariantList values =
      account.isEmpty() ? QVariantList{computer} : QVariantList{computer, account, since};
  return RunPrepared(query, sql, values, error);
}

std::optional<std::vector<EditModeElsewhere>> OthersInEditMode(QSqlDatabase& db,
                                                               const QString& computer,
                                                               int staleSeconds, QString* error) {
  QSqlQuery query(db);
  query.setForwardOnly(true);
  if (!RunPrepared(query,
                   QStringLiteral("SELECT computer, account, since FROM telmon_edit_mode WHERE "
                                  "computer <> ? AND seen > now() - make_interval(secs => ?) "
                                  "ORDER BY computer"),
                   {computer, staleSeconds}, error)) {
    return std::nullopt;
  }
  std::vector<EditModeElsewhere> others;
  while (query.next()) {
    others.push_back(
        {query.value(0).toString(), query.value(1).toString(), query.value(2).toString()});
  }
  return others;
}

}  // namespace telmon::SharedJournal
