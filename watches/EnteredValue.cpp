#include "watches/EnteredValue.h"

#include "ioslink/IosCommands.h"
#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"

namespace telmon {

namespace {

TelmonError OverflowError() { return {ErrorNumber::Overflow, QStringLiteral("Overflow")}; }

bool HasHexPrefix(const QString& text) {
  return text.startsWith(QStringLiteral("&H"), Qt::CaseInsensitive);
}

// Digits right after "&H" (blanks may follow them, none may come first) that are all
// hexadecimal: such a text fails only by its size.
bool HexDigitsOnly(const QString& text) {
  QString digits = text.mid(2);
  while (!digits.isEmpty() && digits.back().isSpace()) {
    digits.chop(1);
  }
  if (digits.isEmpty()) {
    return false;
  }
  for (const QChar c : digits) {
    if (!c.isDigit() && (c.toUpper() < QLatin1Char('A') || c.toUpper() > QLatin1Char('F'))) {
      return false;
    }
  }
  return true;
}

Value HexValue(const QString& text, HexWidth width) {
  std::optional<std::int64_t> value;
  if (width == HexWidth::Bits16) {
    if (const auto v = ToInt16(text)) {
      value = *v;
    }
  } else if (const auto v = ToInt32(text)) {
    value = *v;
  }
  if (!value) {
    throw HexDigitsOnly(text) ? OverflowError() : TelmonError::TypeMismatch();
  }
  return Value(*value);
}

}  // namespace

Decimal DecimalFromText(const QString& text) {
  if (auto decimal = Decimal::Parse(text)) {
    return *decimal;
  }
  if (HasHexPrefix(text.trimmed()) ||
      text.trimmed().startsWith(QStringLiteral("&O"), Qt::CaseInsensitive)) {
    if (const auto integer = ToInt32(text)) {
      return Decimal(static_cast<std::int64_t>(*integer));
    }
    throw HexDigitsOnly(text.trimmed()) ? OverflowError() : TelmonError::TypeMismatch();
  }
  throw IsNumeric(text) ? OverflowError() : TelmonError::TypeMismatch();
}

Value DecideEnteredValue(bool nullChecked, const QString& text, HexWidth width) {
  if (nullChecked) {
    return Value::Null();
  }
  if (HasHexPrefix(text)) {
    return HexValue(text, width);
  }
  if (IsNumeric(text)) {
    return Value(DecimalFromText(text));
  }
  if (!IosCommands::CanCarryInAttribute(text)) {
    throw TelmonError(ErrorNumber::InvalidArgument,
                      QStringLiteral("The value holds control characters that cannot be sent"));
  }
  // TAB and line breaks reach the server as blanks whichever way they are written; the value is
  // what it will read, so the record, the command and the journal all agree.
  return Value(IosCommands::AttributeValueAsParsed(text));
}

bool IsValueGiven(const Value& value) {
  if (value.IsNull()) {
    return true;
  }
  if (value.IsEmpty()) {
    return false;
  }
  return !value.ToText().trimmed().isEmpty();
}

}  // namespace telmon
