#pragma once

// Routing of parsed IOS events to their handlers by the exact, case-sensitive "eventtype".

#include "ioslink/IosEventHandlers.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityXMLDOMFunctions.h"

namespace telmon {

// Visits every Event element of the document in document order. Unknown types are reported
// (TELM-0033) and skipped; an exception from a handler ends the visit and propagates, so the
// caller reports it and the remaining events of the arrival are dropped. `handlers` may be
// null (events are then only checked for their type).
void DispatchEvents(const xml::XmlDocument& doc, IIosEventHandlers* handlers, IRaiseMsg& sink);

// A "Message" event: the text of "Desc" (ignored when empty) with the type of "MsgType"
// (4 when missing or not a 32-bit number). A failure of the handler drops this event only.
void HandleMessageEvent(xml::XmlElement event, IIosEventHandlers* handlers);

}  // namespace telmon
