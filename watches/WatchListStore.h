#pragma once

// The operator's ten saved watch lists in the per-user store of organisation "Quarn" and
// application "TELM". Slot n has the values "List<n>" (channel IDs each followed by ";"),
// "List<n>Desc" (the name) and "List<n>Date" (when it was saved, "yyyy-MM-dd HH:mm").
//
// WatchLists is what the watch-lists dialog shows and does, without its widgets.

#include "platform/Prompter.h"

#include <QDateTime>
#include <QSettings>
#include <QString>

#include <array>
#include <memory>

namespace telmon {

class KeyedListModel;

inline constexpr char kWatchListOrganisation[] = "Quarn";
inline constexpr char kWatchListApplication[] = "TELM";
inline constexpr char kEmptySlot[] = "<empty>";
inline constexpr int kWatchListSlots = 10;

// The per-user store the watch lists live in.
std::unique_ptr<QSettings> OpenWatchListSettings();

// Reads and writes the three values of each slot; reads never fail (a missing value gives the
// default, a value of another kind its text).
class WatchListStore {
 public:
  explicit WatchListStore(QSettings& settings) : settings_(settings) {}

  QString Read(const QString& name, const QString& defaultValue) const;
  void Write(const QString& name, const QString& value);

  // "List3", "List3Desc", "List3Date" for slot 3.
  static QString ValueName(const char* slotTemplate, int slot);

 private:
  QSettings& settings_;
};

struct WatchListRow {
  QString name;  // "<empty>" for an unused slot
  QString date;
};

class WatchLists {
 public:
  WatchLists(WatchListStore& store, Prompter& prompter, QString appTitle);

  // Reads the ten slots.
  void Open();
  const std::array<WatchListRow, kWatchListSlots>& Rows() const { return rows_; }

  // Slots are 1 to 10; 0 means no row is selected. Save returns true when the row was
  // "<empty>" and its new name should now be edited in place.
  bool Save(int slot, KeyedListModel& watches, const QDateTime& now);
  void Clear(int slot);
  void Load(int slot);
  bool CanRename(int slot) const;
  // Stores a new name that is neither empty nor "<empty>"; false when nothing was stored.
  bool Rename(int slot, const QString& newName);

  static QString DateText(const QDateTime& when);

 private:
  bool Valid(int slot) const { return slot >= 1 && slot <= kWatchListSlots; }
  WatchListRow& Row(int slot) { return rows_.at(static_cast<std::size_t>(slot - 1)); }

  WatchListStore& store_;
  Prompter& prompter_;
  QString appTitle_;
  std::array<WatchListRow, kWatchListSlots> rows_;
};

}  // namespace telmon
