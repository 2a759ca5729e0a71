#include "serve/SiteWatcher.h"

#include "alarms/AlarmStore.h"
#include "ioslink/IosConnection.h"
#include "journal/OperationJournal.h"
#include "journal/SiteStateModel.h"
#include "platform/H5DBIL.h"
#include "platform/Prompter.h"
#include "platform/SecurityPrivilegeGate.h"
#include "platform/SqlConnection.h"
#include "session/IOSSelectedDahs.h"
#include "session/SiteSession.h"
#include "views/ChannelListviewManager.h"
#include "views/ChannelUpdateTick.h"
#include "views/IEditGate.h"
#include "views/KeyedListModel.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QSqlQuery>

#include <algorithm>
#include <map>
#include <optional>

namespace telmon::serve {

namespace {

std::string Utf8(const QString& text) { return text.toStdString(); }

// Nobody answers: the server has no one to ask.
class NoPrompter : public Prompter {
 public:
  PromptAnswer Ask(const PromptQuestion& question) override {
    return question.defaultButton.value_or(PromptAnswer::Cancel);
  }
  std::optional<QString> InputText(const QString& /*prompt*/, const QString& /*title*/,
                                   const QString& /*initial*/) override {
    return std::nullopt;
  }
  std::optional<QString> SaveFileName(const FileDialogRequest& /*request*/) override {
    return std::nullopt;
  }
  std::optional<QString> OpenFileName(const FileDialogRequest& /*request*/) override {
    return std::nullopt;
  }
  std::optional<Credentials> AskCredentials(const QString& /*prompt*/,
                                            const QString& /*title*/) override {
    return std::nullopt;
  }
  void Beep() override {}
};

// Read-only: edit rights are never granted.
class NoEdits final : public IEditGate {
 public:
  bool EditsAllowed() const override { return false; }
  bool AskWhetherUserWantsToEnableEditing() override { return false; }
};

const char kResyncCode[] = "TELM-9001";

// The account and password a browser sent, given once to the privilege service; what the
// service would have shown the operator is kept for the browser.
class SignInPrompter final : public NoPrompter {
 public:
  SignInPrompter(QString account, QString password)
      : credentials_{std::move(account), std::move(password)} {}
  PromptAnswer Ask(const PromptQuestion& question) override {
    shown_ = question.text;
    return question.defaultButton.value_or(PromptAnswer::Ok);
  }
  std::optional<Credentials> AskCredentials(const QString& /*prompt*/,
                                            const QString& /*title*/) override {
    if (asked_) {
      return std::nullopt;
    }
    asked_ = true;
    return credentials_;
  }
  const QString& Shown() const { return shown_; }

