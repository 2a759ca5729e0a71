#pragma once

// The simulated plant behind the I/O server: devices polled through their queues block by
// block, channel values, watchdogs, device clocks, redundancy and the server's own settings.
// Everything runs on one thread, driven by Tick() and PublishChanges() from the owner's timers.

#include "alarms/AlarmTypes.h"
#include "iossim/SimState.h"
#include "util/Clock.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

namespace telmon::iossim {

struct RealtimePoint {
  QString ioid;
  QDateTime stamp;
  std::optional<double> numeric;
  QString text;
};

struct OpResult {
  bool ok = true;
  QString message;
  std::int32_t msgType = 1;
};

class SimPlant : public QObject {
  Q_OBJECT

 public:
  static constexpr int TickMs = 250;

  SimPlant(const SimConfig& config, const IClock& clock, std::uint64_t seed,
           QObject* parent = nullptr);

  // Replies to the full-information requests.
  QList<QByteArray> FullDeviceInfo() const;
  QList<QByteArray> FullQueueInfo() const;
  QList<QByteArray> FullBlockInfo() const;
  QList<QByteArray> FullChannelConfigInfo() const;
  QByteArray SettingsInfo() const;

  // Operations of the command catalogue; effects go out through Broadcast.
  OpResult SetRandomMode(std::optional<int> deviceId, bool on);  // empty id = every device
  OpResult SetDeviceAddress(int deviceId, const QString& address);
  OpResult SetDeviceClock(int deviceId);
  OpResult EraseHdr(int deviceId);
  OpResult Failover(int deviceId);
  OpResult SetLogLevel(int level);
  OpResult ResetLog();
  OpResult SetUrp(int urp);
  OpResult SetRid(int ms);
  OpResult ForceChannel(int channelId, const QString& value, const QString& dataSource,
                        const QString& min, const QString& max, const QString& period);
  OpResult RefreshAllData();
  OpResult ResetQueueCounters();
  // A channel write from the command table. Returns the result at once when the write needs
  // no device access; otherwise it is queued and WriteFinished reports it later.
  std::optional<QString> QueueWrite(std::int64_t recordId, int channelId, const QString& valueText);

  void SetInitialUrp(int urp) { settings_.urp = urp; }
  // Forced channels (those forced by configuration, by command or by a write) go back to the
  // plant's own source this long after they were last forced; by default they stay forced.
  void ReleaseForcedAfter(std::int64_t ms);
  // A device that stops answering, in addition to those configured as faulty.
  void MakeFaulty(int deviceId);

  void Tick();
  void PublishChanges();
  std::vector<RealtimePoint> RealtimeSnapshot();
  // Current state of `count` entities chosen at random, for load tests.
  QList<QByteArray> RandomUpdates(int count);

  const ServerSettings& Settings() const { return settings_; }
  // The plant's conditions that are alarms now: devices whose watchdog failed, failing blocks,
  // analyzer values outside their range, analyzers whose calibration drifted beyond its limit.
  std::vector<AlarmCondition> AlarmConditions() const;
  bool AllCommsOk() const;
  bool RefreshInProgress() const { return !refreshFinish_.isValid(); }
  int ChannelCount() const { return static_cast<int>(channels_.size()); }

 Q_SIGNALS:
  void Broadcast(const QList<QByteArray>& events);
  void WriteFinished(std::int64_t recordId, const QString& result);
  void UrpChanged(int urp);
  void Log(const QString& line);

 private:
  DeviceState* Device(int id);
  BlockState* Block(int id);
  ChannelState* Channel(int id);
  QueueState* Queue(const QString& name);
  QString DeviceLabel(const DeviceState& d) const;
  bool Responds(const DeviceState& d) const { return !d.cfg.faulty; }

  // Polling.
  void ScheduleDueBlocks(const QDateTime& now);
  void ServiceQueue(QueueState& q, const QDateTime& now);
  void Serve(QueueState& q, const IoRequest& r, const QDateTime& now);
  void ServeRead(QueueState& q, const IoRequest& r, const QDateTime& now);
  void ServeWrite(QueueState& q, const IoRequest& r, const QDateTime& now);
  void ReadFailed(QueueState& q, BlockState& b, const QDateTime& now);
  void ReadChannels(const BlockState& b, const QDateTime& now);
  int ResponseMs(const DeviceState& d, bool ok);
  void UpdateWatchdogs(const QDateTime& now);
  void UpdateClocks(const QDateTime& now);
  void BlockSettled(int blockId, bool ok, const QDateTime& now);
  void DropQueuedReads(int deviceId);

  // Values.
  void ApplyValue(ChannelState& c, const std::optional<double>& numeric, const QString& text,
                  const QDateTime& now);
  std::optional<RealtimePoint> PointOf(ChannelState& c, const QDateTime& now);
  double Seconds(const QDateTime& now) const;
  bool IsForcedSource(const QString& source) const;

  // Forcing and its release.
  QDateTime ReleaseTime(const QDateTime& forcedAt) const;
  std::optional<QString> WriteForceable(ChannelState& c, const std::optional<double>& numeric,
                                        const QString& text, const QDateTime& now);
  void ReleaseDueChannels(const QDateTime& now);

  OpResult SetRandomModeOne(DeviceState& d, bool on);
  void BroadcastOne(const QByteArray& event);
  void MarkDeviceBlocksDirty(int deviceId);

  const IClock& clock_;
  std::mt19937_64 rng_;
  QDateTime start_;
  std::vector<DeviceState> devices_;
  std::vector<QueueState> queues_;
  std::vector<BlockState> blocks_;
  std::vector<ChannelState> channels_;
  QHash<int, std::size_t> deviceIndex_;
  QHash<int, std::size_t> blockIndex_;
  QHash<int, std::size_t> channelIndex_;
  QHash<QString, std::size_t> queueIndex_;
  QHash<int, QList<std::size_t>> channelsOfBlock_;
  ServerSettings settings_;
  QSet<int> refreshPending_;
  QDateTime refreshStart_;
  QDateTime refreshFinish_;
  int refreshFailures_ = 0;
  bool settingsDirty_ = false;
  std::optional<std::int64_t> releaseForcedAfterMs_;
};

}  // namespace telmon::iossim
