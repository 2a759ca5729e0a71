#pragma once

// The update events of the simulated server, rendered from the plant's state.

#include "iossim/SimState.h"

#include <QByteArray>
#include <QDateTime>

namespace telmon::iossim {

// Date-time text used in events ("2024-03-14 14:05:09").
QString EventTimeText(const QDateTime& t);

QByteArray DeviceUpdateXml(const DeviceState& device);
QByteArray QueueUpdateXml(const QueueState& queue);
QByteArray BlockUpdateXml(const BlockState& block, bool deviceInRandomMode);
QByteArray ChannelConfigFullUpdateXml(int channelCount);
QByteArray ChannelConfigUpdateXml(const ChannelState& channel);
QByteArray SettingsUpdateXml(const ServerSettings& settings);

// Text of the device's failover state, e.g. "Active (partner 4)".
QString FailoverStatusText(const DeviceState& device);

}  // namespace telmon::iossim
