#pragma once

// Finds element boundaries in the command byte stream. Monitors send `Command` elements back to
// back with no separator, and one read may hold several elements, part of one, or both.

#include <QByteArray>

#include <vector>

namespace telmon::iossim {

struct FramedItem {
  enum class Kind {
    Element,  // one complete top-level element (its well-formedness is not checked here)
    Junk,     // bytes that cannot start an element, or an element that grew beyond the limit
  };
  Kind kind = Kind::Element;
  QByteArray text;
};

class CommandFramer {
 public:
  // An element still incomplete after `maxElementBytes` is given up as junk, so a peer that
  // never closes its element cannot make the buffer grow without bound.
  explicit CommandFramer(qsizetype maxElementBytes = qsizetype{64} * 1024);

  // Appends received bytes and returns every complete item, in stream order.
  std::vector<FramedItem> Feed(const QByteArray& bytes);
  qsizetype PendingBytes() const { return buffer_.size(); }

 private:
  // Length of the complete element at the start of the buffer, 0 while incomplete.
  qsizetype CompleteElementLength() const;

  QByteArray buffer_;
  qsizetype maxElementBytes_;
};

}  // namespace telmon::iossim
