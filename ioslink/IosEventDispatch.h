#pragma once

// Routing of parsed IOS events to their handlers by the exact, case-sensitive "eventtype".

#include "ioslink/IosEventHandlers.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <chrono>
#include <cstddef>
#include <vector>

namespace telmon {

// Visits every Event element of the document in document order. Unknown types are reported
// (TELM-0033) and skipped; an exception from a handler ends the visit and propagates, so the
// caller reports it and the remaining events of the arrival are dropped. `handlers` may be
// null (events are then only checked for their type).
void DispatchEvents(const xml::XmlDocument& doc, IIosEventHandlers* handlers, IRaiseMsg& sink);

// The events of one parsed arrival, dispatched as DispatchEvents does, but a slice at a time
// when a deadline comes first, so that a large arrival does not hold the window up.
class EventBatch {
 public:
  using Clock = std::chrono::steady_clock;

  explicit EventBatch(xml::XmlDocument doc);

  // Dispatches the next events until none is left or `deadline` has passed (looked at after each
  // event, so at least one goes); true when none is left. After the last event of a batch that
  // held a channel configuration update, OnChannelConfigBurstEnd follows once. A handler's
  // exception passes through, and the batch is then to be dropped.
  bool DispatchUntil(IIosEventHandlers* handlers, IRaiseMsg& sink, Clock::time_point deadline);
  std::size_t Remaining() const { return events_.size() - next_; }

 private:
  xml::XmlDocument doc_;
  std::vector<xml::XmlElement> events_;
  std::size_t next_ = 0;
  bool channelConfigChanged_ = false;
};

// A "Message" event: the text of "Desc" (ignored when empty) with the type of "MsgType"
// (4 when missing or not a 32-bit number). A failure of the handler drops this event only.
void HandleMessageEvent(xml::XmlElement event, IIosEventHandlers* handlers);

}  // namespace telmon
