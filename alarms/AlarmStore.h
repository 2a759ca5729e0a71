#pragma once

// The alarms of one DAHS in the site's alarms database: the current set (H5ALARM) and the
// append-only history of every change (H5ALARMHISTORY). Each change runs in one transaction
// that updates the current row and appends its history row, so the two never disagree. The
// simulator raises and clears alarms through the same class that the monitor acknowledges and
// shelves them with.

#include "alarms/AlarmTypes.h"
#include "platform/SqlConnection.h"

#include <QHash>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace telmon {

class AlarmStore {
 public:
  AlarmStore(const QString& connectionString, std::int32_t dahs);

  // The current alarms in page order (state, then priority, then newest first), in one
  // statement. Rows the program did not write are returned as they are: an unknown state is
  // kept in `stateCode`, a NULL or unreadable time is invalid.
  std::optional<std::vector<AlarmRow>> ReadCurrent(QString* error);

  // Raises the alarm of a condition: a new one active and unacknowledged; one whose condition
  // had cleared becomes active again (unacknowledged, or still shelved). A condition that still
  // stands changes nothing (false `changed`).
  bool Raise(const AlarmCondition& condition, const QDateTime& at, QString* error,
             bool* changed = nullptr);
  // Clears the alarm of a condition: an acknowledged one leaves the current set, an
  // unacknowledged one stays until acknowledged, a shelved one stays shelved.
  bool Clear(const QString& sourceKind, std::int32_t sourceId, const QString& condition,
             const QDateTime& at, QString* error, bool* changed = nullptr);

  // The number of alarms changed, or empty (nothing changed) on failure. Acknowledging an
  // active alarm keeps it; a cleared one leaves the current set. Alarms already acknowledged,
  // shelved or gone are passed over.
  std::optional<int> Acknowledge(const std::vector<std::int64_t>& ids, const QString& who,
                                 const QDateTime& at, QString* error);
  // Shelves the alarms until `until`; alarms gone or of an unknown state are passed over.
  std::optional<int> Shelve(const std::vector<std::int64_t>& ids, const QString& who,
                            const QDateTime& until, const QDateTime& at, QString* error);
  // Brings back every alarm shelved until `now` or earlier, unacknowledged: active when its
  // condition still stands, cleared otherwise.
  std::optional<int> ExpireShelves(const QDateTime& now, QString* error);

  std::int32_t Dahs() const { return dahs_; }
  QSqlDatabase* Database(QString* error) { return connection_.Database(error); }

 private:
  struct Current {
    std::int64_t id = 0;
    AlarmState state = AlarmState::Unknown;
    bool active = false;
  };
  class Transaction;
  enum class StepResult { Changed, Skipped, Failed };
  using AlarmStep = std::function<StepResult(QSqlDatabase& db, const Current& found)>;

  // Runs `step` on each alarm of `ids` still there, in one transaction: the count of alarms
  // changed, or nothing (and the transaction rolled back) once a step fails.
  std::optional<int> EachAlarm(const std::vector<std::int64_t>& ids, QString* error,
                               const AlarmStep& step);

  std::optional<Current> Find(QSqlDatabase& db, const QString& kind, std::int32_t sourceId,
                              const QString& condition, QString* error);
  std::optional<Current> FindId(QSqlDatabase& db, std::int64_t id, QString* error);
  bool AppendHistory(QSqlDatabase& db, std::int64_t id, const QString& event, const QString& state,
                     const QDateTime& at, const QString& who, QString* error);
  bool Remove(QSqlDatabase& db, std::int64_t id, QString* error);

  QDateTime CachedTime(const QVariant& value);

  SqlConnection connection_;
  std::int32_t dahs_;
  // The times read so far by their stored text: from one refresh to the next most rows
  // are the same, and making a local date-time is the dearest part of reading a row.
  QHash<QString, QDateTime> times_;
  std::size_t lastCount_ = 0;  // rows of the last read
};

}  // namespace telmon
