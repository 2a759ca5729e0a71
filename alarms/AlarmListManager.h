#pragma once

// The "Active Alarms" list (lsvAlarms): one row per current alarm, in the order the alarms
// query gives (state, priority, newest first) with the monitor's own alarms merged in, coloured
// by state. A refresh that keeps the order rewrites only the rows whose alarm changed, so the
// two-second refresh of a long list costs little more than its query.

#include "alarms/AlarmTypes.h"
#include "util/ColorRef.h"
#include "util/UtilityFunctions.h"
#include "views/KeyedListModel.h"

#include <cstdint>
#include <vector>

namespace telmon {

namespace AlarmColors {
inline constexpr ColorRef ActiveUnack = Colors::Red;
inline constexpr ColorRef ActiveAck = 0x0070E0;     // orange
inline constexpr ColorRef ClearedUnack = 0x0098B0;  // dark yellow, readable on white
inline constexpr ColorRef Shelved = 0x808080;       // grey
}  // namespace AlarmColors

// The list shows this many characters of a message; the database keeps the whole text.
inline constexpr int AlarmMessageDisplayChars = 300;

class AlarmListManager {
 public:
  enum Column { Raised, Priority, State, Source, Condition, Message, AcknowledgedBy, ColumnCount };

  explicit AlarmListManager(
      KeyedListModel& model,
      DateTimeFormats formats = DateTimeFormats::FromLocale(QLocale::system()));

  void InitializeLsv();
  // Shows `rows` (the database's, in page order) with `own` (the monitor's own) merged in.
  void UpdateLsv(std::vector<AlarmRow> rows, std::vector<AlarmRow> own = {});

  // The alarms shown, in list order.
  const std::vector<AlarmRow>& Alarms() const { return shown_; }
  // The alarm of a list row's key; null when none.
  const AlarmRow* AlarmOfKey(const QString& key) const;
  int Count() const { return static_cast<int>(shown_.size()); }
  // Alarms waiting for an acknowledgement: active or cleared, unacknowledged, not shelved.
  int UnackCount() const { return unack_; }

  static QString RowKey(const AlarmRow& row);
  QString StateText(const AlarmRow& row) const;
  static ColorRef StateColor(const AlarmRow& row);
  // "N alarms (M unack.)"
  static QString PanelText(int count, int unack);

 private:
  void FillRow(KeyedListModel::RowRef ref, const AlarmRow& row);
  // A new order with few rows come, gone or moved: those taken out and put in where they now
  // belong, the others left in place. False (nothing changed) when too many differ.
  bool Patch(const std::vector<AlarmRow>& rows);
  // A new order: every row made again, the selection kept on its alarm.
  void Rebuild(const std::vector<AlarmRow>& rows);
  static constexpr std::size_t MaxPatchedRows = 64;
  // Where `row` stands in the list shown; -1 when it is not there.
  int PositionOf(const AlarmRow& row) const;
  void Reindex();
  QString TimeText(const QDateTime& time) const;

  KeyedListModel& model_;
  DateTimeFormats formats_;
  std::vector<AlarmRow> shown_;
  // Positions made again with the order: the database's alarms by ID, the monitor's own by key,
  // so that finding where a row was costs no key text.
  QHash<qint64, std::size_t> alarmIndex_;
  QHash<QString, std::size_t> ownIndex_;
  int unack_ = 0;
};

}  // namespace telmon
