#include "alarms/AlarmStore.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace telmon {

namespace {

const QString StateUnack = AlarmStateCode(AlarmState::ActiveUnack);
const QString StateAck = AlarmStateCode(AlarmState::ActiveAck);
const QString StateCleared = AlarmStateCode(AlarmState::ClearedUnack);
const QString StateShelved = AlarmStateCode(AlarmState::Shelved);

bool Exec(QSqlDatabase& db, const QString& sql, const QVariantList& values, QString* error) {
  QSqlQuery q(db);
  return RunPrepared(q, sql, values, error);
}

// A NULL time stays invalid; a NULL text is empty and a NULL number 0, as everywhere else.
// `time` reads one time column.
template <typename TimeOf>
AlarmRow ReadRow(const QSqlQuery& q, TimeOf time) {
  AlarmRow r;
  r.id = q.value(0).toLongLong();
  r.dahs = q.value(1).toInt();
  r.sourceKind = q.value(2).toString();
  r.sourceId = q.value(3).toInt();
  r.sourceName = q.value(4).toString();
  r.condition = q.value(5).toString();
  r.priority = q.value(6).toInt();
  r.stateCode = q.value(7).toString();
  r.state = AlarmStateFromCode(r.stateCode);
  r.active = q.value(8).toInt() != 0;
  r.raised = time(q.value(9));
  r.acknowledged = time(q.value(10));
  r.cleared = time(q.value(11));
  r.shelvedUntil = time(q.value(12));
  r.acknowledgedBy = q.value(13).toString();
  r.shelvedBy = q.value(14).toString();
  r.message = q.value(15).toString();
  return r;
}

}  // namespace

