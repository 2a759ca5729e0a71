#pragma once

// The framing rule of the receive buffer written out directly, without its shortcuts: parse
// everything; else parse up to the last "/>"; else keep everything. The buffer must agree with
// it on any input.

#include "ioslink/IosReceiveBuffer.h"

#include <QByteArray>
#include <QString>

namespace telmon {

class PlainFraming {
 public:
  xml::XmlDocument Append(const QByteArray& chunk) {
    const QByteArray text = pending_ + chunk;
    pending_.clear();
    if (xml::XmlDocument doc = ParseLatin1Fragment(text)) {
      return doc;
    }
    const qsizetype at = text.lastIndexOf("/>");
    const QByteArray prefix = text.left(at < 0 ? 1 : at + 2);
    if (xml::XmlDocument doc = ParseLatin1Fragment(prefix)) {
      pending_ = text.mid(prefix.size());
      return doc;
    }
    pending_ = text;
    return nullptr;
  }
  const QByteArray& Pending() const { return pending_; }

 private:
  QByteArray pending_;
};

// A parsed arrival as text, for comparing two of them.
inline QString Describe(const xml::XmlDocument& doc) {
  return doc ? xml::NodeXml(xml::DocumentElement(doc)) : QStringLiteral("(none)");
}

}  // namespace telmon
