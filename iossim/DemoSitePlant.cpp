#include "iossim/DemoSitePlant.h"

#include <QStringList>

#include <array>

namespace telmon::iossim {

namespace {

struct Gas {
  const char* name;  // as channel names show it
  const char* tag;   // as addresses show it
  ChannelKind kind;
  double high;
  const char* unit;
};

constexpr std::array<Gas, 8> Gases{{
    {"NOx", "NOX", ChannelKind::NOx, 100, "ppm"},
    {"NOx/L", "NOXL", ChannelKind::NOx, 10, "ppm"},
    {"SO2", "SO2", ChannelKind::SO2, 500, "ppm"},
    {"CO", "CO", ChannelKind::CO, 200, "ppm"},
    {"CO/L", "COL", ChannelKind::CO, 10, "ppm"},
    {"O2", "O2", ChannelKind::O2, 25, "%"},
    {"CO2", "CO2", ChannelKind::CO2, 20, "%"},
    {"NH3", "NH3", ChannelKind::NH3, 20, "ppm"},
}};

constexpr std::array<const char*, 10> CalKeywords{{
    "ZEROAVG",
    "SPANAVG",
    "ZEROREFGAS",
    "SPANREFGAS",
    "INSTSPAN60",
    "ZERODRIFTLIMIT60",
    "SPANDRIFTLIMIT75",
    "ZEROFAILLOW60",
    "ONLINE",
    "ZEROINJECTIONSTARTHHMMSS",
}};
constexpr int CalDays = 3;

// Every keyword the cal HDR write fills, for the controller that keeps the long address form.
constexpr std::array<const char*, 25> CalValueKeywords{{
    "ZEROFAILLOW60",    "ZEROFAILHIGH60",   "SPANFAILLOW60",    "SPANFAILHIGH60",
    "FAILOOC60",        "FAIL5DAYOOC60",    "ZEROFAILLOW75",    "ZEROFAILHIGH75",
    "SPANFAILLOW75",    "SPANFAILHIGH75",   "MANUAL",           "FAILDAYSCOUNT60",
    "ZEROREFGAS",       "ONLINE",           "INSTSPAN60",       "INSTSPAN75",
    "DRIFTLIMIT60",     "ZERODRIFTLIMIT60", "SPANDRIFTLIMIT60", "DRIFTLIMIT75",
    "ZERODRIFTLIMIT75", "SPANDRIFTLIMIT75", "SPANREFGAS",       "ZEROAVG",
    "SPANAVG",
}};
constexpr std::array<const char*, 4> CalStages{
    {"ZEROINJECTIONSTART", "ZEROINJECTIONEND", "SPANINJECTIONSTART", "SPANINJECTIONEND"}};
constexpr std::array<const char*, 7> CalTimeParts{
    {"YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "YYYYMMDD", "HHMMSS"}};

// Builds one DAHS's plant; IDs are offset per DAHS so that the two units never look alike.
class UnitBuilder {
 public:
  explicit UnitBuilder(int dahsId)
      : dahs_(dahsId), unit_(QStringLiteral("U%1").arg(dahsId)), nextChannel_(dahsId * 1000 + 1) {
    config_.dahsId = dahsId;
  }

  SimConfig Build();

 private:
  int DeviceId(int n) const { return (dahs_ - 1) * 20 + n; }
  int BlockId(int n) const { return dahs_ * 100 + n; }
  void Devices();
  void Queues();
  void Blocks();
  void MeasuredChannels();
  void ModeCodeChannels();
  void CalHistoryChannels();
  void CemsInfoCalChannels();
  void CemsInfoCalAnalyzer(const char* name, const char* tag, int days);
  void ForceableChannels();
  void ModeCodeEdgeChannels();
  void AddDevice(int n, const char* name, const char* driver, const char* plcType,
                 const QString& connection, const char* port, int watchdog);
  void AddBlock(int n, int device, const char* queue, const QString& name, const char* type,
                const char* address, int qty, int refreshMs);
  ChannelConfig& AddChannel(const QString& name, int device, int block, const QString& address,
                            ChannelKind kind, double high, const QString& unit);

  int dahs_;
  QString unit_;
  int nextChannel_;
  SimConfig config_;
};

SimConfig UnitBuilder::Build() {
  Devices();
  Queues();
  Blocks();
  MeasuredChannels();
  ModeCodeChannels();
  CalHistoryChannels();
  ForceableChannels();
  ModeCodeEdgeChannels();
  CemsInfoCalChannels();
  return config_;
}

void UnitBuilder::AddDevice(int n, const char* name, const char* driver, const char* plcType,
                            const QString& connection, const char* port, int watchdog) {
  DeviceConfig d;
  d.id = DeviceId(n);
  d.name = unit_ + QLatin1Char(' ') + QLatin1String(name);
  d.driverName = QLatin1String(driver);
  d.plcType = QLatin1String(plcType);
  d.connection = connection;
  d.portName = QLatin1String(port);
  d.watchdogTimeout = watchdog;
  config_.devices.push_back(d);
}

void UnitBuilder::Devices() {
  const QString net = QStringLiteral("10.10.%1.").arg(dahs_);
  AddDevice(1, "Process PLC", "ModbusTCP", "Process PLC", net + "11:502", "ETH1", 30);
  AddDevice(2, "CEMS Controller A", "ModbusTCP", "CEMS Controller", net + "21:502", "ETH1", 30);
  AddDevice(3, "CEMS Controller B", "ModbusTCP", "CEMS Controller", net + "22:502", "ETH1", 30);
  AddDevice(4, "Opacity Monitor", "ModbusRTU", "Serial Monitor", "COM3 9600 8N1, unit 4", "COM3",
            20);
  AddDevice(5, "Flow Monitor", "ModbusRTU", "Serial Monitor", "COM3 9600 8N1, unit 5", "COM3", 20);
  AddDevice(6, "NH3 Analyzer", "ModbusTCP", "Analyzer", net + "31:502", "ETH2", 10);
  AddDevice(10, "Data Logger", "ModbusTCP", "Data Logger", net + "40:502", "ETH2", 60);
  // The CEMS controllers are a redundant pair that keeps historical data records.
  config_.devices[1].redundantDeviceId = DeviceId(3);
  config_.devices[2].redundantDeviceId = DeviceId(2);
  config_.devices[1].hdrEnabled = config_.devices[2].hdrEnabled = true;
  config_.devices[6].hdrEnabled = true;
  // Unit 1's ammonia analyzer has a broken network link: its block fails, its queue pauses
  // and the "not polling" indicator stays on.
  config_.devices[5].faulty = dahs_ == 1;
}

void UnitBuilder::Queues() {
  config_.queues.push_back({QStringLiteral("ModbusTCP ETH1"), "ModbusTCP", "ETH1"});
  config_.queues.push_back({QStringLiteral("ModbusTCP ETH2"), "ModbusTCP", "ETH2"});
  config_.queues.push_back({QStringLiteral("ModbusRTU COM3"), "ModbusRTU", "COM3"});
}

void UnitBuilder::AddBlock(int n, int device, const char* queue, const QString& name,
                           const char* type, const char* address, int qty, int refreshMs) {
  BlockConfig b;
  b.id = BlockId(n);
  b.deviceId = DeviceId(device);
  b.queueName = QLatin1String(queue);
  b.name = unit_ + QLatin1Char(' ') + name;
  b.dataTypeName = QLatin1String(type);
  b.dataAddress = QLatin1String(address);
  b.dataQty = qty;
  b.refreshIntervalMs = refreshMs;
  config_.blocks.push_back(b);
}

void UnitBuilder::Blocks() {
  const char* eth1 = "ModbusTCP ETH1";
  AddBlock(1, 1, eth1, QStringLiteral("Process Analogs"), "Holding Register Float", "40001", 40,
           1000);
  AddBlock(2, 1, eth1, QStringLiteral("Status Bits"), "Coil", "00001", 64, 1000);
  AddBlock(3, 1, eth1, QStringLiteral("Spare Registers"), "Holding Register", "40501", 20, 5000);
  AddBlock(4, 2, eth1, QStringLiteral("CEMS A Analyzers"), "Holding Register Float", "40001", 60,
           1000);
  AddBlock(5, 2, eth1, QStringLiteral("CEMS A Mode Codes"), "Holding Register", "40201", 32, 5000);
  AddBlock(6, 2, eth1, QStringLiteral("CEMS A Cal History"), "HDR Record", "HDR:CAL", 300, 30000);
  AddBlock(7, 3, eth1, QStringLiteral("CEMS B Analyzers"), "Holding Register Float", "40001", 60,
           1000);
  AddBlock(8, 3, eth1, QStringLiteral("CEMS B Cal History"), "HDR Record", "HDR:CAL", 300, 30000);
  AddBlock(9, 4, "ModbusRTU COM3", QStringLiteral("Opacity"), "Input Register Float", "30001", 10,
           2000);
  AddBlock(10, 5, "ModbusRTU COM3", QStringLiteral("Stack Flow"), "Input Register Float", "30001",
           8, 2000);
  AddBlock(11, 6, "ModbusTCP ETH2", QStringLiteral("NH3 Slip"), "Holding Register Float", "40001",
           10, 2000);
  AddBlock(12, 10, "ModbusTCP ETH2", QStringLiteral("Logger Hourly Records"), "HDR Record",
           "HDR:HOURLY", 24, 60000);
  auto& blocks = config_.blocks;
  blocks[1].containsWatchdog = blocks[3].containsWatchdog = blocks[6].containsWatchdog = true;
  blocks[3].fastReadEnabled = blocks[6].fastReadEnabled = true;
  blocks[2].disabled = true;
  blocks[5].isHdr = blocks[7].isHdr = blocks[11].isHdr = true;
  blocks[9].implicitChannelId = nextChannel_;  // the stack flow block carries its channel
}

ChannelConfig& UnitBuilder::AddChannel(const QString& name, int device, int block,
                                       const QString& address, ChannelKind kind, double high,
                                       const QString& unit) {
  ChannelConfig c;
  c.id = nextChannel_++;
  c.name = unit_ + QLatin1Char(' ') + name;
  c.deviceId = device == 0 ? 0 : DeviceId(device);
  c.blockId = block == 0 ? 0 : BlockId(block);
  c.address = address;
  c.kind = kind;
  c.rangeHigh = high;
  c.dataSource = block == 0 ? QStringLiteral("Calculated") : QStringLiteral("Device");
  if (IsAnalogKind(kind)) {
    c.scaling = QStringLiteral("0-%1 %2").arg(high).arg(unit);
  }
  config_.channels.push_back(c);
  return config_.channels.back();
}

void UnitBuilder::MeasuredChannels() {
  const QString flow = QStringLiteral("Stack Flow");
  AddChannel(flow, 5, 10, QStringLiteral("FLOW.%1.STACK.RATE").arg(unit_), ChannelKind::Flow, 1500,
             QStringLiteral("kscfh"))
      .otherInfo = QStringLiteral("30001 float, word swapped");
  AddChannel(QStringLiteral("Stack Opacity"), 4, 9, QStringLiteral("OPAC.%1.STACK.PCT").arg(unit_),
             ChannelKind::Opacity, 100, QStringLiteral("%"));
  int reg = 40001;
  for (const Gas& g : Gases) {
    const QString base = QStringLiteral("Stack %1").arg(QLatin1String(g.name));
    const QString addr = QStringLiteral("CEMS.%1.%2").arg(unit_, QLatin1String(g.tag));
    const bool nh3 = g.kind == ChannelKind::NH3;
    const int device = nh3 ? 6 : 2;
    const int block = nh3 ? 11 : 4;
    AddChannel(base + QStringLiteral(" Conc"), device, block, addr + QStringLiteral(".CONC"),
               g.kind, g.high, QLatin1String(g.unit))
        .otherInfo = QStringLiteral("%1 float").arg(nh3 ? 40001 : reg);
    for (const char* avg : {"1-Min Avg", "15-Min Avg", "Hourly Avg"}) {
      AddChannel(
          base + QLatin1Char(' ') + QLatin1String(avg), 0, 0,
          addr + QLatin1Char('.') + QString::fromLatin1(avg).remove(QLatin1Char(' ')).toUpper(),
          g.kind, g.high, QLatin1String(g.unit));
    }
    AddChannel(base + QStringLiteral(" Analyzer OK"), 1, 2, addr + QStringLiteral(".OK"),
               ChannelKind::Digital, 1, QString());
    reg += 2;
  }
  AddChannel(QStringLiteral("Boiler Load"), 1, 1, QStringLiteral("PLC.%1.LOAD").arg(unit_),
             ChannelKind::Flow, 600, QStringLiteral("MW"));
  AddChannel(QStringLiteral("Unit Running"), 1, 2, QStringLiteral("PLC.%1.RUN").arg(unit_),
             ChannelKind::Digital, 1, QString());
  AddChannel(QStringLiteral("Spare Analog"), 1, 3, QStringLiteral("PLC.%1.SPARE1").arg(unit_),
             ChannelKind::Flow, 100, QStringLiteral("%"));
}

void UnitBuilder::ModeCodeChannels() {
  struct Mc {
    const char* name;
    int device;
    int block;
  };
  // Names decide which bulk writes reach a channel: analyzers (NOx, O2, CO, NH3, opacity, PM)
  // and the rest, such as flow and the ammonia injection rate.
  static constexpr std::array<Mc, 10> Codes{{
      {"Stack NOx", 2, 5},
      {"Stack SO2", 2, 5},
      {"Stack CO", 2, 5},
      {"Stack O2", 2, 5},
      {"Stack CO2", 2, 5},
      {"Stack NH3", 6, 11},
      {"Stack Opacity", 4, 9},
      {"Stack PM", 1, 3},
      {"Stack Flow", 5, 10},
      {"NH3 Inj Rate", 1, 1},
  }};
  for (const Mc& mc : Codes) {
    const QString tag = QString::fromLatin1(mc.name).remove(QLatin1Char(' ')).toUpper();
    for (const char* suffix : {"MC60", "MC75"}) {
      AddChannel(QStringLiteral("%1 %2").arg(QLatin1String(mc.name), QLatin1String(suffix)),
                 mc.device, mc.block, QStringLiteral("MODE.%1.%2.%3").arg(unit_, tag, suffix),
                 ChannelKind::ModeCode, 99, QString());
    }
  }
}

void UnitBuilder::CalHistoryChannels() {
  for (const Gas& g : Gases) {
    if (g.kind == ChannelKind::NH3 || QByteArray(g.name).contains('/')) {
      continue;
    }
    for (int day = 0; day < CalDays; ++day) {
      for (const char* keyword : CalKeywords) {
        AddChannel(QStringLiteral("Stack %1 CalHistory Days[%2] %3")
                       .arg(QLatin1String(g.name))
                       .arg(day)
                       .arg(QLatin1String(keyword)),
                   2, 6,
                   QStringLiteral("CalHistory.%1.%2.Days[%3].%4")
                       .arg(unit_, QLatin1String(g.tag))
                       .arg(day)
                       .arg(QLatin1String(keyword)),
                   ChannelKind::CalHdr, 0, QString());
      }
    }
  }
}

// Controller B keeps its calibration history in the long form, with every keyword: the low
// ranges and the flow monitor, and one channel whose day number lost its closing bracket.
void UnitBuilder::CemsInfoCalChannels() {
  CemsInfoCalAnalyzer("NOx/L", "NOXL", 2);
  CemsInfoCalAnalyzer("CO/L", "COL", 2);
  CemsInfoCalAnalyzer("Flow", "FLOW", 1);
  AddChannel(QStringLiteral("Stack NOx/L Cal Day 1 ZEROAVG (bad address)"), 3, 8,
             QStringLiteral("CemsInfoHistoryCal.%1.NOXL.Days[1.ZEROAVG").arg(unit_),
             ChannelKind::CalHdr, 0, QString());
}

void UnitBuilder::CemsInfoCalAnalyzer(const char* name, const char* tag, int days) {
  QStringList keywords;
  for (const char* keyword : CalValueKeywords) keywords << QLatin1String(keyword);
  for (std::size_t i = 0; i < 5; ++i) {
    keywords << QLatin1String(CalTimeParts[i]);  // "YEAR" to "MINUTE" alone
  }
  for (const char* stage : CalStages) {
    for (const char* part : CalTimeParts) keywords << QLatin1String(stage) + QLatin1String(part);
  }
  for (int day = 0; day < days; ++day) {
    for (const QString& keyword : keywords) {
      AddChannel(
          QStringLiteral("Stack %1 Cal Day %2 %3").arg(QLatin1String(name)).arg(day).arg(keyword),
          3, 8,
          QStringLiteral("CemsInfoHistoryCal.%1.%2.Days[%3].%4")
              .arg(unit_, QLatin1String(tag))
              .arg(day)
              .arg(keyword),
          ChannelKind::CalHdr, 0, QString());
    }
  }
}

void UnitBuilder::ForceableChannels() {
  for (int i = 1; i <= 3; ++i) {
    ChannelConfig& c = AddChannel(QStringLiteral("Test NOx Forced %1").arg(i), 0, 0,
                                  QStringLiteral("TEST.%1.FORCED%2").arg(unit_).arg(i),
                                  ChannelKind::NOx, 100, QStringLiteral("ppm"));
    c.dataSource = QStringLiteral("ForcedValue");
    c.oscillationMin = QString::number(10 * i);
  }
  for (int i = 1; i <= 2; ++i) {
    ChannelConfig& c = AddChannel(QStringLiteral("Test SO2 Wave %1").arg(i), 0, 0,
                                  QStringLiteral("TEST.%1.WAVE%2").arg(unit_).arg(i),
                                  ChannelKind::SO2, 500, QStringLiteral("ppm"));
    c.dataSource = QStringLiteral("TriangleWave");
    c.oscillationMin = QStringLiteral("0");
    c.oscillationMax = QString::number(100 * i);
    c.oscillationPeriod = QString::number(30 * i);
  }
}

// Added last so that the IDs of the channels above stay as they are. They show the edges of the
// bulk mode-code writes' channel choice: a lower-case register suffix (included, since the
// suffix is compared upper-cased) and the exact-case "O2" word ("so2 conc" is no analyzer
// channel, "SO2 conc" is one and gets 11, an O2 channel gets 12).
void UnitBuilder::ModeCodeEdgeChannels() {
  struct Mc {
    const char* name;
    const char* address;
  };
  static constexpr std::array<Mc, 3> Edges{{
      {"so2 conc mc60", "mode.%1.so2conc.mc60"},
      {"SO2 conc MC75", "MODE.%1.SO2CONC.MC75"},
      {"O2 dry mc60", "mode.%1.o2dry.mc60"},
  }};
  for (const Mc& mc : Edges) {
    AddChannel(QLatin1String(mc.name), 2, 5, QString::fromLatin1(mc.address).arg(unit_.toLower()),
               ChannelKind::ModeCode, 99, QString());
  }
}

}  // namespace

SimConfig DemoUnitConfig(int dahsId) { return UnitBuilder(dahsId).Build(); }

}  // namespace telmon::iossim
