#include "alarms/AlarmListManager.h"

#include <algorithm>

namespace telmon {

namespace {

bool PageOrder(const AlarmRow& a, const AlarmRow& b) {
  const int ra = AlarmStateRank(a.state);
  const int rb = AlarmStateRank(b.state);
  if (ra != rb) {
    return ra < rb;
  }
  if (a.priority != b.priority) {
    return a.priority < b.priority;
  }
  if (a.raised.isValid() != b.raised.isValid()) {
    return a.raised.isValid();
  }
  return a.raised > b.raised;
}

bool WaitsForAck(const AlarmRow& row) {
  return !row.monitorOwn &&
         (row.state == AlarmState::ActiveUnack || row.state == AlarmState::ClearedUnack);
}

// One line, and not so long that a runaway text makes the list unusable.
QString MessageText(const QString& message) {
  QString text = TruncateForDisplay(message, AlarmMessageDisplayChars);
  for (QChar& c : text) {
    if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QLatin1Char('\t')) {
      c = QLatin1Char(' ');
    }
  }
  return text;
}

}  // namespace

AlarmListManager::AlarmListManager(KeyedListModel& model, DateTimeFormats formats)
    : model_(model), formats_(std::move(formats)) {}

void AlarmListManager::InitializeLsv() {
  model_.Clear();
  model_.AddColumn({QStringLiteral("Raised"), 2700, Qt::AlignLeft, QStringLiteral("Raised")});
  model_.AddColumn({QStringLiteral("Priority"), 1000, Qt::AlignLeft, QStringLiteral("Priority")});
  model_.AddColumn({QStringLiteral("State"), 2600, Qt::AlignLeft, QStringLiteral("State")});
  model_.AddColumn({QStringLiteral("Source"), 3000, Qt::AlignLeft, QStringLiteral("Source")});
  model_.AddColumn({QStringLiteral("Condition"), 1800, Qt::AlignLeft, QStringLiteral("Condition")});
  model_.AddColumn({QStringLiteral("Message"), 4000, Qt::AlignLeft, QStringLiteral("Message")});
  model_.AddColumn(
      {QStringLiteral("Acknowledged By"), 1500, Qt::AlignLeft, QStringLiteral("AcknowledgedBy")});
  shown_.clear();
  alarmIndex_.clear();
  ownIndex_.clear();
  unack_ = 0;
}

QString AlarmListManager::RowKey(const AlarmRow& row) {
  if (row.monitorOwn) {
    return QStringLiteral("M%1:%2:%3").arg(row.sourceKind).arg(row.sourceId).arg(row.condition);
  }
  return QLatin1Char('A') + QString::number(row.id);
}

const AlarmRow* AlarmListManager::AlarmOfKey(const QString& key) const {
  if (key.startsWith(QLatin1Char('A'))) {
    bool ok = false;
    const qint64 id = QStringView(key).mid(1).toLongLong(&ok);
    const auto it = alarmIndex_.constFind(id);
    return ok && it != alarmIndex_.constEnd() ? &shown_[*it] : nullptr;
  }
  const auto it = ownIndex_.constFind(key);
  return it == ownIndex_.constEnd() ? nullptr : &shown_[*it];
}

int AlarmListManager::PositionOf(const AlarmRow& row) const {
  if (row.monitorOwn) {
    const auto it = ownIndex_.constFind(RowKey(row));
    return it == ownIndex_.constEnd() ? -1 : static_cast<int>(*it);
  }
  const auto it = alarmIndex_.constFind(row.id);
  return it == alarmIndex_.constEnd() ? -1 : static_cast<int>(*it);
}

void AlarmListManager::Reindex() {
  alarmIndex_.clear();
  ownIndex_.clear();
  alarmIndex_.reserve(static_cast<qsizetype>(shown_.size()));
  for (std::size_t i = 0; i < shown_.size(); ++i) {
    if (shown_[i].monitorOwn) {
      ownIndex_.insert(RowKey(shown_[i]), i);
    } else {
      alarmIndex_.insert(shown_[i].id, i);
    }
  }
}

QString AlarmListManager::TimeText(const QDateTime& time) const {
  return time.isValid() ? FormatDateTimeStyle(time, 11, formats_) : QStringLiteral("(no time)");
}

QString AlarmListManager::StateText(const AlarmRow& row) const {
  if (row.monitorOwn) {
    return QStringLiteral("Left changed (Telmon)");
  }
  switch (row.state) {
    case AlarmState::ActiveUnack:
      return QStringLiteral("Active, unacknowledged");
    case AlarmState::ActiveAck:
      return QStringLiteral("Active, acknowledged");
    case AlarmState::ClearedUnack:
      return QStringLiteral("Cleared, unacknowledged");
    case AlarmState::Shelved:
      return QStringLiteral("Shelved until ") + TimeText(row.shelvedUntil);
    case AlarmState::Unknown:
      break;
  }
  return QStringLiteral("Unknown state '%1'").arg(TruncateForDisplay(row.stateCode, 40));
}

ColorRef AlarmListManager::StateColor(const AlarmRow& row) {
  if (row.monitorOwn) {
    return AlarmColors::ActiveAck;
  }
  switch (row.state) {
    case AlarmState::ActiveUnack:
      return AlarmColors::ActiveUnack;
    case AlarmState::ActiveAck:
      return AlarmColors::ActiveAck;
    case AlarmState::ClearedUnack:
      return AlarmColors::ClearedUnack;
    case AlarmState::Shelved:
      return AlarmColors::Shelved;
    case AlarmState::Unknown:
      break;
  }
  return Colors::WindowText;
}

QString AlarmListManager::PanelText(int count, int unack) {
  return QStringLiteral("%1 alarms (%2 unack.)").arg(count).arg(unack);
}

