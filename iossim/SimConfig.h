#pragma once

// The I/O configuration of one DAHS as the simulator reads it from the site's configuration
// database: devices, request queues, address blocks and channels.

#include <QSqlDatabase>
#include <QString>

#include <vector>

namespace telmon::iossim {

struct DeviceConfig {
  int id = 0;
  QString name;
  QString driverName;
  QString plcType;
  QString connection;
  QString portName;
  int watchdogTimeout = 30;  // seconds
  int redundantDeviceId = 0;
  bool hdrEnabled = false;
  bool faulty = false;
};

struct QueueConfig {
  QString name;
  QString driverName;
  QString portName;
};

struct BlockConfig {
  int id = 0;
  int deviceId = 0;
  QString queueName;
  QString name;
  QString dataTypeName;
  QString dataAddress;
  int dataQty = 0;
  int refreshIntervalMs = 1000;
  bool fastReadEnabled = false;
  bool disabled = false;
  bool isHdr = false;
  bool containsWatchdog = false;
  int implicitChannelId = 0;
};

// What a channel measures; it decides the simulated signal.
enum class ChannelKind { NOx, SO2, CO, O2, CO2, Opacity, NH3, Flow, ModeCode, CalHdr, Digital };

struct ChannelConfig {
  int id = 0;
  QString name;
  int deviceId = 0;
  int blockId = 0;
  QString address;
  QString scaling;
  QString otherInfo;
  QString dataSource;
  QString oscillationMin;
  QString oscillationMax;
  QString oscillationPeriod;
  ChannelKind kind = ChannelKind::Digital;
  double rangeLow = 0.0;
  double rangeHigh = 100.0;
};

struct SimConfig {
  int dahsId = 1;
  std::vector<DeviceConfig> devices;
  std::vector<QueueConfig> queues;
  std::vector<BlockConfig> blocks;
  std::vector<ChannelConfig> channels;
};

// The kind column's text (NOx, SO2, CO, O2, CO2, OPACITY, NH3, FLOW, MC, CALHDR, DIGITAL, any
// case); unknown texts are taken as digital points.
ChannelKind ChannelKindFromText(const QString& text);
QString ChannelKindText(ChannelKind kind);
// Engineering unit shown with a channel's limits.
QString ChannelKindUnit(ChannelKind kind);
bool IsAnalogKind(ChannelKind kind);

// Reads the configuration of `dahsId`, ordered by identifier. Returns false with a readable
// `error` when a table cannot be read.
bool LoadSimConfig(QSqlDatabase& db, int dahsId, SimConfig* config, QString* error);

}  // namespace telmon::iossim
