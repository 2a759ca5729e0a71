#include "ioslink/IosReceiveBuffer.h"

#include <QString>

#include <algorithm>

namespace telmon {

namespace {

bool IsAscii(QByteArrayView text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

xml::XmlDocument ParseLatin1Fragment(QByteArrayView latin1) {
  // Event text is almost always plain ASCII, which is already UTF-8.
  if (IsAscii(latin1)) {
    return xml::ParseXmlFragmentUtf8(latin1.toByteArray());
  }
  return xml::ParseXmlFragmentUtf8(QString::fromLatin1(latin1).toUtf8());
}

xml::XmlDocument IosReceiveBuffer::Append(const QByteArray& latin1) {
  pending_.append(latin1);
  scanner_.Feed(latin1.constData(), latin1.size());
  return Parse();
}

xml::XmlDocument IosReceiveBuffer::Parse() {
  if (scanner_.CouldBeComplete()) {
    if (xml::XmlDocument doc = ParseLatin1Fragment(pending_)) {
      Clear();
      return doc;
    }
  }

  // Without any "/>" the prefix is the first character alone, which can only parse as text.
  qsizetype prefix = std::min<qsizetype>(1, pending_.size());
  bool couldParse = prefix == 1 && pending_[0] != '<' && pending_[0] != '&';
  if (const auto& mark = scanner_.LastSlashGt()) {
    prefix = mark->end;
    couldParse = mark->couldBeComplete;
  }
  // The whole text was tried above already.
  if (couldParse && prefix < pending_.size()) {
    if (xml::XmlDocument doc = ParseLatin1Fragment(QByteArrayView(pending_).first(prefix))) {
      pending_.remove(0, prefix);
      scanner_.DropPrefix(prefix);
      return doc;
    }
  }
  return nullptr;
}

std::optional<IosReceiveBuffer::Resync> IosReceiveBuffer::Resynchronise(qsizetype cap) {
  if (cap <= 0 || pending_.size() <= cap) {
    return std::nullopt;
  }
  static const QByteArray eventStart("<Event");
  Resync resync;
  resync.unparsedBytes = pending_.size();
  const qsizetype from = std::max<qsizetype>(1, scanner_.FirstFailure().value_or(0));
  qsizetype next = pending_.indexOf(eventStart, from);
  if (next < 0) {
    // Keep a tag that may be the start of the next event, cut by the arrival.
    const qsizetype lastOpen = pending_.lastIndexOf('<');
    next = lastOpen >= from && eventStart.startsWith(QByteArrayView(pending_).sliced(lastOpen))
               ? lastOpen
               : pending_.size();
  }
  QByteArray rest = pending_.sliced(next);
  resync.droppedBytes = next;
  Clear();
  if (!rest.isEmpty()) {
    resync.doc = Append(rest);
  }
  return resync;
}

void IosReceiveBuffer::Clear() {
  pending_.clear();
  scanner_.Reset();
}

}  // namespace telmon
