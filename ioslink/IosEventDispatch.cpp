#include "ioslink/IosEventDispatch.h"

#include "ioslink/IosCommands.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"

#include <utility>

namespace telmon {

namespace {

using namespace IosCommands;

constexpr int EventXmlShown = 50;

bool Is(const QByteArray& type, const char* name) { return type == name; }

// Stands in when nobody listens, so that routing and the unknown-type report stay the same.
struct NoHandlers final : IIosEventHandlers {
  void OnDeviceUpdate(xml::XmlElement) override {}
  void OnQueueUpdate(xml::XmlElement) override {}
  void OnBlockUpdate(xml::XmlElement) override {}
  void OnChannelConfigFullUpdate() override {}
  void OnChannelConfigUpdate(xml::XmlElement) override {}
  void OnChannelConfigBurstEnd() override {}
  void OnIOSSettingsUpdate(xml::XmlElement) override {}
  void OnMessageEvent(std::int32_t, const QString&) override {}
};

// Returns false for an unrecognized type.
bool Route(const QByteArray& type, xml::XmlElement event, IIosEventHandlers& h,
           bool& channelConfigChanged) {
  if (Is(type, EventType::Message)) {
    HandleMessageEvent(event, &h);
  } else if (Is(type, EventType::QUpdate)) {
    h.OnQueueUpdate(event);
  } else if (Is(type, EventType::BlockUpdate)) {
    h.OnBlockUpdate(event);
  } else if (Is(type, EventType::DeviceUpdate)) {
    h.OnDeviceUpdate(event);
  } else if (Is(type, EventType::ChannelConfigFullUpdate)) {
    h.OnChannelConfigFullUpdate();
  } else if (Is(type, EventType::ChannelConfigUpdate)) {
    channelConfigChanged = true;
    h.OnChannelConfigUpdate(event);
  } else if (Is(type, EventType::IOSSettingsUpdate)) {
    h.OnIOSSettingsUpdate(event);
  } else {
    return false;
  }
  return true;
}

void DispatchOne(xml::XmlElement event, IIosEventHandlers& h, IRaiseMsg& sink,
                 bool& channelConfigChanged) {
  const QByteArray type = xml::GetAttributeText(event, EventAttribute::EventTypeName).toUtf8();
  if (!Route(type, event, h, channelConfigChanged)) {
    sink.RaiseMsg(MsgType::UnknownEvent,
                  QStringLiteral("TELM-0033: Unrecognized eventtype from IOS. (XML=") +
                      TruncateForDisplay(xml::NodeXml(event), EventXmlShown) + QLatin1Char(')'));
  }
}

}  // namespace

void DispatchEvents(const xml::XmlDocument& doc, IIosEventHandlers* handlers, IRaiseMsg& sink) {
  NoHandlers none;
  IIosEventHandlers& h = handlers != nullptr ? *handlers : none;
  bool channelConfigChanged = false;
  for (xml::XmlElement event : xml::SelectNodes(doc, "//Event")) {
    DispatchOne(event, h, sink, channelConfigChanged);
  }
  if (channelConfigChanged) {
    h.OnChannelConfigBurstEnd();
  }
}

EventBatch::EventBatch(xml::XmlDocument doc)
    : doc_(std::move(doc)), events_(xml::SelectNodes(doc_, "//Event")) {}

bool EventBatch::DispatchUntil(IIosEventHandlers* handlers, IRaiseMsg& sink,
                               Clock::time_point deadline) {
  NoHandlers none;
  IIosEventHandlers& h = handlers != nullptr ? *handlers : none;
  while (next_ < events_.size()) {
    DispatchOne(events_[next_++], h, sink, channelConfigChanged_);
    if (next_ < events_.size() && Clock::now() >= deadline) {
      return false;
    }
  }
  if (channelConfigChanged_) {
    channelConfigChanged_ = false;
    h.OnChannelConfigBurstEnd();
  }
  return true;
}

void HandleMessageEvent(xml::XmlElement event, IIosEventHandlers* handlers) {
  try {
    const QString text = xml::GetAttributeText(event, EventAttribute::Desc);
    if (text.isEmpty() || handlers == nullptr) {
      return;
    }
    const std::int32_t type =
        ToInt32(xml::GetAttributeText(event, EventAttribute::MsgType)).value_or(MsgType::Error);
    handlers->OnMessageEvent(type, text);
  } catch (...) {
    // The messages window is where this would be reported; a failure there drops the one
    // message and dispatch goes on.
  }
}

}  // namespace telmon
