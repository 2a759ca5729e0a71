#include "session/SiteSession.h"

#include "ioslink/IosConnection.h"
#include "journal/OperationJournal.h"
#include "journal/SiteStateModel.h"
#include "platform/H5DBIL.h"
#include "platform/SecurityPrivilegeGate.h"
#include "session/EditModeController.h"
#include "session/IOSSelectedDahs.h"
#include "views/DeviceOperations.h"
#include "views/KeyedListModel.h"
#include "watches/ChannelValueWriter.h"

namespace telmon {

SiteSession::SiteSession(SiteSessionServices services, QObject* parent)
    : QObject(parent),
      services_(std::move(services)),
      journal_(new OperationJournal(OperationJournal::Choose(services_.journalFile, {}).file, {},
                                    *this, services_.clock, this)),
      siteState_(new SiteStateModel(services_.clock, this)),
      journaled_(linkSender_, journal_) {
  devices_.SetPlantState(plant_);
  queues_.SetPlantState(plant_);
  blocks_.SetPlantState(plant_);
  connect(journal_, &OperationJournal::Recorded, siteState_, &SiteStateModel::OnJournalRecorded);
  connect(journal_, &OperationJournal::EditModeElsewhereChanged, siteState_,
          [this] { siteState_->SetEditModeElsewhere(journal_->OthersInEditMode()); });
}

SiteSession::~SiteSession() {
  Teardown();
  // The link goes while the session it reports to is still whole.
  delete link_;
  link_ = nullptr;
}

bool SiteSession::LoadSettings(std::int32_t dahsId, const QString& source) {
  settings_ = std::make_unique<IOSSelectedDahs>(&services_.clock);
  if (!settings_->Load(*this, dahsId, source)) {
    return false;
  }
  journal_->SetDahs(settings_->DahsID());
  return true;
}

void SiteSession::SetupDatabase() {
  dbil_ = new H5DBIL(this);
  connect(dbil_, &H5DBIL::Message, this, &SiteSession::RaiseMsg);
  valueWriter_ = std::make_unique<ChannelValueWriter>(*dbil_, *this);
  valueWriter_->SetJournal(journal_, [this](std::int32_t id) {
    const ChannelConfigInfo* c = configs_.Item(QString::number(id));
    return c == nullptr ? QString() : c->Name;
  });
}

bool SiteSession::SetupSiteID() {
  return dbil_->SetSiteID(settings_->SiteID(), settings_->LanguageID(), settings_->Connections());
}

bool SiteSession::TestReadOnlyConnections() { return dbil_->TestConnectionsReadOnly(); }

bool SiteSession::TestReadWriteConnections() { return dbil_->TestConnectionsReadWrite(); }

void SiteSession::SetupDevices(const QString& ownerId, const EditGateFactory& editGate) {
  SecuritySettings security{settings_->SiteID(),
                            settings_->LanguageID(),
                            settings_->SqlConnectionString_Config(),
                            settings_->SqlConnectionString_Alarms(),
                            services_.programTitle,
                            ownerId};
  privilegeGate_ =
      std::make_unique<SecurityPrivilegeGate>(services_.prompter, services_.clock, *this, security);
  devicesModel_ = new KeyedListModel(this);
  devices_.Setup(*this, *this, *devicesModel_);
  if (editGate) {
    ownEditGate_ = editGate(*privilegeGate_);
    editGate_ = ownEditGate_.get();
  } else {
    // The poll-all hook reaches the device operations made just below.
    editMode_ =
        new EditModeController(services_.prompter, *privilegeGate_, *this, services_.programTitle,
                               {[this] { return devices_.AnyDevicesAreInRandomMode(); },
                                [this] { deviceOps_->PollAll(0); }},
                               this);
    editGate_ = editMode_;
  }
  deviceOps_ = std::make_unique<DeviceOperations>(
      devices_, DeviceOperationServices{editGate_, privilegeGate_.get(), &services_.prompter, this,
                                        services_.programTitle, settings_->SiteID(), &journaled_});
}

void SiteSession::SetupQueues() {
  queuesModel_ = new KeyedListModel(this);
  queues_.Setup(*this, *this, *queuesModel_);
  queues_.SetJournaledSender(&journaled_);
}

void SiteSession::SetupBlocks() {
  blocksModel_ = new KeyedListModel(this);
  blocks_.Setup(*this, *this, *blocksModel_);
}

void SiteSession::SetupChannelConfigs() { configs_.ClearAllConfigInfo(); }

void SiteSession::SetupLink() {
  IosLinkSettings link;
  link.dahsId = settings_->DahsID();
  link.receiveBufferCap = services_.receiveBufferCap;
  link.lookupValue = [this](const QString& key, const QString& def) {
    return dbil_->LookupValue(key, def);
  };
  if (!services_.iosHost.isEmpty()) {
    link.hostName = [host = services_.iosHost] { return host; };
  }
  link_ = new IosConnection(*this, link, this);
  link_->SetEventHandlers(this);
  connect(link_, &IosConnection::BytesReceivedPanelChanged, this, &SiteSession::LinkPanelChanged);
}

bool SiteSession::Assemble(std::int32_t dahsId, const QString& ownerId,
                           const EditGateFactory& editGate, QString* error) {
  const auto fail = [error](const char* text) {
    *error = QString::fromLatin1(text);
    return false;
  };
  if (!LoadSettings(dahsId)) {
    return fail("TELM-0005: can't load settings from Halvo INI file.");
  }
  journal_->SetSharedJournal(SharedJournalServer());
  SetupDatabase();
  if (!SetupSiteID()) {
    return fail("TELM-0006: can't setup SiteID.");
  }
  if (!TestReadOnlyConnections()) {
    return fail("TELM-0007: can't connect (read-only) to database(s).");
  }
  if (!TestReadWriteConnections()) {
    return fail("TELM-0008: can't connect (read-write) to database(s).");
  }
  SetupDevices(ownerId, editGate);
  SetupQueues();
  SetupBlocks();
  SetupChannelConfigs();
  SetupLink();
  ConnectToIOS();
  return true;
}

QString SiteSession::SharedJournalServer() const {
  return OperationJournal::Choose(services_.journalFile,
                                  settings_ ? settings_->JournalConnection() : QString())
      .server;
}

IPrivilegeGate* SiteSession::PrivilegeGate() const { return privilegeGate_.get(); }

void SiteSession::ConnectToIOS() {
  if (link_ != nullptr) {
    link_->ConnectToIOS();
  }
}

void SiteSession::DisconnectFromIOS() {
  if (link_ != nullptr) {
    link_->DisconnectFromIOS();
  }
}

void SiteSession::RefreshAllLists() {
  devices_.InitializeLsv();
  queues_.InitializeLsv();
  blocks_.InitializeLsv();
  if (link_ != nullptr) {
    link_->RequestFullRefresh();
  }
}

void SiteSession::Teardown() {
  if (link_ != nullptr) {
    link_->SetEventHandlers(nullptr);
  }
  devices_.Teardown();
  queues_.Teardown();
  blocks_.Teardown();
  // Entries that wait for a busy journal file get a few seconds; those left are reported.
  journal_->Finish();
}

void SiteSession::RaiseMsg(std::int32_t msgType, const QString& text) {
  services_.sink.RaiseMsg(msgType, text);
}

SendOutcome SiteSession::SendCommand(const QString& command) {
  return journaled_.SendCommand(command);
}

SendOutcome SiteSession::LinkSender::SendCommand(const QString& command) {
  if (session_.link_ == nullptr) {
    return {false, QStringLiteral("not sent: no link to the I/O server yet")};
  }
  return session_.link_->SendCommand(command);
}

// --- events from the I/O server: each read once, into the plant state, then handed on -------

void SiteSession::OnDeviceUpdate(xml::XmlElement event) {
  if (const DeviceRecord* device = devices_.Apply(DeviceEvent::Parse(event))) {
    siteState_->OnDeviceUpdate(*device);
  }
  if (hooks_.plantEvent) {
    hooks_.plantEvent();
  }
}

void SiteSession::OnQueueUpdate(xml::XmlElement event) {
  queues_.Apply(QueueEvent::Parse(event));
  if (hooks_.plantEvent) {
    hooks_.plantEvent();
  }
}

void SiteSession::OnBlockUpdate(xml::XmlElement event) {
  blocks_.Apply(BlockEvent::Parse(event));
  if (hooks_.plantEvent) {
    hooks_.plantEvent();
  }
}

void SiteSession::OnChannelConfigFullUpdate() {
  configs_.ClearAllConfigInfo();
  siteState_->OnChannelConfigFullUpdate();
  if (hooks_.plantEvent) {
    hooks_.plantEvent();
  }
}

void SiteSession::OnChannelConfigUpdate(xml::XmlElement event) {
  siteState_->OnChannelConfigUpdate(configs_.UpdateConfigInfo(event));
  if (hooks_.plantEvent) {
    hooks_.plantEvent();
  }
}

void SiteSession::OnChannelConfigBurstEnd() {
  if (hooks_.channelConfigBurstEnd) {
    hooks_.channelConfigBurstEnd();
  }
}

void SiteSession::OnIOSSettingsUpdate(xml::XmlElement event) {
  if (hooks_.settingsUpdate) {
    hooks_.settingsUpdate(event);
  }
}

void SiteSession::OnMessageEvent(std::int32_t msgType, const QString& text) {
  services_.sink.RaiseMsg(msgType, text);
}

}  // namespace telmon
