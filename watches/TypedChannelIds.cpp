#include "watches/TypedChannelIds.h"

#include "util/TextConversionFunctions.h"

#include <optional>

namespace telmon {

namespace {

// One "first-last" range with its ends as text, as the unit repeats rewrite them.
struct RangeText {
  QString first;
  QString last;
};

struct Piece {
  RangeText ends;
  bool unit = false;
};

struct Range {
  std::int32_t first = 0;
  std::int32_t last = 0;
  std::int64_t Size() const {
    const std::int64_t span = static_cast<std::int64_t>(last) - first;
    return (span < 0 ? -span : span) + 1;
  }
};

QString TrimTrailingBlanks(const QString& text) {
  qsizetype end = text.size();
  while (end > 0 && text.at(end - 1) == QLatin1Char(' ')) {
    --end;
  }
  return text.left(end);
}

QString TrimLeadingBlanks(const QString& text) {
  qsizetype begin = 0;
  while (begin < text.size() && text.at(begin) == QLatin1Char(' ')) {
    ++begin;
  }
  return text.mid(begin);
}

// An end beginning with "u" or "U" stands for unit 1.
bool ReplaceUnitLetter(QString& end) {
  if (end.startsWith(QLatin1Char('u'), Qt::CaseInsensitive)) {
    end[0] = QLatin1Char('1');
    return true;
  }
  return false;
}

Piece SplitPiece(const QString& piece) {
  Piece result;
  const qsizetype dash = piece.indexOf(QLatin1Char('-'));
  if (dash < 0) {
    result.ends = {piece, piece};
  } else {
    result.ends = {TrimTrailingBlanks(piece.left(dash)), TrimLeadingBlanks(piece.mid(dash + 1))};
  }
  const bool firstUnit = ReplaceUnitLetter(result.ends.first);
  const bool lastUnit = ReplaceUnitLetter(result.ends.last);
  result.unit = firstUnit || lastUnit;
  return result;
}

enum class EndResult { Ok, BelowOne, Overflow };

// Non-numeric text counts as 0; numeric text that does not fit 32 bits overflows.
EndResult ConvertEnd(const QString& text, std::int32_t& value) {
  value = 0;
  if (IsNumeric(text)) {
    const std::optional<std::int32_t> converted = ToInt32(text);
    if (!converted) {
      return EndResult::Overflow;
    }
    value = *converted;
  }
  return value < 1 ? EndResult::BelowOne : EndResult::Ok;
}

EndResult ConvertRange(const RangeText& ends, Range& range) {
  const EndResult first = ConvertEnd(ends.first, range.first);
  if (first == EndResult::Overflow) {
    return first;
  }
  const EndResult last = ConvertEnd(ends.last, range.last);
  if (last != EndResult::Ok) {
    return last;
  }
  return first;
}

// The first digit of an end becomes the unit digit; a sign or a blank before it stays.
void ReplaceFirstDigit(QString& end, char digit) {
  for (QChar& c : end) {
    if (c >= QLatin1Char('0') && c <= QLatin1Char('9')) {
      c = QLatin1Char(digit);
      return;
    }
  }
}

// The ranges a piece names: its own, then for a unit piece the same with the first digit of
// both ends replaced by each unit digit 2 to 9.
EndResult PieceRanges(const Piece& piece, std::vector<Range>& ranges) {
  Range range;
  EndResult result = ConvertRange(piece.ends, range);
  if (result != EndResult::Ok) {
    return result;
  }
  ranges.push_back(range);
  if (!piece.unit) {
    return EndResult::Ok;
  }
  for (char digit = '2'; digit <= '9'; ++digit) {
    RangeText ends = piece.ends;
    ReplaceFirstDigit(ends.first, digit);
    ReplaceFirstDigit(ends.last, digit);
    result = ConvertRange(ends, range);
    if (result != EndResult::Ok) {
      return result;
    }
    ranges.push_back(range);
  }
  return EndResult::Ok;
}

void AppendRange(const Range& range, std::vector<std::int32_t>& ids) {
  const std::int32_t step = range.first <= range.last ? 1 : -1;
  for (std::int32_t id = range.first;; id += step) {
    ids.push_back(id);
    if (id == range.last) {
      break;
    }
  }
}

}  // namespace

QString TrimBlanks(const QString& text) { return TrimLeadingBlanks(TrimTrailingBlanks(text)); }

TypedChannelIds ParseTypedChannelIds(const QString& text, std::int64_t maxIds) {
  TypedChannelIds result;
  std::vector<Range> ranges;
  for (const QString& rawPiece : TrimBlanks(text).split(QLatin1Char(','))) {
    const QString piece = TrimBlanks(rawPiece);
    switch (PieceRanges(SplitPiece(piece), ranges)) {
      case EndResult::Ok:
        break;
      case EndResult::BelowOne:
        result.status = TypedChannelIds::Status::Invalid;
        result.invalidPiece = piece;
        return result;
      case EndResult::Overflow:
        result.status = TypedChannelIds::Status::Overflow;
        return result;
    }
  }
  for (const Range& range : ranges) {
    result.count += range.Size();
  }
  if (result.count > maxIds) {
    result.status = TypedChannelIds::Status::TooMany;
    return result;
  }
  result.ids.reserve(static_cast<std::size_t>(result.count));
  for (const Range& range : ranges) {
    AppendRange(range, result.ids);
  }
  return result;
}

}  // namespace telmon
