#include "util/UtilityFunctions.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"

namespace telmon {

namespace {

bool IsZeroNumber(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Integer:
      return value.integer() == 0;
    case Value::Kind::Floating:
      return value.floating() == 0.0;
    case Value::Kind::Decimal:
      return value.decimal().IsZero();
    case Value::Kind::Boolean:
      return !value.boolean();
    case Value::Kind::Text: {
      const auto d = ToDouble(value.text());
      return d && *d == 0.0;
    }
    default:
      return false;
  }
}

bool IsZeroDateTime(const Value& value) {
  if (value.kind() == Value::Kind::DateTime) {
    return value.dateTime() == ZeroDateTime();
  }
  if (value.kind() == Value::Kind::Text) {
    const auto dt = ToDateTime(value.text());
    return dt && *dt == ZeroDateTime();
  }
  return false;
}

QString WithoutTimeZone(QString format) {
  format.remove(QLatin1Char('t'));
  return format.trimmed();
}

QString WithoutSeconds(QString format) {
  format.remove(QStringLiteral(":ss"));
  format.remove(QStringLiteral(":s"));
  return format;
}

// Styles other than the fixed ones follow the clock style of the long time format.
QString ClockStyleFormat(const QDateTime& value, int style, const DateTimeFormats& formats,
                         bool& oneDigitHour) {
  const QString longText = formats.locale.toString(value, formats.longTime);
  const QString upper = longText.toUpper();
  const bool twelveHour = upper.contains(QLatin1Char('P')) || upper.contains(QLatin1Char('A'));
  oneDigitHour = !IsNumeric(longText.left(2));
  if (style == 2 || style == 12) {
    if (twelveHour) {
      return oneDigitHour ? QStringLiteral("h AP") : QStringLiteral("hh AP");
    }
    return oneDigitHour ? QStringLiteral("H") : QStringLiteral("HH");
  }
  return twelveHour ? formats.mediumTime : formats.shortTime;
}

}  // namespace

QString TruncateForDisplay(const QString& text, int n) {
  if (text.size() > n) {
    return text.left(n) + QStringLiteral("...");
  }
  return text;
}

QString EscapeXmlText(const QString& text) {
  QString s = text;
  s.replace(QLatin1Char('&'), QLatin1String("&amp;"));
  s.replace(QLatin1Char('<'), QLatin1String("&lt;"));
  s.replace(QLatin1Char('>'), QLatin1String("&gt;"));
  s.replace(QLatin1Char('"'), QLatin1String("&quot;"));
  s.replace(QChar(0x00B0), QLatin1String("&#176;"));
  return s;
}

std::optional<QString> FindDahsIdSwitch(const QStringList& arguments) {
  static const QString sw = QStringLiteral("/DAHSID=");
  for (const QString& arg : arguments) {
    if (arg.startsWith(sw, Qt::CaseInsensitive)) {
      return arg.mid(sw.size());
    }
  }
  return std::nullopt;
}

std::int32_t DahsIdFromSwitchText(const QString& text) {
  if (const auto id = ToInt32(text)) {
    return *id;
  }
  if (IsNumeric(text)) {
    throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
  }
  throw TelmonError::TypeMismatch();
}

std::int32_t ReadDahsIdSwitch(const QStringList& arguments) {
  const auto text = FindDahsIdSwitch(arguments);
  return text ? DahsIdFromSwitchText(*text) : 0;
}

QDateTime Now() { return QDateTime::currentDateTime(); }

QDateTime Now(const IClock& clock) { return clock.Now(); }

Value NullIfZeroOrEmpty(const Value& value) {
  if (value.IsEmpty() || IsZeroNumber(value) || IsZeroDateTime(value)) {
    return Value::Null();
  }
  if (value.kind() == Value::Kind::Text && value.text().isEmpty()) {
    return Value::Null();
  }
  return value;
}

Value NullToEmpty(const Value& value) { return value.IsNull() ? Value() : value; }

DateTimeFormats DateTimeFormats::FromLocale(const QLocale& locale) {
  DateTimeFormats f;
  f.locale = locale;
  f.longTime = WithoutTimeZone(locale.timeFormat(QLocale::LongFormat));
  f.shortTime = WithoutSeconds(f.longTime);
  f.mediumTime = QStringLiteral("hh:mm AP");
  f.shortDate = locale.dateFormat(QLocale::ShortFormat);
  return f;
}

QString FormatDateTimeStyle(const QDateTime& value, int style, const DateTimeFormats& formats) {
  QString format;
  bool oneDigitHour = false;
  bool clockStyle = false;
  switch (style) {
    case -3:
    case 1:
    case 11:
      format = formats.longTime;
      break;
    case -2:
      format = formats.mediumTime;
      break;
    case -1:
      format = formats.shortTime;
      break;
    case 13:
      format = formats.shortDate;
      break;
    default:
      format = ClockStyleFormat(value, style, formats, oneDigitHour);
      clockStyle = true;
  }
  QString text = formats.locale.toString(value, format);
  if (clockStyle && oneDigitHour && text.startsWith(QLatin1Char('0'))) {
    text.remove(0, 1);
  }
  if (style == 10 || style == 11 || style == 12) {
    text = formats.locale.toString(value, formats.shortDate) + QLatin1Char(' ') + text;
  }
  return text;
}

QString FormatDateTimeStyle(const QDateTime& value, int style) {
  return FormatDateTimeStyle(value, style, DateTimeFormats::FromLocale(QLocale::system()));
}

QDateTime RoundDownToPeriod(const QDateTime& value, std::int64_t periodSeconds) {
  if (periodSeconds <= 0) {
    return value;
  }
  const QTime t = value.time();
  const std::int64_t seconds = t.hour() * 3600 + t.minute() * 60 + t.second();
  const std::int64_t rounded = seconds / periodSeconds * periodSeconds;
  // Wall-clock arithmetic within the day, so a daylight-saving change does not shift it.
  QDateTime result = value;
  result.setTime(QTime::fromMSecsSinceStartOfDay(static_cast<int>(rounded * 1000)));
  return result;
}

}  // namespace telmon
