#pragma once

// Receivers of the events the IOS sends, one operation per event type. The main window routes
// them to the device, queue and block managers, the channel configuration collection, the
// settings page and the messages window. A handler reports a failure by throwing HandlerError
// (ioslink/IosErrors.h); the element is valid only during the call.

#include "util/UtilityXMLDOMFunctions.h"

#include <QString>

#include <cstdint>

namespace telmon {

class IIosEventHandlers {
 public:
  virtual ~IIosEventHandlers() = default;
  virtual void OnDeviceUpdate(xml::XmlElement event) = 0;
  virtual void OnQueueUpdate(xml::XmlElement event) = 0;
  virtual void OnBlockUpdate(xml::XmlElement event) = 0;
  // The IOS is about to send the whole channel configuration again.
  virtual void OnChannelConfigFullUpdate() = 0;
  virtual void OnChannelConfigUpdate(xml::XmlElement event) = 0;
  // Called once after the last event of an arrival that held any channel configuration
  // update, so that a burst redraws the channel view once.
  virtual void OnChannelConfigBurstEnd() = 0;
  virtual void OnIOSSettingsUpdate(xml::XmlElement event) = 0;
  // A "Message" event with non-empty text; goes to the messages window as it is.
  virtual void OnMessageEvent(std::int32_t msgType, const QString& text) = 0;
};

}  // namespace telmon