 private:
  Credentials credentials_;
  bool asked_ = false;
  QString shown_;
};

}  // namespace

std::string ToneOf(ColorRef color) {
  switch (color) {
    case Colors::WindowText:
      return {};
    case Colors::Red:
      return "fault";
    case Colors::Blue:
      return "random";
    case Colors::LightGrey:
      return "disabled";
    default:
      return "other";
  }
}

Table CaptureTable(KeyedListModel& model) {
  Table table;
  const int columns = model.columnCount({});
  for (int c = 0; c < columns; ++c) {
    table.headers.push_back(Utf8(model.headerData(c, Qt::Horizontal, Qt::DisplayRole).toString()));
  }
  const int rows = model.RowCount();
  table.rows.reserve(static_cast<std::size_t>(rows));
  for (int r = 0; r < rows; ++r) {
    KeyedListModel::RowRef ref = model.RowAt(r);
    Row row;
    row.key = Utf8(model.Key(ref));
    row.cells.reserve(static_cast<std::size_t>(columns));
    for (int c = 0; c < columns; ++c) {
      row.cells.push_back({Utf8(model.SubItem(ref, c)), ToneOf(model.CellColor(ref, c))});
    }
    table.rows.push_back(std::move(row));
  }
  return table;
}

std::vector<std::int32_t> DahsSections(const QString& settingsFile) {
  std::vector<std::int32_t> ids;
  QFile file(settingsFile);
  if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
    return ids;
  }
  static const QRegularExpression section(QStringLiteral(R"(^\s*\[DAHS(\d{1,9})\]\s*$)"),
                                          QRegularExpression::CaseInsensitiveOption);
  while (!file.atEnd()) {
    const QRegularExpressionMatch m = section.match(QString::fromUtf8(file.readLine()));
    if (m.hasMatch()) {
      const std::int32_t id = m.captured(1).toInt();
      if (id > 0 && std::find(ids.begin(), ids.end(), id) == ids.end()) {
        ids.push_back(id);
      }
    }
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

class SiteWatcher::Sink final : public IRaiseMsg {
 public:
  Sink(Watched& w, std::FILE* log) : w_(w), log_(log) {}
  void RaiseMsg(std::int32_t msgType, const QString& text) override;

 private:
  Watched& w_;
  std::FILE* log_;
};

struct SiteWatcher::Watched {
  std::int32_t dahsId = 0;
  std::unique_ptr<Sink> sink;
  SiteSession* session = nullptr;  // child of the watcher; null until assembled
  QString linkText = QStringLiteral("Not started");
  bool connected = false;
  bool everConnected = false;
  QDateTime lastFullRefresh;
  std::uint64_t events = 0;
  std::uint64_t resyncs = 0;
  std::uint64_t reconnects = 0;
  std::map<std::int32_t, WatchedValue> values;
  bool readFailed = false;
  // The server-wide points, as the window's status bar shows them.
  std::optional<bool> notPolling;
  QString allDataRefreshed;
  std::unique_ptr<AlarmStore> alarms;
  int alarmsActive = -1;
  int alarmsUnacknowledged = 0;
};

void SiteWatcher::Sink::RaiseMsg(std::int32_t msgType, const QString& text) {
  if (text.startsWith(QLatin1String(kResyncCode))) {
    ++w_.resyncs;
  }
  if (log_ != nullptr) {
    std::fprintf(log_, "DAHS %d [%d] %s\n", w_.dahsId, msgType, qPrintable(text));
    std::fflush(log_);
  }
}

SiteWatcher::SiteWatcher(SnapshotHub& hub, WatchRegistry& watches, WatcherOptions options,
                         QObject* parent)
    : QObject(parent),
      hub_(hub),
      watches_(watches),
      options_(std::move(options)),
      prompter_(std::make_unique<NoPrompter>()) {
  connect(&publish_, &QTimer::timeout, this, &SiteWatcher::Tick);
  connect(&reconnect_, &QTimer::timeout, this, &SiteWatcher::Reconnect);
  connect(&logins_, &QTimer::timeout, this, &SiteWatcher::AnswerPendingLogins);
  connect(&watchRead_, &QTimer::timeout, this, [this] {
    ReadWatches();
    ReadJournal();
    ReadAlarms();
  });
}

SiteWatcher::~SiteWatcher() {
  for (auto& w : watched_) {
    delete w->session;
    w->session = nullptr;
  }
}

bool SiteWatcher::Start(const std::vector<std::int32_t>& dahsIds, QString* error) {
  if (dahsIds.empty()) {
    *error = QStringLiteral("the site's settings have no [DAHS<n>] section");
    return false;
  }
  for (const std::int32_t id : dahsIds) {
    auto w = std::make_unique<Watched>();
    w->dahsId = id;
    w->sink = std::make_unique<Sink>(*w, options_.log);
    watched_.push_back(std::move(w));
  }
  for (auto& w : watched_) {
    Assemble(*w);
  }
  publish_.start(options_.publishMs);
  reconnect_.start(options_.reconnectMs);
  watchRead_.start(options_.watchReadMs);
  PublishNow();
  return true;
}

void SiteWatcher::Assemble(Watched& w) {
  auto* session = new SiteSession({*w.sink, *prompter_, clock_, QStringLiteral("telmon-serve"),
                                   options_.journalFile, options_.iosHost},
                                  this);
  session->SetFaceHooks({{}, {}, [this, &w] {
                           ++w.events;
                           dirty_ = true;
                         }});
  connect(session, &SiteSession::LinkPanelChanged, this,
          [this, &w](const QString& text) { OnLinkPanel(w, text); });
  // The window's start-up without its read-write test: nothing here ever writes, so read access
  // to the site's databases is all the server needs.
  const char* failure = nullptr;
  if (!session->LoadSettings(w.dahsId)) {
    failure = "TELM-0005: can't load settings from Halvo INI file.";
  } else {
    session->SetupDatabase();
    if (!session->SetupSiteID()) {
      failure = "TELM-0006: can't setup SiteID.";
    } else if (!session->TestReadOnlyConnections()) {
      failure = "TELM-0007: can't connect (read-only) to database(s).";
    }
  }
  if (failure != nullptr) {
    w.linkText = QString::fromLatin1(failure);
    delete session;
    dirty_ = true;
    return;
  }
  session->SetupDevices(QString::number(QCoreApplication::applicationPid()),
                        [](IPrivilegeGate& /*gate*/) { return std::make_unique<NoEdits>(); });
  session->SetupQueues();
  session->SetupBlocks();
  session->SetupChannelConfigs();
  session->SetupLink();
  w.session = session;
  session->ConnectToIOS();
  dirty_ = true;
}

void SiteWatcher::OnLinkPanel(Watched& w, const QString& text) {
  // The panel also counts bytes while connected; only the link's states are kept.
  if (text == QLatin1String("Connected")) {
    if (w.everConnected) {
      ++w.reconnects;
      // What the lists held may be stale: they fill again from the server's full information.
      w.session->RefreshAllLists();
    }
    w.connected = true;
    w.everConnected = true;
    w.lastFullRefresh = QDateTime::currentDateTime();
    w.linkText = text;
  } else if (text == QLatin1String("Closed") || text.startsWith(QLatin1String("Connecting")) ||
             text == QLatin1String("??")) {
    w.connected = false;
    w.linkText = text;
  }
  dirty_ = true;
}

void SiteWatcher::AnswerLogins(LoginDesk* desk, int level) {
  desk_ = desk;
  loginLevel_ = level;
  logins_.start(20);
}

void SiteWatcher::AnswerPendingLogins() {
  if (desk_ == nullptr) {
    return;
  }
  for (LoginDesk::Request& request : desk_->TakePending()) {
    const IOSSelectedDahs* settings = nullptr;
    Watched* by = nullptr;
    for (auto& w : watched_) {
      if (w->session != nullptr && w->session->Settings() != nullptr) {
        settings = w->session->Settings();
        by = w.get();
        break;
      }
    }
    if (settings == nullptr) {
      request.Answer({false, "No DAHS session is running to check the account with."});
      continue;
    }
    SignInPrompter prompter(QString::fromStdString(request.account),
                            QString::fromStdString(request.password));
    SecurityPrivilegeGate gate(
        prompter, clock_, *by->sink,
        {settings->SiteID(), settings->LanguageID(), settings->SqlConnectionString_Config(),
         settings->SqlConnectionString_Alarms(), QStringLiteral("telmon-serve"),
         QString::number(QCoreApplication::applicationPid())});
    const std::optional<PrivilegeCheck> check = gate.CheckPrivilege(loginLevel_);
    if (check && check->granted()) {
      request.Answer({true, {}});
    } else {
      request.Answer({false, prompter.Shown().isEmpty()
                                 ? std::string("The account name or the password is wrong.")
                                 : Utf8(prompter.Shown())});
    }
  }
}

void SiteWatcher::Reconnect() {
  for (auto& w : watched_) {
    if (w->session == nullptr) {
      Assemble(*w);
      continue;
    }
    IosConnection* link = w->session->Link();
    if (!w->connected && link != nullptr && link->SocketState() == 0) {
      w->session->ConnectToIOS();
    }
  }
}

SiteSession* SiteWatcher::Session(std::int32_t dahsId) const {
  for (const auto& w : watched_) {
    if (w->dahsId == dahsId) {
      return w->session;
    }
  }
  return nullptr;
}

bool SiteWatcher::Connected(std::int32_t dahsId) const {
  for (const auto& w : watched_) {
    if (w->dahsId == dahsId) {
      return w->connected;
    }
  }
  return false;
}

void SiteWatcher::Tick() {
  if (dirty_) {
    PublishNow();
  }
}

DahsSnapshot SiteWatcher::Capture(Watched& w) const {
  DahsSnapshot d;
  d.dahsId = w.dahsId;
  d.title = "DAHS " + std::to_string(w.dahsId);
  d.linkUp = w.connected;
  d.linkText = Utf8(w.linkText);
  d.lastFullRefresh = w.lastFullRefresh.isValid()
                          ? Utf8(w.lastFullRefresh.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")))
                          : std::string();
  d.eventsReceived = w.events;
  d.resyncs = w.resyncs;
  d.reconnects = w.reconnects;
  d.watched = w.values;
  d.realtimeReadFailed = w.readFailed;
  d.notPolling = w.notPolling.value_or(false);
  if (!w.allDataRefreshed.isEmpty()) {
    d.lastFullRefresh = Utf8(w.allDataRefreshed);
  }
  d.alarmsActive = w.alarmsActive;
  d.alarmsUnacknowledged = w.alarmsUnacknowledged;
  SiteSession* s = w.session;
  if (s == nullptr) {
    return d;
  }
  if (const IOSSelectedDahs* settings = s->Settings();
      settings != nullptr && !settings->DahsDescription().isEmpty()) {
    d.title += " " + Utf8(settings->DahsDescription());
  }
  if (IosConnection* link = s->Link()) {
    d.bytesReceived = link->BytesReceivedTotal();
  }
  d.devices = CaptureTable(*s->DevicesModel());
  d.queues = CaptureTable(*s->QueuesModel());
  d.blocks = CaptureTable(*s->BlocksModel());
  for (const DeviceRecord& device : s->Plant().Devices()) {
    if (device.random == std::optional<bool>(true)) {
      ++d.devicesRandom;
    }
    if (!device.watchdogOk) {
      ++d.devicesWatchdogNotOk;
    }
  }
  d.devicesPolling = static_cast<int>(s->Plant().Devices().size()) - d.devicesWatchdogNotOk;
  for (const Row& row : d.queues.rows) {
    if (row.cells.empty()) {
      continue;
    }
    const QueueRecord* q = s->Plant().Queue(QString::fromStdString(row.cells.front().text));
    if (q == nullptr) {
      continue;
    }
    QueueFigures figures;
    figures.name = row.cells.front().text;
    figures.size = q->counters[QueueEvent::Size].value_or(0);
    figures.ioFailures = q->counters[QueueEvent::IOFailureCount].value_or(0);
    figures.paused = q->paused == std::optional<bool>(true);
    d.queuesPaused += figures.paused ? 1 : 0;
    d.queueFigures.push_back(std::move(figures));
  }
  for (const Row& row : d.blocks.rows) {
    if (row.cells.empty()) {
      continue;
    }
    const BlockRecord* b = s->Plant().Block(QString::fromStdString(row.cells.front().text).toInt());
    if (b != nullptr && b->failCount > 0) {
      ++d.failingBlocks;
    }
  }
  for (const SiteStateModel::Item& item : s->SiteState().Items()) {
    if (item.group == SiteStateModel::Group::ForcedChannel) {
      ++d.forcedChannels;
    }
    d.siteState.push_back({Utf8(SiteStateModel::GroupTitle(item.group)), item.id, Utf8(item.name),
                           Utf8(item.detail)});
  }
  return d;
}

void SiteWatcher::PublishNow() {
  QElapsedTimer took;
  took.start();
  SiteSnapshot site;
  site.dahs.reserve(watched_.size());
  for (auto& w : watched_) {
    site.dahs.push_back(Capture(*w));
  }
  site.journal = journal_;
  site.tickSeconds = static_cast<double>(took.nsecsElapsed()) / 1e9;
  dirty_ = false;
  hub_.Publish(std::move(site));
}

void SiteWatcher::ReadWatches() {
  const auto since = WatchRegistry::Clock::now() - std::chrono::seconds(30);
  for (auto& w : watched_) {
    const std::vector<std::int32_t> ids = watches_.Wanted(w->dahsId, since);
    if (ids.empty() && !w->values.empty()) {
      w->values.clear();
      dirty_ = true;
    }
    if (w->session == nullptr || w->session->Dbil() == nullptr) {
      continue;
    }
    QStringList ioids;
    for (const std::int32_t id : ids) {
      ioids << QString::number(id) + QLatin1Char('C');
    }
    // The two server-wide points are read every time, as the window's tick reads them.
    const std::optional<CurrentValues> values = w->session->Dbil()->ReadCurrentValues(
        w->session->Settings()->SqlConnectionString_Realtime(), QDateTime(),
        (QStringList(ioids) << QLatin1String(ChannelListviewManager::AllCommsOk)
                            << QLatin1String(ChannelListviewManager::AllDataRefreshed))
            .join(QLatin1Char(',')));
    w->readFailed = !values.has_value();
    if (values) {
      const auto comms = values->constFind(QLatin1String(ChannelListviewManager::AllCommsOk));
      const std::optional<bool> notPolling =
          comms == values->constEnd()
              ? std::nullopt
              : std::optional<bool>(comms->numericValue.value_or(0.0) == 0.0);
      const auto refreshed =
          values->constFind(QLatin1String(ChannelListviewManager::AllDataRefreshed));
      const QString refreshedText =
          refreshed == values->constEnd()
              ? QString()
              : ReadAllRefreshStatus(refreshed->textValue,
                                     DateTimeFormats::FromLocale(QLocale::system()))
                    .text;
      if (notPolling != w->notPolling || refreshedText != w->allDataRefreshed) {
        w->notPolling = notPolling;
        w->allDataRefreshed = refreshedText;
        dirty_ = true;
      }
    }
    if (ids.empty()) {
      continue;
    }
    std::map<std::int32_t, WatchedValue> read;
    for (qsizetype i = 0; i < ioids.size(); ++i) {
      const std::int32_t id = ids[static_cast<std::size_t>(i)];
      WatchedValue v;
      if (const ChannelConfigInfo* c = w->session->Configs().Item(QString::number(id))) {
        v.name = Utf8(c->Name);
      }
      if (values) {
        const auto it = values->constFind(ioids[i]);
        if (it != values->constEnd()) {
          v.read = true;
          v.value = Utf8(ChannelListviewManager::ValueText(*it));
          v.stamp = Utf8(it->timestamp.toString(Qt::ISODate));
        }
      }
      read.emplace(id, std::move(v));
    }
    w->values = std::move(read);
    dirty_ = true;
  }
}

void SiteWatcher::ReadAlarms() {
  for (auto& w : watched_) {
    if (w->session == nullptr || w->session->Settings() == nullptr) {
      continue;
    }
    if (!w->alarms) {
      w->alarms = std::make_unique<AlarmStore>(w->session->Settings()->SqlConnectionString_Alarms(),
                                               w->dahsId);
    }
    QString error;
    const std::optional<std::vector<AlarmRow>> rows = w->alarms->ReadCurrent(&error);
    int active = -1;
    int unacknowledged = 0;
    if (rows) {
      active = 0;
      for (const AlarmRow& row : *rows) {
        active +=
            row.state == AlarmState::ActiveUnack || row.state == AlarmState::ActiveAck ? 1 : 0;
        unacknowledged +=
            row.state == AlarmState::ActiveUnack || row.state == AlarmState::ClearedUnack ? 1 : 0;
      }
    }
    if (active != w->alarmsActive || unacknowledged != w->alarmsUnacknowledged) {
      w->alarmsActive = active;
      w->alarmsUnacknowledged = unacknowledged;
      dirty_ = true;
    }
  }
}

void SiteWatcher::ReadJournal() {
  const QString file = OperationJournal::Choose(options_.journalFile, {}).file;
  if (file.isEmpty() || !QFileInfo::exists(file)) {
    return;
  }
  // Only read, and only the latest entries: the file is the window's and may be long.
  if (!journalDb_) {
    journalDb_ =
        std::make_unique<SqlConnection>(QStringLiteral("sqlite:") + file, OpenMode::ReadOnly);
  }
  QString error;
  QSqlDatabase* db = journalDb_->Database(&error);
  if (db == nullptr) {
    return;
  }
  QSqlQuery last(*db);
  if (!last.exec(QStringLiteral("SELECT coalesce(max(id), 0) FROM journal")) || !last.next()) {
    return;
  }
  const std::int64_t lastId = last.value(0).toLongLong();
  if (lastId == journalLastId_) {
    return;
  }
  std::vector<JournalEntry> entries;
  if (!OperationJournal::ReadEntries(*db, std::max<std::int64_t>(0, lastId - options_.journalLines),
                                     options_.journalLines, &entries, &error)) {
    return;
  }
  journalLastId_ = lastId;
  std::vector<JournalLine> read;
  for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
    read.push_back({Utf8(it->timeLocal), it->dahs, Utf8(it->account), Utf8(it->operation),
                    Utf8(it->targets), Utf8(it->previous), Utf8(it->value), Utf8(it->outcome)});
  }
  journal_ = std::move(read);
  dirty_ = true;
}

}  // namespace telmon::serve
