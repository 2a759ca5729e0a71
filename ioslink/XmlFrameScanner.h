#pragma once

// Incremental structure scanner for the receive buffer.
//
// The IOS stream has no framing, so the receive buffer tries to parse everything received so
// far on every arrival. Parsing a large event that arrives in many pieces that way costs the
// square of its size. The scanner follows the tag structure byte by byte, once per byte, and
// answers one question cheaply: can this text (or the text up to its last "/>") possibly be a
// well-formed fragment? It is exact on well-formed input, so "no" is always right and the
// parser is only asked when the answer is "maybe". It never decides that text parses; the
// XML parser stays the only judge of that.

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace telmon {

class XmlFrameScanner {
 public:
  // Scanner state at one position of the text.
  struct Mark {
    qsizetype end = 0;  // number of bytes before the position
    bool couldBeComplete = false;
  };

  void Reset();
  void Feed(const char* data, qsizetype size);
  // The text fed so far could be a complete fragment.
  bool CouldBeComplete() const;
  // The position just after the last "/>" fed so far, if any.
  const std::optional<Mark>& LastSlashGt() const { return lastSlashGt_; }
  // The first `count` bytes were taken off the front of the text; they ended where the scanner
  // state is that of empty text, so only positions move.
  void DropPrefix(qsizetype count);
  // Index of the first byte that no well-formed text can hold where it is, once one was fed.
  std::optional<qsizetype> FirstFailure() const { return firstFailure_; }

 private:
  enum class Lex : std::uint8_t {
    Content,
    TagOpen,
    StartTagName,
    InStartTag,
    AttrDouble,
    AttrSingle,
    EndTagName,
    InEndTag,
    Bang,
    Comment,
    CData,
    Pi,
  };

  void Step(char c);
  void StepTag(char c);
  void StepBang(char c);
  void OpenElement();
  void CloseElement();
  void Poison() {
    poisoned_ = true;
    firstFailure_ = fed_;
  }

  Lex lex_ = Lex::Content;
  bool poisoned_ = false;
  char prev_ = '\0';
  int run_ = 0;  // consecutive '-' in a comment, ']' in a CDATA section
  qsizetype fed_ = 0;
  QByteArray name_;  // name of the tag being read, or what follows "<!"
  std::vector<QByteArray> open_;
  std::optional<Mark> lastSlashGt_;
  std::optional<qsizetype> firstFailure_;
};

}  // namespace telmon
