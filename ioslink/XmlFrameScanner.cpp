#include "ioslink/XmlFrameScanner.h"

#include <cstring>

namespace telmon {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Characters XML 1.0 forbids everywhere; one of them makes every text that holds it fail.
bool IsForbiddenControl(char c) {
  const auto u = static_cast<unsigned char>(c);
  return u < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

const QByteArray& CommentOpen() {
  static const QByteArray s("--");
  return s;
}
const QByteArray& CDataOpen() {
  static const QByteArray s("[CDATA[");
  return s;
}

}  // namespace

void XmlFrameScanner::Reset() { *this = XmlFrameScanner(); }

bool XmlFrameScanner::CouldBeComplete() const {
  return !poisoned_ && lex_ == Lex::Content && open_.empty();
}

void XmlFrameScanner::DropPrefix(qsizetype count) {
  fed_ -= count;
  if (lastSlashGt_) {
    lastSlashGt_->end -= count;
    if (lastSlashGt_->end <= 0) {
      lastSlashGt_.reset();
    }
  }
  if (firstFailure_) {
    *firstFailure_ -= count;
  }
}

void XmlFrameScanner::Feed(const char* data, qsizetype size) {
  if (poisoned_) {
    // Nothing that holds this text can parse any more; only the place of the last "/>" still
    // matters to the caller.
    if (size == 0) {
      return;
    }
    qsizetype last = -1;
    if (prev_ == '/' && data[0] == '>') {
      last = 0;
    }
    for (qsizetype i = size - 1; i > 0; --i) {
      if (data[i] == '>' && data[i - 1] == '/') {
        last = i;
        break;
      }
    }
    if (last >= 0) {
      lastSlashGt_ = Mark{fed_ + last + 1, false};
    }
    fed_ += size;
    prev_ = data[size - 1];
    return;
  }
  for (qsizetype i = 0; i < size; ++i) {
    const char c = data[i];
    const bool slashGt = c == '>' && prev_ == '/';
    Step(c);
    prev_ = c;
    ++fed_;
    if (slashGt) {
      lastSlashGt_ = Mark{fed_, CouldBeComplete()};
    }
    if (poisoned_) {
      Feed(data + i + 1, size - i - 1);
      return;
    }
  }
}

void XmlFrameScanner::Step(char c) {
  if (IsForbiddenControl(c)) {
    Poison();
    return;
  }
  switch (lex_) {
    case Lex::Content:
      if (c == '<') {
        lex_ = Lex::TagOpen;
      }
      return;
    case Lex::TagOpen:
      name_.clear();
      if (c == '/') {
        lex_ = Lex::EndTagName;
      } else if (c == '!') {
        lex_ = Lex::Bang;
      } else if (c == '?') {
        lex_ = Lex::Pi;
      } else {
        lex_ = Lex::StartTagName;
        name_.append(c);
      }
      return;
    case Lex::Bang:
      StepBang(c);
      return;
    case Lex::Comment:
      if (c == '>' && run_ >= 2) {
        lex_ = Lex::Content;
      }
      run_ = c == '-' ? run_ + 1 : 0;
      return;
    case Lex::CData:
      if (c == '>' && run_ >= 2) {
        lex_ = Lex::Content;
      }
      run_ = c == ']' ? run_ + 1 : 0;
      return;
    case Lex::Pi:
      if (c == '>' && prev_ == '?') {
        lex_ = Lex::Content;
      }
      return;
    default:
      StepTag(c);
      return;
  }
}

void XmlFrameScanner::StepTag(char c) {
  switch (lex_) {
    case Lex::StartTagName:
      if (c == '>') {
        OpenElement();
      } else if (IsBlank(c) || c == '/') {
        lex_ = Lex::InStartTag;
      } else {
        name_.append(c);
      }
      return;
    case Lex::InStartTag:
      if (c == '"') {
        lex_ = Lex::AttrDouble;
      } else if (c == '\'') {
        lex_ = Lex::AttrSingle;
      } else if (c == '<') {
        Poison();
      } else if (c == '>') {
        if (prev_ == '/') {
          lex_ = Lex::Content;
        } else {
          OpenElement();
        }
      }
      return;
    case Lex::AttrDouble:
    case Lex::AttrSingle:
      if (c == '<') {
        Poison();
      } else if (c == (lex_ == Lex::AttrDouble ? '"' : '\'')) {
        lex_ = Lex::InStartTag;
      }
      return;
    case Lex::EndTagName:
      if (c == '>') {
        CloseElement();
      } else if (IsBlank(c)) {
        lex_ = Lex::InEndTag;
      } else {
        name_.append(c);
      }
      return;
    case Lex::InEndTag:
      if (c == '>') {
        CloseElement();
      } else if (!IsBlank(c)) {
        Poison();
      }
      return;
    default:
      return;
  }
}

void XmlFrameScanner::StepBang(char c) {
  // Inside an element "<!" can only open a comment or a CDATA section.
  name_.append(c);
  if (name_ == CommentOpen()) {
    lex_ = Lex::Comment;
    run_ = 0;
  } else if (name_ == CDataOpen()) {
    lex_ = Lex::CData;
    run_ = 0;
  } else if (!CommentOpen().startsWith(name_) && !CDataOpen().startsWith(name_)) {
    Poison();
  }
}

void XmlFrameScanner::OpenElement() {
  open_.push_back(name_);
  lex_ = Lex::Content;
}

void XmlFrameScanner::CloseElement() {
  lex_ = Lex::Content;
  if (open_.empty() || open_.back() != name_) {
    Poison();
    return;
  }
  open_.pop_back();
}

}  // namespace telmon
