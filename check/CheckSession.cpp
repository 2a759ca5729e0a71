#include "check/CheckSession.h"

#include "journal/JournalForwarder.h"

#include "ioslink/IosConnection.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

namespace telmon::check {

bool GrantedEditGate::AskWhetherUserWantsToEnableEditing() {
  if (granted_) {
    return true;
  }
  const std::optional<PrivilegeCheck> check = gate_.CheckPrivilege(EditPrivilege);
  if (check) {
    account_ = check->account;
    granted_ = check->granted();
  }
  if (granted_ && journal_ != nullptr) {
    journal_->SetEditAccount(account_);
  }
  return granted_;
}

bool RunUntil(const std::function<bool()>& done, int timeoutMs) {
  if (done()) {
    return true;
  }
  // A local loop that sleeps between looks: the condition is looked at every 10 ms and after
  // nothing else, so waiting costs no processor time.
  QEventLoop loop;
  QTimer look;
  const QDeadlineTimer deadline(timeoutMs);
  QObject::connect(&look, &QTimer::timeout, &loop, [&] {
    if (done() || deadline.hasExpired()) {
      loop.quit();
    }
  });
  look.start(10);
  loop.exec();
  return done();
}

CheckSession::CheckSession(ConsolePrompter& prompter, const IClock& clock, std::FILE* log,
                           QObject* parent)
    : QObject(parent), prompter_(prompter), clock_(clock), log_(log) {}

CheckSession::~CheckSession() {
  if (link_ != nullptr) {
    link_->SetEventHandlers(nullptr);
  }
  // A run is short: its entries go to the shared journal before the program ends (what cannot
  // go waits in the outbox for the next program that forwards it).
  if (journal_ != nullptr && journal_->Forwarder() != nullptr) {
    journal_->Forwarder()->SendNow();
  }
}

bool CheckSession::Start(std::int32_t dahsId, QString* error, const QString& iosHost) {
  settings_ = std::make_unique<IOSSelectedDahs>(&clock_);
  if (!settings_->Load(*this, dahsId)) {
    *error = QStringLiteral("TELM-0005: can't load settings from Halvo INI file.");
    return false;
  }
  if (!SetupDatabase(error)) {
    return false;
  }
  SetupManagers();
  IosLinkSettings link;
  link.dahsId = settings_->DahsID();
  link.lookupValue = [this](const QString& key, const QString& def) {
    return dbil_->LookupValue(key, def);
  };
  if (!iosHost.isEmpty()) {
    link.hostName = [iosHost] { return iosHost; };
  }
  link_ = new IosConnection(*this, link, this);
  link_->SetEventHandlers(this);
  connect(link_, &IosConnection::BytesReceivedPanelChanged, this, &CheckSession::OnLinkPanel);
  link_->ConnectToIOS();
  return true;
}

bool CheckSession::SetupDatabase(QString* error) {
  dbil_ = new H5DBIL(this);
  connect(dbil_, &H5DBIL::Message, this, &CheckSession::RaiseMsg);
  writer_ = std::make_unique<ChannelValueWriter>(*dbil_, *this);
  const OperationJournal::Place place =
      OperationJournal::Choose(journalFile_, settings_->JournalConnection());
  journal_ = new OperationJournal(place.file, {settings_->DahsID(), {}}, *this, clock_, this);
  journal_->SetSharedJournal(place.server);
  writer_->SetJournal(journal_, [this](std::int32_t id) {
    const ChannelConfigInfo* c = configs_.Item(QString::number(id));
    return c == nullptr ? QString() : c->Name;
  });
  if (!dbil_->SetSiteID(settings_->SiteID(), settings_->LanguageID(), settings_->Connections())) {
    *error = QStringLiteral("TELM-0006: can't setup SiteID.");
    return false;
  }
  if (!dbil_->TestConnectionsReadOnly()) {
    *error = QStringLiteral("TELM-0007: can't connect (read-only) to database(s).");
    return false;
  }
  if (!dbil_->TestConnectionsReadWrite()) {
    *error = QStringLiteral("TELM-0008: can't connect (read-write) to database(s).");
    return false;
  }
  return true;
}

void CheckSession::SetupManagers() {
  devicesModel_ = new KeyedListModel(this);
  queuesModel_ = new KeyedListModel(this);
  blocksModel_ = new KeyedListModel(this);
  devices_.Setup(*this, *this, *devicesModel_);
  queues_.Setup(*this, *this, *queuesModel_);
  blocks_.Setup(*this, *this, *blocksModel_);
  configs_.ClearAllConfigInfo();
  SecuritySettings security{settings_->SiteID(),
                            settings_->LanguageID(),
                            settings_->SqlConnectionString_Config(),
                            settings_->SqlConnectionString_Alarms(),
                            QString::fromLatin1(ProgramTitle),
                            QString::number(QCoreApplication::applicationPid())};
  privilegeGate_ = std::make_unique<SecurityPrivilegeGate>(prompter_, clock_, *this, security);
  editGate_ = std::make_unique<GrantedEditGate>(*privilegeGate_, journal_);
  deviceOps_ = std::make_unique<DeviceOperations>(
      devices_,
      DeviceOperationServices{editGate_.get(), privilegeGate_.get(), &prompter_, this,
                              QString::fromLatin1(ProgramTitle), settings_->SiteID(), journal_});
}

bool CheckSession::WaitForFullInfo(int timeoutMs) {
  const auto filled = [](KeyedListModel& m) {
    return m.RowCount() > 0 && m.FindKey(m.Text(m.RowAt(0)) + QLatin1Char('K')) != nullptr;
  };
  // The I/O server sends no end marker: the information is complete once every kind has
  // arrived and nothing more came for a moment.
  bool refused = false;
  const bool full = RunUntil(
      [&] {
        // A refused or failed connect leaves the socket closed without ever connecting.
        refused = !connected_ && link_->SocketState() == 0;
        return refused || (connected_ && filled(*devicesModel_) && filled(*queuesModel_) &&
                           filled(*blocksModel_) && configs_.Count() > 0 && lastEvent_.isValid() &&
                           lastEvent_.elapsed() > 700);
      },
      timeoutMs);
  return full && !refused;
}

void CheckSession::RaiseMsg(std::int32_t msgType, const QString& text) {
  messages_.append(text);
  if (log_ != nullptr) {
    std::fprintf(log_, "[%d] %s\n", msgType, qPrintable(text));
  }
}

void CheckSession::SendCommand(const QString& command) {
  if (link_ != nullptr) {
    link_->SendCommand(command);
  }
}

void CheckSession::OnDeviceUpdate(xml::XmlElement event) {
  devices_.UpdateOneItemInLsv(event);
  NoteEvent();
  bool numeric = false;
  const std::int32_t id = xml::GetAttributeText(event, "DeviceID").toInt(&numeric);
  if (!numeric) {
    return;
  }
  DeviceState& state = deviceStates_[id];
  if (const auto ok = xml::GetAttributeBoolean(event, "WatchdogStatusOk")) {
    state.watchdogOk = ok;
  }
  if (const auto random = xml::GetAttributeBoolean(event, "GenerateRandomValues")) {
    state.random = random;
  }
  if (xml::HasAttribute(event, "WatchdogStatusStr")) {
    state.watchdogStatus = xml::GetAttributeText(event, "WatchdogStatusStr");
  }
  if (xml::HasAttribute(event, "FailoverStatus")) {
    state.failoverStatus = xml::GetAttributeText(event, "FailoverStatus");
  }
}

const DeviceState* CheckSession::Device(std::int32_t id) const {
  const auto it = deviceStates_.constFind(id);
  return it == deviceStates_.constEnd() ? nullptr : &*it;
}

bool CheckSession::Reconnect(int timeoutMs) {
  if (link_ == nullptr) {
    return false;
  }
  if (!connected_) {
    link_->ConnectToIOS();
  }
  return RunUntil([this] { return connected_ || link_->SocketState() == 0; }, timeoutMs) &&
         connected_;
}
void CheckSession::OnQueueUpdate(xml::XmlElement event) {
  queues_.UpdateOneItemInLsv(event);
  NoteEvent();
}
void CheckSession::OnBlockUpdate(xml::XmlElement event) {
  blocks_.UpdateOneItemInLsv(event);
  NoteEvent();
}
void CheckSession::OnChannelConfigFullUpdate() {
  configs_.ClearAllConfigInfo();
  NoteEvent();
}
void CheckSession::OnChannelConfigUpdate(xml::XmlElement event) {
  configs_.UpdateConfigInfo(event);
  NoteEvent();
}
void CheckSession::OnMessageEvent(std::int32_t msgType, const QString& text) {
  RaiseMsg(msgType, text);
}

void CheckSession::OnLinkPanel(const QString& text) {
  if (text == QLatin1String("Connected")) {
    connected_ = true;
    everConnected_ = true;
  } else if (text == QLatin1String("Closed") && connected_) {
    connected_ = false;
    Q_EMIT Disconnected();
  }
}

QStringList CheckSession::TakeMessages() {
  QStringList taken;
  taken.swap(messages_);
  return taken;
}

}  // namespace telmon::check
