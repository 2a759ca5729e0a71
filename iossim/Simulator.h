#pragma once

// The whole simulated I/O server of one DAHS: site settings and configuration from the
// database, the plant, the TCP server for monitors, the realtime writer and the command-table
// reader, each on its own timer.

#include "iossim/SimOptions.h"
#include "util/Clock.h"

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <memory>

namespace telmon::iossim {

class CommandDispatcher;
class SimAlarms;
class SimDatabase;
class SimPlant;
class SimServer;

class Simulator : public QObject {
  Q_OBJECT

 public:
  static constexpr int RealtimeIntervalMs = 1000;
  static constexpr int CommandPollMs = 500;
  static constexpr int PublishIntervalMs = 1000;
  static constexpr int DefaultBasePort = 7651;

  Simulator(const SimOptions& options, const IClock& clock, QObject* parent = nullptr);
  ~Simulator() override;

  // Reads the site, opens the databases and starts listening. False with `error` set when
  // the simulator cannot run.
  bool Start(QString* error);
  quint16 Port() const;
  // "127.0.0.1:7651"
  QString ListenText() const;
  SimPlant* Plant() const { return plant_.get(); }
  int ClientCount() const;

 Q_SIGNALS:
  void Log(const QString& line);

 private:
  bool OpenSite(QString* error);
  quint16 ConfiguredPort();
  void BuildServer();
  void StartTimers();
  void WriteRealtime();
  void SyncAlarms();
  void PollCommands();
  void ApplyCommandRecord(std::int64_t id, const QString& text);
  void OnWriteFinished(std::int64_t recordId, const QString& result);
  void OnUrpChanged(int urp);
  void SendChaos();
  void SendExtraEvents();
  // Reports a database problem once, and its end once, instead of every second.
  void DatabaseState(const QString& what, bool ok, const QString& error);

  SimOptions options_;
  const IClock& clock_;
  QString siteId_;
  QDateTime started_;
  std::unique_ptr<SimDatabase> db_;
  std::unique_ptr<SimAlarms> alarms_;
  std::unique_ptr<CommandDispatcher> dispatcher_;
  // Declared after what they use, so that they go first.
  std::unique_ptr<SimPlant> plant_;
  std::unique_ptr<SimServer> server_;
  QTimer tick_;
  QTimer publish_;
  QTimer realtime_;
  QTimer commands_;
  QTimer chaos_;
  QTimer extraEvents_;
  QSet<std::int64_t> inFlight_;
  // Records carried out whose result could not be stored yet: stored again, never re-applied.
  QHash<std::int64_t, QString> unmarked_;
  QHash<QString, QString> dbErrors_;
  int chaosRound_ = 0;
  double extraCarry_ = 0.0;
};

}  // namespace telmon::iossim
