#pragma once

// Receive buffer and framing of the IOS event stream. The stream carries no framing: events
// are delimited by their XML structure only, and one arrival may hold several events, a part
// of one, or both. Every arrival is appended to what is pending and the whole is parsed as a
// fragment; when that fails, the text up to its last "/>" is tried, and what follows it waits
// for the next arrival. A split is therefore resumed only after an empty-element end; an event
// with children is parsed once all of it has arrived. The pending text has no size limit and
// is dropped only by Clear (connecting, connected, closed by the server).

#include "ioslink/XmlFrameScanner.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <QByteArray>

namespace telmon {

class IosReceiveBuffer {
 public:
  // Appends the received bytes (Latin-1) and returns the document parsed from the pending
  // text, or null when nothing parses yet (the text is then kept).
  xml::XmlDocument Append(const QByteArray& latin1);
  void Clear();
  qsizetype PendingSize() const { return pending_.size(); }
  const QByteArray& Pending() const { return pending_; }

 private:
  QByteArray pending_;
  XmlFrameScanner scanner_;
};

// Parses Latin-1 text as a fragment wrapped in one synthetic root element.
xml::XmlDocument ParseLatin1Fragment(QByteArrayView latin1);

}  // namespace telmon
