#include "iossim/DemoSiteScale.h"

#include <algorithm>
#include <array>

namespace telmon::iossim {

namespace {

struct ExtraKind {
  const char* name;
  ChannelKind kind;
  double high;
  const char* unit;
};

constexpr std::array<ExtraKind, 6> ExtraKinds{{
    {"NOx", ChannelKind::NOx, 100, "ppm"},
    {"SO2", ChannelKind::SO2, 500, "ppm"},
    {"CO", ChannelKind::CO, 200, "ppm"},
    {"O2", ChannelKind::O2, 25, "%"},
    {"Opacity", ChannelKind::Opacity, 100, "%"},
    {"Flow", ChannelKind::Flow, 1500, "kscfh"},
}};

// The queue a device's requests go through: the one its first block uses.
QString QueueOf(const SimConfig& config, int deviceId) {
  for (const BlockConfig& b : config.blocks) {
    if (b.deviceId == deviceId) {
      return b.queueName;
    }
  }
  return config.queues.empty() ? QString() : config.queues.front().name;
}

void AddBlocks(SimConfig& config, int count) {
  const int base = config.dahsId * 100000;
  const std::size_t devices = config.devices.size();
  for (int n = 1; n <= count && devices > 0; ++n) {
    const DeviceConfig& device = config.devices[static_cast<std::size_t>(n - 1) % devices];
    BlockConfig b;
    b.id = base + n;
    b.deviceId = device.id;
    b.queueName = QueueOf(config, device.id);
    b.name =
        QStringLiteral("U%1 Extra Block %2").arg(config.dahsId).arg(n, 4, 10, QLatin1Char('0'));
    b.dataTypeName = QStringLiteral("Holding Register Float");
    b.dataAddress = QString::number(41001 + 100 * ((n - 1) / static_cast<int>(devices)));
    b.dataQty = 100;
    b.refreshIntervalMs = n % 3 == 0 ? 5000 : 2000;
    config.blocks.push_back(b);
  }
}

// The blocks new channels go into: the extra ones, or else the demo's plain register blocks.
std::vector<const BlockConfig*> ChannelBlocks(const SimConfig& config) {
  std::vector<const BlockConfig*> blocks;
  for (const BlockConfig& b : config.blocks) {
    if (b.id > config.dahsId * 100000) {
      blocks.push_back(&b);
    }
  }
  if (blocks.empty()) {
    for (const BlockConfig& b : config.blocks) {
      if (!b.isHdr && !b.disabled) {
        blocks.push_back(&b);
      }
    }
  }
  return blocks;
}

void AddChannels(SimConfig& config, int count) {
  const std::vector<const BlockConfig*> blocks = ChannelBlocks(config);
  const int base = config.dahsId * 100000;
  std::vector<ChannelConfig> added;
  added.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (int n = 1; n <= count && !blocks.empty(); ++n) {
    const BlockConfig& block = *blocks[static_cast<std::size_t>(n - 1) % blocks.size()];
    const ExtraKind& kind = ExtraKinds[static_cast<std::size_t>(n - 1) % ExtraKinds.size()];
    const QString number = QStringLiteral("%1").arg(n, 5, 10, QLatin1Char('0'));
    ChannelConfig c;
    c.id = base + n;
    c.name =
        QStringLiteral("U%1 Extra %2 %3").arg(config.dahsId).arg(QLatin1String(kind.name), number);
    c.deviceId = block.deviceId;
    c.blockId = block.id;
    c.address = QStringLiteral("EXTRA.U%1.%2").arg(config.dahsId).arg(number);
    c.kind = kind.kind;
    c.rangeHigh = kind.high;
    c.scaling = QStringLiteral("0-%1 %2").arg(kind.high).arg(QLatin1String(kind.unit));
    c.dataSource = QStringLiteral("Device");
    added.push_back(c);
  }
  config.channels.insert(config.channels.end(), added.begin(), added.end());
}

}  // namespace

SimConfig ScaleUpDemoConfig(SimConfig config, const DemoScale& scale) {
  AddBlocks(config, scale.blocks - static_cast<int>(config.blocks.size()));
  AddChannels(config, scale.channels - static_cast<int>(config.channels.size()));
  return config;
}

}  // namespace telmon::iossim
