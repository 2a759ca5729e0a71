#pragma once

// The commands the monitor sends to the I/O server, built as the exact text the server reads,
// and the names of the server's vocabulary. Each command keeps its own ending: most end with
// " />", the device, queue-counter and tuning commands with "/>", and the server matches them
// as they are, so neither form may be "corrected" into the other.

#include "util/Decimal.h"
#include "util/Value.h"

#include <QString>
#include <QStringList>

#include <cstdint>

namespace telmon::IosCommands {

// Actions of the commands, including those only the command table carries.
namespace Action {
inline constexpr char GetFullDeviceInfo[] = "GetFullDeviceInfo";
inline constexpr char GetFullQueueInfo[] = "GetFullQueueInfo";
inline constexpr char GetFullBlockInfo[] = "GetFullBlockInfo";
inline constexpr char GetIOSSettings[] = "GetIOSSettings";
inline constexpr char GetChannelConfigInfo[] = "GetChannelConfigInfo";
inline constexpr char RefreshAllData[] = "RefreshAllData";
inline constexpr char ResetQCounters[] = "ResetQCounters";
inline constexpr char SetDeviceToRandomMode[] = "SetDeviceToRandomMode";
inline constexpr char SetDeviceIPAddress[] = "SetDeviceIPAddress";
inline constexpr char SetDeviceClock[] = "SetDeviceClock";
inline constexpr char EraseHDRForDevice[] = "EraseHDRForDevice";
inline constexpr char DoFailover[] = "DoFailover";
inline constexpr char SetLogLevel[] = "SetLogLevel";
inline constexpr char ResetLog[] = "ResetLog";
inline constexpr char SetURP[] = "SetURP";
inline constexpr char SetRID[] = "SetRID";
inline constexpr char ForceChannelValue[] = "ForceChannelValue";
inline constexpr char WriteToChannel[] = "WriteToChannel";
// Never sent by the monitor; named so the vocabulary matches the server's.
inline constexpr char RecreateAllAlarms[] = "RecreateAllAlarms";
inline constexpr char RefreshSelectedChannels[] = "RefreshSelectedChannels";
inline constexpr char ReadIOAuditDefinitions[] = "ReadIOAuditDefinitions";
inline constexpr char StartIOAudit[] = "StartIOAudit";
inline constexpr char StopIOAudit[] = "StopIOAudit";
inline constexpr char StopAllIOAudits[] = "StopAllIOAudits";
}  // namespace Action

// Fields of a record in the site database's command table.
namespace CommandField {
inline constexpr char Action[] = "action";
inline constexpr char Priority[] = "priority";
inline constexpr char SourceId[] = "sourceid";
inline constexpr char Channels[] = "channels";
inline constexpr char Hf[] = "hf";
inline constexpr char RequireAOE[] = "requireAOE";
}  // namespace CommandField

// Values of an event's "eventtype" attribute, compared exactly (case included).
namespace EventType {
inline constexpr char Message[] = "Message";
inline constexpr char DeviceUpdate[] = "DeviceUpdate";
inline constexpr char QUpdate[] = "QUpdate";
inline constexpr char BlockUpdate[] = "BlockUpdate";
inline constexpr char ChannelConfigFullUpdate[] = "ChannelConfigFullUpdate";
inline constexpr char ChannelConfigUpdate[] = "ChannelConfigUpdate";
inline constexpr char IOSSettingsUpdate[] = "IOSSettingsUpdate";
}  // namespace EventType

// Attributes of the event envelope and of "Message" events.
namespace EventAttribute {
inline constexpr char EventTypeName[] = "eventtype";
inline constexpr char Desc[] = "Desc";
inline constexpr char MsgType[] = "MsgType";
}  // namespace EventAttribute

// Data sources of a forceable channel.
namespace DataSource {
inline constexpr char ForcedValue[] = "ForcedValue";
inline constexpr char TriangleWave[] = "TriangleWave";
}  // namespace DataSource

// The server's logging levels; the command carries exactly these numbers.
enum class LogLevel : int { None = -1, Normal = 0, All = 2 };

QString GetFullDeviceInfo();
QString GetFullQueueInfo();
QString GetFullBlockInfo();
QString GetIOSSettings();
QString GetChannelConfigInfo();
// The five requests for complete information, in the order they are sent after a connect.
QStringList FullRefreshCommands();
QString RefreshAllData();
QString ResetQCounters();

// Random values on (true) or back to polling (false) for one device, or for every device.
QString SetDeviceToRandomMode(std::int32_t deviceId, bool randomMode);
QString SetAllDevicesToRandomMode(bool randomMode);
// The address is typed freely by the operator, so it alone is escaped.
QString SetDeviceIPAddress(std::int32_t deviceId, const QString& address);
QString SetDeviceClock(std::int32_t deviceId);
QString EraseHDRForDevice(std::int32_t deviceId);
QString DoFailover(std::int32_t deviceId);

QString SetLogLevel(LogLevel level);
QString ResetLog();
// Unscheduled request priority.
QString SetURP(std::int32_t priority);
// Request initiation delay in milliseconds.
QString SetRID(std::int32_t milliseconds);

// The value as its plain text: null as an empty attribute, integers in decimal, decimals in
// plain notation, text as typed. Typed text is the one thing that may hold markup, so a text
// value alone has "&", "<", ">" and '"' written as entities and characters beyond the link's
// single-byte encoding as character references; TAB, CR and LF become the blanks the server
// would read for them (AttributeValueAsParsed). The record and the command thus carry the same
// value, and the server reads back the text the operator gave.
QString ForceChannelValue(std::int32_t channelId, const Value& value);
QString ForceChannelValueWave(std::int32_t channelId, const Value& value,
                              const Decimal& oscillationMin, const Decimal& oscillationMax,
                              const Decimal& oscillationPeriod);

// The command stored in the site database's command table to change a channel's value; the
// value is rendered as attribute text (null as an empty attribute; text escaped as above).
QString WriteToChannel(std::int32_t channelId, const Value& value);

// The text an XML parser reads back from an attribute written with this text as it is: each CR
// LF pair and each remaining TAB, CR and LF becomes one blank.
QString AttributeValueAsParsed(const QString& text);

// False when the text holds a character that no XML document can carry (control characters
// other than TAB, LF and CR, unpaired surrogates, U+FFFE and U+FFFF).
bool CanCarryInAttribute(const QString& text);

}  // namespace telmon::IosCommands
