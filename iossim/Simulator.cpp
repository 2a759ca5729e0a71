#include "iossim/Simulator.h"

#include "iossim/CommandDispatcher.h"
#include "iossim/EventXml.h"
#include "iossim/SimAlarms.h"
#include "iossim/SimDatabase.h"
#include "iossim/SimPlant.h"
#include "iossim/SimServer.h"
#include "platform/SiteSettingsReader.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <array>
#include <cmath>

namespace telmon::iossim {

namespace {

const QString PortKey = QStringLiteral("IOS:TcpListenPortForMonitorConnections");
const QString UrpKey = QStringLiteral("IOS:UnscheduledRequestPriority");

}  // namespace

Simulator::Simulator(const SimOptions& options, const IClock& clock, QObject* parent)
    : QObject(parent), options_(options), clock_(clock) {}

Simulator::~Simulator() = default;

bool Simulator::OpenSite(QString* error) {
  SiteSettingsReader reader;
  if (!reader.Open(options_.settingsSource) || !reader.LoadDahs(options_.dahsId)) {
    *error = reader.TakeMessages().join(QStringLiteral("; "));
    return false;
  }
  const DahsSettings& s = reader.Settings();
  siteId_ = s.siteId;
  db_ = std::make_unique<SimDatabase>(s.connections.config, s.connections.realtime, siteId_);
  alarms_ = std::make_unique<SimAlarms>(s.connections.alarms, options_.dahsId);
  alarms_->SetFlood(options_.alarmFlood);
  alarms_->SetChatter(options_.alarmChatterChannel);
  Q_EMIT Log(QStringLiteral("site %1, DAHS %2, settings %3")
                 .arg(siteId_)
                 .arg(options_.dahsId)
                 .arg(reader.SourceName()));
  return true;
}

quint16 Simulator::ConfiguredPort() {
  if (options_.port) {
    return *options_.port;
  }
  QString error;
  QString base = db_->Lookup(PortKey, QString(), &error);
  if (!error.isEmpty()) {
    Q_EMIT Log(
        QStringLiteral("cannot read %1 (%2); using %3").arg(PortKey, error).arg(DefaultBasePort));
  }
  const auto value = ToInt32(base);
  const int port = (value && IsNumeric(base) ? *value : DefaultBasePort) + options_.dahsId - 1;
  return static_cast<quint16>(std::clamp(port, 1, 65535));
}

bool Simulator::Start(QString* error) {
  if (!OpenSite(error)) {
    return false;
  }
  SimConfig config;
  if (!db_->LoadConfig(options_.dahsId, &config, error)) {
    return false;
  }
  if (config.devices.empty()) {
    Q_EMIT Log(QStringLiteral("warning: DAHS %1 has no devices configured").arg(options_.dahsId));
  }
  plant_ = std::make_unique<SimPlant>(config, clock_, options_.seed);
  for (const int id : options_.faultyDevices) {
    plant_->MakeFaulty(id);
  }
  if (options_.releaseForcedAfterS) {
    plant_->ReleaseForcedAfter(1000LL * *options_.releaseForcedAfterS);
  }
  QString lookupError;
  if (const auto urp = ToInt32(db_->Lookup(UrpKey, QStringLiteral("1"), &lookupError));
      urp && *urp >= 1) {
    plant_->SetInitialUrp(*urp);
  }
  BuildServer();
  if (!server_->Listen(options_.host, ConfiguredPort(), error)) {
    return false;
  }
  Q_EMIT Log(QStringLiteral("%1 devices, %2 queues, %3 blocks, %4 channels; seed %5")
                 .arg(config.devices.size())
                 .arg(config.queues.size())
                 .arg(config.blocks.size())
                 .arg(config.channels.size())
                 .arg(options_.seed));
  started_ = clock_.Now();
  StartTimers();
  WriteRealtime();
  return true;
}

void Simulator::BuildServer() {
  dispatcher_ = std::make_unique<CommandDispatcher>(*plant_);
  dispatcher_->SetTrace(options_.trace);
  server_ = std::make_unique<SimServer>(*dispatcher_, options_.faults, options_.seed);
  connect(server_.get(), &SimServer::Log, this, &Simulator::Log);
  if (options_.verbose) {
    connect(server_.get(), &SimServer::Trace, this, &Simulator::Log);
  }
  connect(plant_.get(), &SimPlant::Log, this, &Simulator::Log);
  connect(plant_.get(), &SimPlant::Broadcast, server_.get(), &SimServer::Broadcast);
  connect(plant_.get(), &SimPlant::WriteFinished, this, &Simulator::OnWriteFinished);
  connect(plant_.get(), &SimPlant::UrpChanged, this, &Simulator::OnUrpChanged);
}

void Simulator::StartTimers() {
  connect(&tick_, &QTimer::timeout, plant_.get(), &SimPlant::Tick);
  connect(&publish_, &QTimer::timeout, plant_.get(), &SimPlant::PublishChanges);
  connect(&realtime_, &QTimer::timeout, this, &Simulator::WriteRealtime);
  connect(&commands_, &QTimer::timeout, this, &Simulator::PollCommands);
  tick_.start(SimPlant::TickMs);
  publish_.start(PublishIntervalMs);
  realtime_.start(RealtimeIntervalMs);
  commands_.start(CommandPollMs);
  if (options_.sendUnknown || options_.sendGarbage) {
    connect(&chaos_, &QTimer::timeout, this, &Simulator::SendChaos);
    chaos_.start(options_.chaosIntervalMs);
  }
  if (options_.eventRate > 0) {
    connect(&extraEvents_, &QTimer::timeout, this, &Simulator::SendExtraEvents);
    extraEvents_.start(100);
  }
}

quint16 Simulator::Port() const { return server_ != nullptr ? server_->Port() : 0; }

QString Simulator::ListenText() const {
  return server_ == nullptr
             ? QString()
             : QStringLiteral("%1:%2").arg(server_->Address().toString()).arg(Port());
}

int Simulator::ClientCount() const { return server_ != nullptr ? server_->ClientCount() : 0; }

void Simulator::DatabaseState(const QString& what, bool ok, const QString& error) {
  const QString previous = dbErrors_.value(what);
  if (ok && !previous.isEmpty()) {
    Q_EMIT Log(QStringLiteral("%1: working again").arg(what));
    dbErrors_.remove(what);
  } else if (!ok && previous != error) {
    Q_EMIT Log(QStringLiteral("%1 failed: %2").arg(what, error));
    dbErrors_.insert(what, error);
  }
}

void Simulator::WriteRealtime() {
  QString error;
  const bool ok = db_->WriteRealtime(plant_->RealtimeSnapshot(), &error);
  DatabaseState(QStringLiteral("realtime write"), ok, error);
  SyncAlarms();
}

void Simulator::SyncAlarms() {
  QString error;
  const QDateTime now = clock_.Now();
  const bool ok = alarms_->Sync(plant_->AlarmConditions(), now,
                                static_cast<double>(started_.msecsTo(now)) / 1000.0, &error);
  DatabaseState(QStringLiteral("alarms write"), ok, error);
}

void Simulator::PollCommands() {
  QString error;
  for (auto it = unmarked_.begin(); it != unmarked_.end();) {
    it = db_->MarkDone(it.key(), it.value(), &error) ? unmarked_.erase(it) : std::next(it);
  }
  const auto records = db_->PendingCommands(&error);
  DatabaseState(QStringLiteral("command table read"), records.has_value(), error);
  if (!records) {
    return;
  }
  for (const CommandRecord& r : *records) {
    if (!inFlight_.contains(r.id) && !unmarked_.contains(r.id)) {
      ApplyCommandRecord(r.id, r.commandText);
    }
  }
}

void Simulator::ApplyCommandRecord(std::int64_t id, const QString& text) {
  const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, text);
  const xml::XmlElement command = doc ? xml::SelectSingleNode(doc, "Command") : nullptr;
  const QString action = xml::GetAttributeText(command, "action");
  const QString idText = xml::GetAttributeText(command, "id");
  std::optional<QString> result;
  if (command == nullptr) {
    result = QStringLiteral("Failed: not a command (%1)").arg(TruncateForDisplay(text, 40));
  } else if (action != QLatin1String("WriteToChannel")) {
    result = QStringLiteral("Ignored: action '%1' is not carried out here").arg(action);
  } else if (!IsNumeric(idText) || !ToInt32(idText)) {
    result = QStringLiteral("Failed: channel id '%1' is not a number").arg(idText);
  } else {
    inFlight_.insert(id);
    Q_EMIT Log(QStringLiteral("command record %1: write '%2' to channel %3")
                   .arg(id)
                   .arg(xml::GetAttributeText(command, "value"), idText));
    result = plant_->QueueWrite(id, *ToInt32(idText), xml::GetAttributeText(command, "value"));
  }
  if (result) {
    OnWriteFinished(id, *result);
  }
}