// Begins on construction; rolls back unless committed.
class AlarmStore::Transaction {
 public:
  Transaction(QSqlDatabase& db, QString* error) : db_(db) {
    open_ = db_.transaction();
    if (!open_) {
      *error = QStringLiteral("can't begin a transaction: %1").arg(SqlErrorText(db_.lastError()));
    }
  }
  ~Transaction() {
    if (open_) {
      db_.rollback();
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  bool Open() const { return open_; }
  bool Commit(QString* error) {
    open_ = false;
    if (db_.commit()) {
      return true;
    }
    *error = SqlErrorText(db_.lastError());
    db_.rollback();
    return false;
  }

 private:
  QSqlDatabase& db_;
  bool open_ = false;
};

AlarmStore::AlarmStore(const QString& connectionString, std::int32_t dahs)
    : connection_(connectionString, OpenMode::ReadWrite), dahs_(dahs) {}

std::optional<std::vector<AlarmRow>> AlarmStore::ReadCurrent(QString* error) {
  QSqlDatabase* db = connection_.Database(error);
  if (db == nullptr) {
    return std::nullopt;
  }
  QSqlQuery q(*db);
  q.setForwardOnly(true);
  const QString sql = QStringLiteral(
      "SELECT alarmid, dahsid, sourcekind, sourceid, sourcename, condition, priority, state,"
      " active, raisedat, acknowledgedat, clearedat, shelveduntil, acknowledgedby, shelvedby,"
      " message FROM H5ALARM WHERE dahsid = ? ORDER BY CASE state WHEN 'ACTIVE_UNACK' THEN 0"
      " WHEN 'ACTIVE_ACK' THEN 1 WHEN 'CLEARED_UNACK' THEN 2 WHEN 'SHELVED' THEN 3 ELSE 4 END,"
      " priority, CASE WHEN raisedat IS NULL THEN 1 ELSE 0 END, raisedat DESC, alarmid DESC");
  if (!RunPrepared(q, sql, {dahs_}, error)) {
    connection_.Reset();
    return std::nullopt;
  }
  std::vector<AlarmRow> rows;
  rows.reserve(lastCount_);
  const auto time = [this](const QVariant& v) { return CachedTime(v); };
  while (q.next()) {
    rows.push_back(ReadRow(q, time));
  }
  lastCount_ = rows.size();
  // Times of alarms long gone are let go now and then; the next read makes the rest again.
  if (static_cast<std::size_t>(times_.size()) > 4 * rows.size() + 1024) {
    times_.clear();
  }
  return rows;
}

QDateTime AlarmStore::CachedTime(const QVariant& value) {
  if (value.isNull() || value.metaType().id() != QMetaType::QString) {
    return SqlToDateTime(value);
  }
  const QString text = value.toString();
  if (const auto it = times_.constFind(text); it != times_.constEnd()) {
    return *it;
  }
  return *times_.insert(text, SqlToDateTime(value));
}

std::optional<AlarmStore::Current> AlarmStore::Find(QSqlDatabase& db, const QString& kind,
                                                    std::int32_t sourceId, const QString& condition,
                                                    QString* error) {
  QSqlQuery q(db);
  if (!RunPrepared(q,
                   QStringLiteral("SELECT alarmid, state, active FROM H5ALARM WHERE dahsid = ? AND"
                                  " sourcekind = ? AND sourceid = ? AND condition = ?"),
                   {dahs_, kind, sourceId, condition}, error)) {
    return std::nullopt;
  }
  Current c;
  if (q.next()) {
    c.id = q.value(0).toLongLong();
    c.state = AlarmStateFromCode(q.value(1).toString());
    c.active = q.value(2).toInt() != 0;
  }
  return c;
}

std::optional<AlarmStore::Current> AlarmStore::FindId(QSqlDatabase& db, std::int64_t id,
                                                      QString* error) {
  QSqlQuery q(db);
  if (!RunPrepared(q,
                   QStringLiteral("SELECT alarmid, state, active FROM H5ALARM WHERE alarmid = ? AND"
                                  " dahsid = ?"),
                   {QVariant::fromValue(id), dahs_}, error)) {
    return std::nullopt;
  }
  Current c;
  if (q.next()) {
    c.id = q.value(0).toLongLong();
    c.state = AlarmStateFromCode(q.value(1).toString());
    c.active = q.value(2).toInt() != 0;
  }
  return c;
}

bool AlarmStore::AppendHistory(QSqlDatabase& db, std::int64_t id, const QString& event,
                               const QString& state, const QDateTime& at, const QString& who,
                               QString* error) {
  return Exec(
      db,
      QStringLiteral("INSERT INTO H5ALARMHISTORY (alarmid, dahsid, sourcekind, sourceid,"
                     " sourcename, condition, priority, event, state, eventat, who, message)"
                     " SELECT alarmid, dahsid, sourcekind, sourceid, sourcename,"
                     " condition, priority, ?, ?, ?, ?, message FROM H5ALARM"
                     " WHERE alarmid = ?"),
      {event, state, at, who, QVariant::fromValue(id)}, error);
}

bool AlarmStore::Remove(QSqlDatabase& db, std::int64_t id, QString* error) {
  return Exec(db, QStringLiteral("DELETE FROM H5ALARM WHERE alarmid = ?"),
              {QVariant::fromValue(id)}, error);
}

bool AlarmStore::Raise(const AlarmCondition& c, const QDateTime& at, QString* error,
                       bool* changed) {
  if (changed != nullptr) {
    *changed = false;
  }
  QSqlDatabase* db = connection_.Database(error);
  if (db == nullptr) {
    return false;
  }
  Transaction t(*db, error);
  if (!t.Open()) {
    return false;
  }
  const auto found = Find(*db, c.sourceKind, c.sourceId, c.condition, error);
  if (!found) {
    return false;
  }
  std::int64_t id = found->id;
  QString state = StateUnack;
  if (id == 0) {
    QSqlQuery q(*db);
    if (!RunPrepared(q,
                     QStringLiteral("INSERT INTO H5ALARM (dahsid, sourcekind, sourceid, sourcename,"
                                    " condition, priority, state, active, raisedat, message) VALUES"
                                    " (?, ?, ?, ?, ?, ?, ?, 1, ?, ?) RETURNING alarmid"),
                     {dahs_, c.sourceKind, c.sourceId, c.sourceName, c.condition, c.priority, state,
                      at, c.message},
                     error) ||
        !q.next()) {
      return false;
    }
    id = q.value(0).toLongLong();
  } else if (found->active) {
    return t.Commit(error);
  } else {
    if (found->state == AlarmState::Shelved) {
      state = StateShelved;
    }
    if (!Exec(*db,
              QStringLiteral("UPDATE H5ALARM SET state = ?, active = 1, raisedat = ?,"
                             " clearedat = NULL, acknowledgedat = NULL, acknowledgedby = '',"
                             " priority = ?, sourcename = ?, message = ? WHERE alarmid = ?"),
              {state, at, c.priority, c.sourceName, c.message, QVariant::fromValue(id)}, error)) {
      return false;
    }
  }
  if (!AppendHistory(*db, id, AlarmEvent::Raised, state, at, QString(), error) ||
      !t.Commit(error)) {
    return false;
  }
  if (changed != nullptr) {
    *changed = true;
  }
  return true;
}

bool AlarmStore::Clear(const QString& sourceKind, std::int32_t sourceId, const QString& condition,
                       const QDateTime& at, QString* error, bool* changed) {
  if (changed != nullptr) {
    *changed = false;
  }
  QSqlDatabase* db = connection_.Database(error);
  if (db == nullptr) {
    return false;
  }
  Transaction t(*db, error);
  if (!t.Open()) {
    return false;
  }
  const auto found = Find(*db, sourceKind, sourceId, condition, error);
  if (!found) {
    return false;
  }
  if (found->id == 0 || !found->active) {
    return t.Commit(error);
  }
  const QVariant id = QVariant::fromValue(found->id);
  bool ok = false;
  if (found->state == AlarmState::ActiveAck) {
    ok = AppendHistory(*db, found->id, AlarmEvent::Cleared, AlarmEvent::RemovedState, at, QString(),
                       error) &&
         Remove(*db, found->id, error);
  } else {
    // Unacknowledged alarms wait for someone; shelved and unknown ones keep their state.
    const bool wasUnack = found->state == AlarmState::ActiveUnack;
    const QString state = wasUnack ? StateCleared : AlarmStateCode(found->state);
    ok = Exec(*db,
              wasUnack ? QStringLiteral("UPDATE H5ALARM SET active = 0, clearedat = ?, state = ?"
                                        " WHERE alarmid = ?")
                       : QStringLiteral("UPDATE H5ALARM SET active = 0, clearedat = ?"
                                        " WHERE alarmid = ?"),
              wasUnack ? QVariantList{at, state, id} : QVariantList{at, id}, error) &&
         AppendHistory(*db, found->id, AlarmEvent::Cleared, state, at, QString(), error);
  }
  if (!ok || !t.Commit(error)) {
    return false;
  }
  if (changed != nullptr) {
    *changed = true;
  }
  return true;
}

std::optional<int> AlarmStore::EachAlarm(const std::vector<std::int64_t>& ids, QString* error,
                                         const AlarmStep& step) {
  QSqlDatabase* db = connection_.Database(error);
  if (db == nullptr) {
    return std::nullopt;
  }
  Transaction t(*db, error);
  if (!t.Open()) {
    return std::nullopt;
  }
  int count = 0;
  for (const std::int64_t id : ids) {
    const auto found = FindId(*db, id, error);
    if (!found) {
      return std::nullopt;
    }
    if (found->id == 0) {
      continue;  // gone meanwhile
    }
    const StepResult result = step(*db, *found);
    if (result == StepResult::Failed) {
      return std::nullopt;
    }
    count += result == StepResult::Changed ? 1 : 0;
  }
  if (!t.Commit(error)) {
    return std::nullopt;
  }
  return count;
}

std::optional<int> AlarmStore::Acknowledge(const std::vector<std::int64_t>& ids, const QString& who,
                                           const QDateTime& at, QString* error) {
  return EachAlarm(ids, error, [&](QSqlDatabase& db, const Current& found) {
    bool ok = true;
    if (found.state == AlarmState::ActiveUnack) {
      ok = Exec(db,
                QStringLiteral("UPDATE H5ALARM SET state = ?, acknowledgedat = ?,"
                               " acknowledgedby = ? WHERE alarmid = ?"),
                {StateAck, at, who, QVariant::fromValue(found.id)}, error) &&
           AppendHistory(db, found.id, AlarmEvent::Acknowledged, StateAck, at, who, error);
    } else if (found.state == AlarmState::ClearedUnack) {
      ok = AppendHistory(db, found.id, AlarmEvent::Acknowledged, AlarmEvent::RemovedState, at, who,
                         error) &&
           Remove(db, found.id, error);
    } else {
      return StepResult::Skipped;
    }
    return ok ? StepResult::Changed : StepResult::Failed;
  });
}

std::optional<int> AlarmStore::Shelve(const std::vector<std::int64_t>& ids, const QString& who,
                                      const QDateTime& until, const QDateTime& at, QString* error) {
  return EachAlarm(ids, error, [&](QSqlDatabase& db, const Current& found) {
    if (found.state == AlarmState::Unknown) {
      return StepResult::Skipped;
    }
    const bool ok =
        Exec(db,
             QStringLiteral("UPDATE H5ALARM SET state = ?, shelveduntil = ?, shelvedby = ?"
                            " WHERE alarmid = ?"),
             {StateShelved, until, who, QVariant::fromValue(found.id)}, error) &&
        AppendHistory(db, found.id, AlarmEvent::Shelved, StateShelved, at, who, error);
    return ok ? StepResult::Changed : StepResult::Failed;
  });
}

std::optional<int> AlarmStore::ExpireShelves(const QDateTime& now, QString* error) {
  QSqlDatabase* db = connection_.Database(error);
  if (db == nullptr) {
    return std::nullopt;
  }
  Transaction t(*db, error);
  if (!t.Open()) {
    return std::nullopt;
  }
  std::vector<std::pair<std::int64_t, bool>> due;
  {
    QSqlQuery q(*db);
    if (!RunPrepared(
            q,
            QStringLiteral("SELECT alarmid, active FROM H5ALARM WHERE dahsid = ? AND state = ?"
                           " AND shelveduntil <= ? ORDER BY alarmid"),
            {dahs_, StateShelved, now}, error)) {
      return std::nullopt;
    }
    while (q.next()) {
      due.emplace_back(q.value(0).toLongLong(), q.value(1).toInt() != 0);
    }
  }
  for (const auto& [id, active] : due) {
    const QString state = active ? StateUnack : StateCleared;
    if (!Exec(*db,
              QStringLiteral("UPDATE H5ALARM SET state = ?, shelveduntil = NULL,"
                             " acknowledgedat = NULL, acknowledgedby = '' WHERE alarmid = ?"),
              {state, QVariant::fromValue(id)}, error) ||
        !AppendHistory(*db, id, AlarmEvent::Unshelved, state, now, QString(), error)) {
      return std::nullopt;
    }
  }
  if (!t.Commit(error)) {
    return std::nullopt;
  }
  return static_cast<int>(due.size());
}

}  // namespace telmon
