#pragma once

// One DAHS of a site, as every face of the program (the main window, telmon-check) works on
// it: the selected DAHS's settings, the database interface, the value writer, the operator
// journal and the site state, the plant state with the device, queue and block managers, the
// channel configuration records, the privilege gate and edit rights, the device operations and
// the link to the I/O server, wired together once, here. Every event the server sends is read
// once into the plant state and handed on from there. Everything the session reports goes to
// the one message sink it is given. Nothing in it is global, so one process can hold a session
// per DAHS. A face only presents the session and starts operations on it.

#include "ioslink/ICommandSender.h"
#include "ioslink/IosEventHandlers.h"
#include "journal/JournaledSender.h"
#include "util/IRaiseMsg.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/DeviceListviewManager.h"
#include "views/PlantState.h"
#include "views/QueueListviewManager.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace telmon {

class ChannelValueWriter;
class DeviceOperations;
class EditModeController;
class H5DBIL;
class IClock;
class IEditGate;
class IOSSelectedDahs;
class IPrivilegeGate;
class IosConnection;
class KeyedListModel;
class OperationJournal;
class Prompter;
class SecurityPrivilegeGate;
class SiteStateModel;

struct SiteSessionServices {
  IRaiseMsg& sink;  // every message of the session
  Prompter& prompter;
  const IClock& clock;
  QString programTitle;  // the title of questions and the program named to the privilege service
  QString journalFile;   // empty: the user's own; postgresql://...: the site's shared journal
  QString iosHost;       // empty: the local computer
  qsizetype receiveBufferCap = qsizetype{8} * 1024 * 1024;
};

// What a face adds to the session's own handling of the server's events.
struct SessionFaceHooks {
  std::function<void()> channelConfigBurstEnd;
  std::function<void(xml::XmlElement)> settingsUpdate;
  // After any device, queue, block or channel configuration event.
  std::function<void()> plantEvent;
};

