#pragma once

// Receive buffer and framing of the IOS event stream. The stream carries no framing: events
// are delimited by their XML structure only, and one arrival may hold several events, a part
// of one, or both. Every arrival is appended to what is pending and the whole is parsed as a
// fragment; when that fails, the text up to its last "/>" is tried, and what follows it waits
// for the next arrival. A split is therefore resumed only after an empty-element end; an event
// with children is parsed once all of it has arrived. Append alone never drops pending text;
// Clear does (connecting, connected, closed by the server).
//
// Text that can never parse (an attribute quote that never closes, say) would otherwise make
// every later arrival fail and the pending text grow without end. Resynchronise is the safety
// valve for that: once more than a cap of bytes is pending, it drops the text up to the next
// "<Event" that begins at or after the first byte known to fail, and parses the rest.

#include "ioslink/XmlFrameScanner.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <QByteArray>

#include <optional>

namespace telmon {

class IosReceiveBuffer {
 public:
  // Appends the received bytes (Latin-1) and returns the document parsed from the pending
  // text, or null when nothing parses yet (the text is then kept).
  xml::XmlDocument Append(const QByteArray& latin1);
  void Clear();

  struct Resync {
    qsizetype unparsedBytes = 0;  // pending before the drop
    qsizetype droppedBytes = 0;
    xml::XmlDocument doc;  // what the rest parsed to, if anything
  };
  // Nothing when `cap` is 0 or less or no more than `cap` bytes are pending. Otherwise drops the
  // pending text up to the next "<Event" that begins at or after the first byte no well-formed
  // text can hold there (after the first byte when no such byte is known: the first element
  // then goes), and parses what is left as Append does.
  std::optional<Resync> Resynchronise(qsizetype cap);
  qsizetype PendingSize() const { return pending_.size(); }
  const QByteArray& Pending() const { return pending_; }

 private:
  xml::XmlDocument Parse();

  QByteArray pending_;
  XmlFrameScanner scanner_;
};

// Parses Latin-1 text as a fragment wrapped in one synthetic root element.
xml::XmlDocument ParseLatin1Fragment(QByteArrayView latin1);

}  // namespace telmon
