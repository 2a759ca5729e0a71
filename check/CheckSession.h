#pragma once

// Everything telmon-check needs of a site, built the way telmon builds it at start-up: the
// selected DAHS's settings, the database interface with its connection tests, the device, queue
// and block managers and the channel configuration records kept current by the I/O server's
// events, the value writer, the device operations and the privilege gate. No window: the list
// models are only read.

#include "app/IOSSelectedDahs.h"
#include "check/ConsolePrompter.h"
#include "ioslink/ICommandSender.h"
#include "ioslink/IosEventHandlers.h"
#include "journal/OperationJournal.h"
#include "platform/H5DBIL.h"
#include "platform/SecurityPrivilegeGate.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/DeviceListviewManager.h"
#include "views/DeviceOperations.h"
#include "views/IEditGate.h"
#include "views/KeyedListModel.h"
#include "views/QueueListviewManager.h"
#include "watches/ChannelValueWriter.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QStringList>

#include <cstdio>
#include <memory>

namespace telmon {
class IosConnection;
}

namespace telmon::check {

inline constexpr char ProgramTitle[] = "telmon-check";

// A device's state as its last "DeviceUpdate" events gave it (attributes not sent stay empty).
struct DeviceState {
  std::optional<bool> watchdogOk;
  std::optional<bool> random;
  QString watchdogStatus;
  QString failoverStatus;
};

// Edit rights for a run: granted once by the privilege gate before anything is sent.
class GrantedEditGate final : public IEditGate {
 public:
  // `journal` (optional) is told the account once it is granted.
  GrantedEditGate(IPrivilegeGate& gate, OperationJournal* journal)
      : gate_(gate), journal_(journal) {}
  bool EditsAllowed() const override { return granted_; }
  bool AskWhetherUserWantsToEnableEditing() override;
  // The account the operator named, after an attempt.
  const QString& Account() const { return account_; }

 private:
  IPrivilegeGate& gate_;
  OperationJournal* journal_;
  bool granted_ = false;
  QString account_;
};

class CheckSession : public QObject,
                     public IRaiseMsg,
                     public ICommandSender,
                     public IIosEventHandlers {
  Q_OBJECT

 public:
  // `log` receives every message as it is raised; null keeps them for TakeMessages only.
  CheckSession(ConsolePrompter& prompter, const IClock& clock, std::FILE* log,
               QObject* parent = nullptr);
  ~CheckSession() override;

  // Settings, database and managers, then the connect; false with `error` set when a start-up
  // step fails. `iosHost` empty: the local computer.
  bool Start(std::int32_t dahsId, QString* error, const QString& iosHost = QString());
  // Runs the event loop until the I/O server has sent its full information (every kind seen,
  // then a quiet moment) or `timeoutMs` passes.
  bool WaitForFullInfo(int timeoutMs);
  bool Connected() const { return connected_; }

  void RaiseMsg(std::int32_t msgType, const QString& text) override;
  void SendCommand(const QString& command) override;

  void OnDeviceUpdate(xml::XmlElement event) override;
  void OnQueueUpdate(xml::XmlElement event) override;
  void OnBlockUpdate(xml::XmlElement event) override;
  void OnChannelConfigFullUpdate() override;
  void OnChannelConfigUpdate(xml::XmlElement event) override;
  void OnChannelConfigBurstEnd() override {}
  void OnIOSSettingsUpdate(xml::XmlElement) override {}
  void OnMessageEvent(std::int32_t msgType, const QString& text) override;

  const IOSSelectedDahs& Settings() const { return *settings_; }
  H5DBIL& Dbil() { return *dbil_; }
  ChannelConfigInfoManager& Configs() { return configs_; }
  DeviceListviewManager& Devices() { return devices_; }
  KeyedListModel& DevicesModel() { return *devicesModel_; }
  KeyedListModel& QueuesModel() { return *queuesModel_; }
  KeyedListModel& BlocksModel() { return *blocksModel_; }
  ChannelValueWriter& Writer() { return *writer_; }
  DeviceOperations& DeviceOps() { return *deviceOps_; }
  GrantedEditGate& EditGate() { return *editGate_; }
  // What the run changes is journaled here, as telmon journals the same operations.
  OperationJournal& Journal() { return *journal_; }
  // Before Start: the journal file (empty: the user's own).
  void SetJournalFile(const QString& fileName) { journalFile_ = fileName; }
  ConsolePrompter& Prompts() { return prompter_; }
  // Null when the I/O server has not reported the device.
  const DeviceState* Device(std::int32_t id) const;
  // Connects again after the I/O server closed the link; true once connected.
  bool Reconnect(int timeoutMs);
  const IClock& Clock() const { return clock_; }

  // Messages raised since the last call, oldest first.
  QStringList TakeMessages();

 Q_SIGNALS:
  // The I/O server closed the connection (or it broke).
  void Disconnected();

 private:
  bool SetupDatabase(QString* error);
  void SetupManagers();
  void OnLinkPanel(const QString& text);
  void NoteEvent() { lastEvent_.start(); }

  ConsolePrompter& prompter_;
  const IClock& clock_;
  std::FILE* log_;
  std::unique_ptr<IOSSelectedDahs> settings_;
  H5DBIL* dbil_ = nullptr;  // child
  std::unique_ptr<ChannelValueWriter> writer_;
  QString journalFile_;
  OperationJournal* journal_ = nullptr;
  ChannelConfigInfoManager configs_;
  DeviceListviewManager devices_;
  QueueListviewManager queues_;
  BlockListviewManager blocks_;
  KeyedListModel* devicesModel_ = nullptr;  // children
  KeyedListModel* queuesModel_ = nullptr;
  KeyedListModel* blocksModel_ = nullptr;
  std::unique_ptr<SecurityPrivilegeGate> privilegeGate_;
  std::unique_ptr<GrantedEditGate> editGate_;
  std::unique_ptr<DeviceOperations> deviceOps_;
  IosConnection* link_ = nullptr;  // child
  bool connected_ = false;
  bool everConnected_ = false;
  QElapsedTimer lastEvent_;
  QStringList messages_;
  QHash<std::int32_t, DeviceState> deviceStates_;
};

// Runs the event loop until `done` holds or `timeoutMs` passes; returns `done()`.
bool RunUntil(const std::function<bool()>& done, int timeoutMs);

}  // namespace telmon::check