void Simulator::OnWriteFinished(std::int64_t recordId, const QString& result) {
  QString error;
  const bool ok = db_->MarkDone(recordId, result, &error);
  DatabaseState(QStringLiteral("command table update"), ok, error);
  inFlight_.remove(recordId);
  if (!ok) {
    unmarked_.insert(recordId, result);
    return;
  }
  Q_EMIT Log(QStringLiteral("command record %1: %2").arg(recordId).arg(result));
}

void Simulator::OnUrpChanged(int urp) {
  QString error;
  const bool ok = db_->StoreLookup(UrpKey, QString::number(urp), &error);
  DatabaseState(QStringLiteral("lookup update"), ok, error);
}

void Simulator::SendChaos() {
  static const std::array<QByteArray, 3> unknown = {
      QByteArray("<Event eventtype=\"AlarmUpdate\" AlarmID=\"7\" State=\"Active\"/>"),
      QByteArray("<Event eventtype=\"message\" Desc=\"lower-case event type\" MsgType=\"1\"/>"),
      QByteArray("<Event eventtype=\"AuditUpdate\"><Audit ID=\"3\"/></Event>"),
  };
  static const std::array<QByteArray, 3> garbage = {
      QByteArray("<<<%%% this is not XML &&& >>>"),
      QByteArray("\x01\x02\x03 binary noise \xff\xfe"),
      QByteArray("<Event eventtype=\"DeviceUpdate\" DeviceID=\"1\" <<"),
  };
  const std::size_t i = static_cast<std::size_t>(chaosRound_++) % unknown.size();
  if (options_.sendUnknown) {
    server_->Broadcast({unknown[i]});
  }
  if (options_.sendGarbage) {
    server_->BroadcastRaw(garbage[i]);
  }
}

void Simulator::SendExtraEvents() {
  extraCarry_ += options_.eventRate / 10.0;
  const int count = static_cast<int>(std::floor(extraCarry_));
  extraCarry_ -= count;
  if (count > 0) {
    server_->Broadcast(plant_->RandomUpdates(count));
  }
}

}  // namespace telmon::iossim
