#pragma once

// An alarm of the site as the alarms database holds it. States follow the alarm-management
// life cycle: a condition raises an alarm active and unacknowledged; acknowledging an active
// alarm keeps it (active, acknowledged) until its condition clears; a condition that clears
// before anyone acknowledged it leaves the alarm cleared and unacknowledged until someone does;
// an alarm cleared and acknowledged leaves the current set (its history stays). Shelving hides
// an alarm from the horn until a time, after which it comes back unacknowledged.

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>

namespace telmon {

enum class AlarmState { ActiveUnack, ActiveAck, ClearedUnack, Shelved, Unknown };

// The stored codes: "ACTIVE_UNACK", "ACTIVE_ACK", "CLEARED_UNACK", "SHELVED".
QString AlarmStateCode(AlarmState state);
// Unknown for any other text (a row written by something else).
AlarmState AlarmStateFromCode(const QString& code);
// Order on the page: active unacknowledged first, then active acknowledged, cleared
// unacknowledged, shelved, and rows of an unknown state last.
int AlarmStateRank(AlarmState state);

// "Critical", "High", "Medium", "Low" for 1 to 4; other numbers as "Priority n".
QString AlarmPriorityText(int priority);
inline constexpr int HighestAlarmPriority = 1;
inline constexpr int LowestAlarmPriority = 4;

namespace AlarmSourceKind {
inline const QString Device = QStringLiteral("DEVICE");
inline const QString Block = QStringLiteral("BLOCK");
inline const QString Channel = QStringLiteral("CHANNEL");
}  // namespace AlarmSourceKind

// What raises or clears an alarm: its source and condition, which together name it.
struct AlarmCondition {
  QString sourceKind;
  std::int32_t sourceId = 0;
  QString sourceName;
  QString condition;
  int priority = LowestAlarmPriority;
  QString message;
};

struct AlarmRow {
  std::int64_t id = 0;
  std::int32_t dahs = 0;
  QString sourceKind;
  std::int32_t sourceId = 0;
  QString sourceName;
  QString condition;
  int priority = LowestAlarmPriority;
  QString stateCode;  // as stored
  AlarmState state = AlarmState::Unknown;
  bool active = true;  // the condition still stands
  QDateTime raised;    // invalid when NULL or unreadable
  QDateTime acknowledged;
  QDateTime cleared;
  QDateTime shelvedUntil;
  QString acknowledgedBy;
  QString shelvedBy;
  QString message;
  bool monitorOwn = false;  // the monitor's own alarm, not from the database

  bool operator==(const AlarmRow& other) const = default;
};

// "Device 3 (CEMS A)", "Channel 1216", ...
QString AlarmSourceText(const AlarmRow& row);

// History events.
namespace AlarmEvent {
inline const QString Raised = QStringLiteral("RAISED");
inline const QString Cleared = QStringLiteral("CLEARED");
inline const QString Acknowledged = QStringLiteral("ACKNOWLEDGED");
inline const QString Shelved = QStringLiteral("SHELVED");
inline const QString Unshelved = QStringLiteral("UNSHELVED");
// The state written with an event after which the alarm left the current set.
inline const QString RemovedState = QStringLiteral("REMOVED");
}  // namespace AlarmEvent

}  // namespace telmon
