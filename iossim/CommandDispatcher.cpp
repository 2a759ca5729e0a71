#include "iossim/CommandDispatcher.h"

#include "iossim/EventXml.h"
#include "iossim/SimPlant.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <array>
#include <optional>

namespace telmon::iossim {

namespace {

using Element = xml::XmlElement;
using Events = QList<QByteArray>;

QString Attr(Element e, const char* name) { return xml::GetAttributeText(e, name); }

Events Reply(const OpResult& r) { return {MessageEventXml(r.msgType, r.message)}; }

Events Error(const QString& text) { return {MessageEventXml(SimMsgType::Error, text)}; }

// The integer attribute `name`, or an error reply naming the command.
std::optional<int> IntAttr(Element e, const char* name, Events* error) {
  const QString text = Attr(e, name);
  if (const auto v = ToInt32(text); v && IsNumeric(text)) {
    return *v;
  }
  *error = Error(QStringLiteral("Command %1 needs a numeric %2 (got '%3')")
                     .arg(Attr(e, "action"), QLatin1String(name), TruncateForDisplay(text, 40)));
  return std::nullopt;
}

Events WithNote(Events events, const QString& note) {
  events.push_back(MessageEventXml(SimMsgType::Info, note));
  return events;
}

Events FullDevices(SimPlant& p, Element) {
  Events e = p.FullDeviceInfo();
  return WithNote(e, QStringLiteral("Sent information on %1 device(s)").arg(e.size()));
}

Events FullQueues(SimPlant& p, Element) {
  Events e = p.FullQueueInfo();
  return WithNote(e, QStringLiteral("Sent information on %1 queue(s)").arg(e.size()));
}

Events FullBlocks(SimPlant& p, Element) {
  Events e = p.FullBlockInfo();
  return WithNote(e, QStringLiteral("Sent information on %1 block(s)").arg(e.size()));
}

Events Settings(SimPlant& p, Element) {
  return WithNote({p.SettingsInfo()}, QStringLiteral("Sent the I/O server settings"));
}

Events ChannelConfig(SimPlant& p, Element) {
  return WithNote(p.FullChannelConfigInfo(),
                  QStringLiteral("Sent the configuration of %1 channel(s)").arg(p.ChannelCount()));
}

Events RefreshAll(SimPlant& p, Element) { return Reply(p.RefreshAllData()); }

Events ResetCounters(SimPlant& p, Element) { return Reply(p.ResetQueueCounters()); }

Events RandomMode(SimPlant& p, Element e) {
  const QString flag = Attr(e, "value");
  if (flag != QLatin1String("1") && flag != QLatin1String("0")) {
    return Error(QStringLiteral("SetDeviceToRandomMode needs value 1 or 0 (got '%1')")
                     .arg(TruncateForDisplay(flag, 40)));
  }
  if (Attr(e, "id") == QLatin1String("*")) {
    return Reply(p.SetRandomMode(std::nullopt, flag == QLatin1String("1")));
  }
  Events error;
  const auto id = IntAttr(e, "id", &error);
  return id ? Reply(p.SetRandomMode(*id, flag == QLatin1String("1"))) : error;
}

Events IpAddress(SimPlant& p, Element e) {
  Events error;
  const auto id = IntAttr(e, "id", &error);
  return id ? Reply(p.SetDeviceAddress(*id, Attr(e, "value"))) : error;
}

Events Clock(SimPlant& p, Element e) {
  Events error;
  const auto id = IntAttr(e, "id", &error);
  return id ? Reply(p.SetDeviceClock(*id)) : error;
}

Events EraseHdr(SimPlant& p, Element e) {
  Events error;
  const auto id = IntAttr(e, "id", &error);
  return id ? Reply(p.EraseHdr(*id)) : error;
}

Events Failover(SimPlant& p, Element e) {
  Events error;
  const auto id = IntAttr(e, "id", &error);
  return id ? Reply(p.Failover(*id)) : error;
}

Events LogLevel(SimPlant& p, Element e) {
  Events error;
  const auto v = IntAttr(e, "value", &error);
  return v ? Reply(p.SetLogLevel(*v)) : error;
}

Events ResetLog(SimPlant& p, Element) { return Reply(p.ResetLog()); }

Events Urp(SimPlant& p, Element e) {
  Events error;
  const auto v = IntAttr(e, "value", &error);
  return v ? Reply(p.SetUrp(*v)) : error;
}

Events Rid(SimPlant& p, Element e) {
  Events error;
  const auto v = IntAttr(e, "value", &error);
  return v ? Reply(p.SetRid(*v)) : error;
}

Events Force(SimPlant& p, Element e) {
  Events error;
  const auto id = IntAttr(e, "id", &error);
  if (!id) {
    return error;
  }
  return Reply(p.ForceChannel(*id, Attr(e, "value"), Attr(e, "DataSource"),
                              Attr(e, "OscillationMin"), Attr(e, "OscillationMax"),
                              Attr(e, "OscillationPeriod")));
}

struct Entry {
  const char* action;
  Events (*handle)(SimPlant&, Element);
};

constexpr std::array<Entry, 17> Catalogue{{
    {"GetFullDeviceInfo", FullDevices},
    {"GetFullQueueInfo", FullQueues},
    {"GetFullBlockInfo", FullBlocks},
    {"GetIOSSettings", Settings},
    {"GetChannelConfigInfo", ChannelConfig},
    {"RefreshAllData", RefreshAll},
    {"ResetQCounters", ResetCounters},
    {"SetDeviceToRandomMode", RandomMode},
    {"SetDeviceIPAddress", IpAddress},
    {"SetDeviceClock", Clock},
    {"EraseHDRForDevice", EraseHdr},
    {"DoFailover", Failover},
    {"SetLogLevel", LogLevel},
    {"ResetLog", ResetLog},
    {"SetURP", Urp},
    {"SetRID", Rid},
    {"ForceChannelValue", Force},
}};

}  // namespace

QList<QByteArray> CommandDispatcher::Handle(const QByteArray& element) {
  const QString text = QString::fromLatin1(element);
  const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, text);
  const Element command = doc ? xml::SelectSingleNode(doc, "*") : nullptr;
  if (command == nullptr) {
    return Error(QStringLiteral("Malformed command ignored: %1").arg(TruncateForDisplay(text, 60)));
  }
  const QString name = QString::fromUtf8(reinterpret_cast<const char*>(command->name));
  if (name != QLatin1String("Command")) {
    return Error(QStringLiteral("Element <%1> is not a command; ignored").arg(name));
  }
  const QString action = Attr(command, "action");
  Events events = Dispatch(action, command);
  if (trace_) {
    events.prepend(MessageEventXml(
        SimMsgType::Trace,
        QStringLiteral("Trace: command %1 received").arg(TruncateForDisplay(action, 40))));
  }
  return events;
}

QList<QByteArray> CommandDispatcher::Dispatch(const QString& action, Element command) {
  for (const Entry& entry : Catalogue) {
    if (action == QLatin1String(entry.action)) {
      return entry.handle(plant_, command);
    }
  }
  if (action == QLatin1String("WriteToChannel")) {
    return Error(QStringLiteral("WriteToChannel is taken from the command table only; ignored"));
  }
  return Error(
      QStringLiteral("Unknown command action '%1' ignored").arg(TruncateForDisplay(action, 40)));
}

QList<QByteArray> CommandDispatcher::HandleJunk(const QByteArray& junk) const {
  return Error(QStringLiteral("Text outside any command ignored: %1")
                   .arg(TruncateForDisplay(QString::fromLatin1(junk), 60)));
}

}  // namespace telmon::iossim