void AlarmListManager::FillRow(KeyedListModel::RowRef ref, const AlarmRow& row) {
  model_.SetText(ref, TimeText(row.raised));
  model_.SetSubItem(ref, Priority, AlarmPriorityText(row.priority));
  model_.SetSubItem(ref, State, StateText(row));
  model_.SetSubItem(ref, Source, AlarmSourceText(row));
  model_.SetSubItem(ref, Condition, row.condition);
  model_.SetSubItem(ref, Message, MessageText(row.message));
  model_.SetSubItem(ref, AcknowledgedBy,
                    row.state == AlarmState::Shelved && !row.shelvedBy.isEmpty()
                        ? QStringLiteral("(shelved by %1)").arg(row.shelvedBy)
                        : row.acknowledgedBy);
  model_.SetRowColor(ref, StateColor(row));
}

void AlarmListManager::UpdateLsv(std::vector<AlarmRow> rows, std::vector<AlarmRow> own) {
  // The database's rows come in page order already: the monitor's few are put in among them.
  std::stable_sort(own.begin(), own.end(), PageOrder);
  for (AlarmRow& row : own) {
    rows.insert(std::upper_bound(rows.begin(), rows.end(), row, PageOrder), std::move(row));
  }
  const bool sameOrder =
      rows.size() == shown_.size() &&
      std::equal(
          rows.begin(), rows.end(), shown_.begin(), [](const AlarmRow& a, const AlarmRow& b) {
            return a.id == b.id && a.monitorOwn == b.monitorOwn &&
                   (!a.monitorOwn || (a.sourceKind == b.sourceKind && a.sourceId == b.sourceId &&
                                      a.condition == b.condition));
          });
  KeyedListModel::Batch batch(model_);
  if (sameOrder) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (!(rows[i] == shown_[i])) {
        FillRow(model_.RowAt(static_cast<int>(i)), rows[i]);
      }
    }
  } else if (!Patch(rows)) {
    Rebuild(rows);
  }
  unack_ = static_cast<int>(std::count_if(rows.begin(), rows.end(), WaitsForAck));
  shown_ = std::move(rows);
  if (!sameOrder) {
    Reindex();
  }
}

namespace {

// Which entries of `oldPos` (-1: none) form a longest increasing run: the rows that can stay
// where they are while the others are taken out and put in again.
std::vector<bool> LongestIncreasing(const std::vector<int>& oldPos) {
  std::vector<std::size_t> tails;  // index into oldPos of the last entry of each length
  std::vector<std::ptrdiff_t> before(oldPos.size(), -1);
  for (std::size_t i = 0; i < oldPos.size(); ++i) {
    if (oldPos[i] < 0) {
      continue;
    }
    const auto at =
        std::lower_bound(tails.begin(), tails.end(), oldPos[i],
                         [&oldPos](std::size_t t, int value) { return oldPos[t] < value; });
    before[i] = at == tails.begin() ? -1 : static_cast<std::ptrdiff_t>(*(at - 1));
    if (at == tails.end()) {
      tails.push_back(i);
    } else {
      *at = i;
    }
  }
  std::vector<bool> keep(oldPos.size(), false);
  for (std::ptrdiff_t i = tails.empty() ? -1 : static_cast<std::ptrdiff_t>(tails.back()); i >= 0;
       i = before[static_cast<std::size_t>(i)]) {
    keep[static_cast<std::size_t>(i)] = true;
  }
  return keep;
}

}  // namespace

bool AlarmListManager::Patch(const std::vector<AlarmRow>& rows) {
  std::vector<int> oldPos(rows.size(), -1);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    oldPos[i] = PositionOf(rows[i]);
  }
  const std::vector<bool> keep = LongestIncreasing(oldPos);
  const auto kept = static_cast<std::size_t>(std::count(keep.begin(), keep.end(), true));
  // Each row taken out or put in costs a pass over the list: beyond a few, start afresh.
  if ((rows.size() - kept) + (shown_.size() - kept) > MaxPatchedRows) {
    return false;
  }
  std::vector<bool> oldKept(shown_.size(), false);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (keep[i]) {
      oldKept[static_cast<std::size_t>(oldPos[i])] = true;
    }
  }
  for (std::size_t j = 0; j < shown_.size(); ++j) {
    if (!oldKept[j]) {
      model_.RemoveRow(model_.FindKey(RowKey(shown_[j])));
    }
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const int at = static_cast<int>(i);
    if (!keep[i]) {
      model_.InsertRowsAt(at, {{RowKey(rows[i]), QString(), QString::number(rows[i].id), -1}});
      FillRow(model_.RowAt(at), rows[i]);
    } else if (!(rows[i] == shown_[static_cast<std::size_t>(oldPos[i])])) {
      FillRow(model_.RowAt(at), rows[i]);
    }
  }
  return true;
}

void AlarmListManager::Rebuild(const std::vector<AlarmRow>& rows) {
  KeyedListModel::RowRef selected = model_.Selected();
  const QString selectedKey = selected != nullptr ? model_.Key(selected) : QString();
  model_.ClearRows();
  std::vector<KeyedListModel::NewRow> fresh;
  fresh.reserve(rows.size());
  for (const AlarmRow& row : rows) {
    fresh.push_back({RowKey(row), QString(), QString::number(row.id), -1});
  }
  // Keys are unique by construction: the database's by alarm, the monitor's by condition.
  if (!fresh.empty()) {
    model_.InsertRowsAt(0, std::move(fresh));
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    FillRow(model_.RowAt(static_cast<int>(i)), rows[i]);
  }
  if (!selectedKey.isEmpty()) {
    model_.Select(model_.FindKey(selectedKey));
  }
}

}  // namespace telmon
