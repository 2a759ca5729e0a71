#include "iossim/CommandFramer.h"

namespace telmon::iossim {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0'; }

// Index of the '>' that ends the tag starting at `from` (which holds '<'), skipping quoted
// attribute values; -1 while the tag is incomplete.
qsizetype TagEnd(const QByteArray& b, qsizetype from) {
  char quote = 0;
  for (qsizetype i = from + 1; i < b.size(); ++i) {
    const char c = b[i];
    if (quote != 0) {
      if (c == quote) {
        quote = 0;
      }
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return i;
    }
  }
  return -1;
}

QByteArray TagName(const QByteArray& b) {
  qsizetype i = 1;
  while (i < b.size() && !IsBlank(b[i]) && b[i] != '>' && b[i] != '/') {
    ++i;
  }
  return b.mid(1, i - 1);
}

}  // namespace

CommandFramer::CommandFramer(qsizetype maxElementBytes) : maxElementBytes_(maxElementBytes) {}

qsizetype CommandFramer::CompleteElementLength() const {
  const qsizetype end = TagEnd(buffer_, 0);
  if (end < 0) {
    return 0;
  }
  const bool selfClosing = end > 0 && buffer_[end - 1] == '/';
  const char second = buffer_.size() > 1 ? buffer_[1] : 0;
  if (selfClosing || second == '/' || second == '?' || second == '!') {
    return end + 1;  // empty element, or a tag that is reported as it stands
  }
  // An element with content ends at its matching end tag (nesting of the same name is not a
  // form any monitor sends).
  const QByteArray closeTag = "</" + TagName(buffer_);
  qsizetype at = buffer_.indexOf(closeTag, end + 1);
  while (at >= 0) {
    const qsizetype closeEnd = TagEnd(buffer_, at);
    if (closeEnd < 0) {
      return 0;
    }
    const QByteArray between = buffer_.mid(at + closeTag.size(), closeEnd - at - closeTag.size());
    if (between.trimmed().isEmpty()) {
      return closeEnd + 1;
    }
    at = buffer_.indexOf(closeTag, closeEnd + 1);
  }
  return 0;
}

std::vector<FramedItem> CommandFramer::Feed(const QByteArray& bytes) {
  buffer_.append(bytes);
  std::vector<FramedItem> items;
  for (;;) {
    qsizetype skip = 0;
    while (skip < buffer_.size() && IsBlank(buffer_[skip])) {
      ++skip;
    }
    buffer_.remove(0, skip);
    if (buffer_.isEmpty()) {
      break;
    }
    if (buffer_[0] != '<') {
      qsizetype next = buffer_.indexOf('<');
      if (next < 0) {
        next = buffer_.size();
      }
      items.push_back({FramedItem::Kind::Junk, buffer_.left(next)});
      buffer_.remove(0, next);
      continue;
    }
    const qsizetype length = CompleteElementLength();
    if (length == 0) {
      if (buffer_.size() > maxElementBytes_) {
        items.push_back({FramedItem::Kind::Junk, buffer_});
        buffer_.clear();
      }
      break;
    }
    items.push_back({FramedItem::Kind::Element, buffer_.left(length)});
    buffer_.remove(0, length);
  }
  return items;
}

}  // namespace telmon::iossim