class SiteSession final : public QObject,
                          public IRaiseMsg,
                          public ICommandSender,
                          public IIosEventHandlers {
  Q_OBJECT

 public:
  explicit SiteSession(SiteSessionServices services, QObject* parent = nullptr);
  ~SiteSession() override;
  SiteSession(const SiteSession&) = delete;
  SiteSession& operator=(const SiteSession&) = delete;

  // The assembly, one piece per start-up step; a face runs them in its own order of steps.
  // False where the step fails (the step's own message has then been raised by the part).
  // `source`: the settings file or its folder; empty: the one the environment names.
  bool LoadSettings(std::int32_t dahsId, const QString& source = QString());
  void SetupDatabase();
  bool SetupSiteID();
  bool TestReadOnlyConnections();
  bool TestReadWriteConnections();
  // The privilege gate (the owner named to it is `ownerId`), the device page, edit rights and
  // the device operations. `editGate` makes the edit rights from the privilege gate; without it
  // they are the session's edit mode (EditMode()).
  using EditGateFactory = std::function<std::unique_ptr<IEditGate>(IPrivilegeGate&)>;
  void SetupDevices(const QString& ownerId, const EditGateFactory& editGate = {});
  void SetupQueues();
  void SetupBlocks();
  void SetupChannelConfigs();
  void SetupLink();
  // The site's shared journal as the journal option and the settings name it (empty: none);
  // Assemble turns it on, a window turns it on with its waiting panel.
  QString SharedJournalServer() const;
  // Every piece in order, then the connect, as a face without a window starts: false with the
  // failing step's message in `error`.
  bool Assemble(std::int32_t dahsId, const QString& ownerId, const EditGateFactory& editGate,
                QString* error);

  void SetFaceHooks(SessionFaceHooks hooks) { hooks_ = std::move(hooks); }
  void ConnectToIOS();
  void DisconnectFromIOS();
  // Starts the device, queue and block lists again and asks the server for everything.
  void RefreshAllLists();
  // Stops the events and releases the pages; the session is then only read.
  void Teardown();

  void RaiseMsg(std::int32_t msgType, const QString& text) override;
  // Every command of the session and its faces leaves here, through the journaled.
  SendOutcome SendCommand(const QString& command) override;

  // IIosEventHandlers
  void OnDeviceUpdate(xml::XmlElement event) override;
  void OnQueueUpdate(xml::XmlElement event) override;
  void OnBlockUpdate(xml::XmlElement event) override;
  void OnChannelConfigFullUpdate() override;
  void OnChannelConfigUpdate(xml::XmlElement event) override;
  void OnChannelConfigBurstEnd() override;
  void OnIOSSettingsUpdate(xml::XmlElement event) override;
  void OnMessageEvent(std::int32_t msgType, const QString& text) override;

  const IOSSelectedDahs* Settings() const { return settings_.get(); }
  H5DBIL* Dbil() const { return dbil_; }
  ChannelValueWriter* ValueWriter() const { return valueWriter_.get(); }
  OperationJournal& Journal() const { return *journal_; }
  // The one way out for the commands of operations, journaled with their real outcome.
  JournaledSender& JournaledOut() { return journaled_; }
  SiteStateModel& SiteState() const { return *siteState_; }
  const PlantState& Plant() const { return plant_; }
  ChannelConfigInfoManager& Configs() { return configs_; }
  DeviceListviewManager& Devices() { return devices_; }
  QueueListviewManager& Queues() { return queues_; }
  BlockListviewManager& Blocks() { return blocks_; }
  KeyedListModel* DevicesModel() const { return devicesModel_; }
  KeyedListModel* QueuesModel() const { return queuesModel_; }
  KeyedListModel* BlocksModel() const { return blocksModel_; }
  IPrivilegeGate* PrivilegeGate() const;
  // Null when the face supplied its own edit rights.
  EditModeController* EditMode() const { return editMode_; }
  IEditGate* EditGate() const { return editGate_; }
  DeviceOperations* DeviceOps() const { return deviceOps_.get(); }
  IosConnection* Link() const { return link_; }
  const QString& ProgramTitle() const { return services_.programTitle; }
  const IClock& Clock() const { return services_.clock; }
  Prompter& Prompts() const { return services_.prompter; }

 Q_SIGNALS:
  // The link's state as its panel shows it ("Connecting...", "Connected", "Closed", the bytes
  // received, ...).
  void LinkPanelChanged(const QString& text);

 private:
  // The link as the journaled's sender.
  class LinkSender final : public ICommandSender {
   public:
    explicit LinkSender(const SiteSession& session) : session_(session) {}
    SendOutcome SendCommand(const QString& command) override;

   private:
    const SiteSession& session_;
  };

  SiteSessionServices services_;
  SessionFaceHooks hooks_;
  std::unique_ptr<IOSSelectedDahs> settings_;
  H5DBIL* dbil_ = nullptr;  // child
  std::unique_ptr<ChannelValueWriter> valueWriter_;
  OperationJournal* journal_;  // child
  SiteStateModel* siteState_;  // child
  LinkSender linkSender_{*this};
  JournaledSender journaled_;
  PlantState plant_;
  ChannelConfigInfoManager configs_;
  DeviceListviewManager devices_;
  QueueListviewManager queues_;
  BlockListviewManager blocks_;
  KeyedListModel* devicesModel_ = nullptr;  // children
  KeyedListModel* queuesModel_ = nullptr;
  KeyedListModel* blocksModel_ = nullptr;
  std::unique_ptr<SecurityPrivilegeGate> privilegeGate_;
  std::unique_ptr<IEditGate> ownEditGate_;
  EditModeController* editMode_ = nullptr;  // child
  IEditGate* editGate_ = nullptr;
  std::unique_ptr<DeviceOperations> deviceOps_;
  IosConnection* link_ = nullptr;  // child
};

}  // namespace telmon
