#pragma once

// What is left changed on the selected DAHS, kept live from the plant state and the journal:
// devices giving random values or whose watchdog is not OK ("DeviceUpdate"), channels whose
// data source is "ForcedValue" or "TriangleWave" (channel configuration), channels written in
// this run (the journal), and edit mode with the time it was last switched. Events naming a
// device or channel the configuration does not have are followed as they come: the ID is what
// counts, the name is shown when known.

#include "journal/IOperationJournal.h"
#include "journal/SharedJournal.h"
#include "views/ChannelConfigInfo.h"
#include "views/PlantState.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace telmon {

class IClock;

class SiteStateModel final : public QObject {
  Q_OBJECT

 public:
  enum class Group { RandomDevice, WatchdogNotOk, ForcedChannel, WrittenChannel };
  struct Item {
    Group group;
    std::int32_t id = 0;
    QString name;
    QString detail;
  };

  explicit SiteStateModel(const IClock& clock, QObject* parent = nullptr);

  // A device's record after each of its events.
  void OnDeviceUpdate(const DeviceRecord& device);
  void OnChannelConfigFullUpdate();
  // A channel's configuration record after each of its events.
  void OnChannelConfigUpdate(const ChannelConfigInfo& channel);
  void OnJournalRecorded(const telmon::JournalEntry& entry,
                         const telmon::JournalOperation& operation);
  void SetEditMode(bool on);
  // The other computers with edit mode on, as the shared journal knows them.
  void SetEditModeElsewhere(const std::vector<EditModeElsewhere>& others);

  // The first three groups and the channels written: what the status-bar panel counts.
  int LeftChangedCount() const;
  // Every item, grouped in the order of Group and by ID within a group.
  std::vector<Item> Items() const;
  bool EditMode() const { return editMode_; }
  QDateTime EditModeSince() const { return editSince_; }
  // "Edit mode on elsewhere: shelter (tech since 2026-11-25 14:05:09), ..." or "... none";
  // empty without a shared journal.
  QString EditModeElsewhereText() const;

  static QString GroupTitle(Group group);
  // "3 left changed".
  static QString PanelText(int count);

 Q_SIGNALS:
  void Changed();

 private:
  struct DeviceState {
    QString name;
    bool random = false;
    bool watchdogOk = true;
    QString watchdogText;
  };
  struct ChannelState {
    QString name;
    QString dataSource;
    QString min;
    QString max;
    QString period;
  };
  struct WrittenState {
    QString value;
    QDateTime when;
  };
  QString ChannelName(std::int32_t id) const;

  const IClock& clock_;
  std::map<std::int32_t, DeviceState> devices_;
  std::map<std::int32_t, ChannelState> channels_;
  std::map<std::int32_t, WrittenState> written_;
  bool editMode_ = false;
  QDateTime editSince_;
  std::optional<std::vector<EditModeElsewhere>> elsewhere_;
};

}  // namespace telmon
