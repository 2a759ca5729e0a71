#include "ioslink/IosCommands.h"

#include "util/UtilityFunctions.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <initializer_list>
#include <utility>

namespace telmon::IosCommands {

namespace {

constexpr char SpacedEnd[] = " />";
constexpr char TightEnd[] = "/>";

using Attribute = std::pair<const char*, QString>;

// Opening text, action, each attribute as ` name="value"` in order, then the ending.
QString Build(const char* action, std::initializer_list<Attribute> attributes, const char* ending) {
  QString s = QStringLiteral("<Command action=\"") + QLatin1String(action) + QLatin1Char('"');
  for (const auto& [name, value] : attributes) {
    s += QLatin1Char(' ') + QLatin1String(name) + QStringLiteral("=\"") + value + QLatin1Char('"');
  }
  return s + QLatin1String(ending);
}

QString Id(std::int32_t id) { return QString::number(id); }

// Markup characters as entities, so that a typed quote or "<" cannot end the attribute or the
// element; characters beyond the single-byte encoding of the link as character references, so
// that the socket carries the same value as the command table; TAB, CR and LF as the blanks the
// server's attribute normalization makes of them.
QString EscapedAttribute(const QString& text) {
  const QString value = AttributeValueAsParsed(text);
  QString out;
  out.reserve(value.size());
  for (qsizetype i = 0; i < value.size(); ++i) {
    const QChar c = value[i];
    switch (c.unicode()) {
      case '&':
        out += QStringLiteral("&amp;");
        break;
      case '<':
        out += QStringLiteral("&lt;");
        break;
      case '>':
        out += QStringLiteral("&gt;");
        break;
      case '"':
        out += QStringLiteral("&quot;");
        break;
      default:
        if (c.unicode() <= 0xFF) {
          out += c;
        } else if (c.isHighSurrogate() && i + 1 < value.size() && value[i + 1].isLowSurrogate()) {
          out += QStringLiteral("&#%1;").arg(QChar::surrogateToUcs4(c, value[i + 1]));
          ++i;
        } else {
          out += QStringLiteral("&#%1;").arg(c.unicode());
        }
    }
  }
  return out;
}

// Numbers, null and dates as given; only typed text is escaped.
QString ValueAttribute(const Value& value, const QString& rendered) {
  return value.kind() == Value::Kind::Text ? EscapedAttribute(rendered) : rendered;
}

// True is -1 in the system's integer form; the flag is its absolute value.
QString Flag(bool on) { return on ? QStringLiteral("1") : QStringLiteral("0"); }

}  // namespace

QString GetFullDeviceInfo() { return Build(Action::GetFullDeviceInfo, {}, SpacedEnd); }
QString GetFullQueueInfo() { return Build(Action::GetFullQueueInfo, {}, SpacedEnd); }
QString GetFullBlockInfo() { return Build(Action::GetFullBlockInfo, {}, SpacedEnd); }
QString GetIOSSettings() { return Build(Action::GetIOSSettings, {}, SpacedEnd); }
QString GetChannelConfigInfo() { return Build(Action::GetChannelConfigInfo, {}, SpacedEnd); }

QStringList FullRefreshCommands() {
  return {GetFullDeviceInfo(), GetFullQueueInfo(), GetFullBlockInfo(), GetIOSSettings(),
          GetChannelConfigInfo()};
}

QString RefreshAllData() { return Build(Action::RefreshAllData, {}, SpacedEnd); }
QString ResetQCounters() { return Build(Action::ResetQCounters, {}, TightEnd); }

QString SetDeviceToRandomMode(std::int32_t deviceId, bool randomMode) {
  return Build(Action::SetDeviceToRandomMode, {{"id", Id(deviceId)}, {"value", Flag(randomMode)}},
               TightEnd);
}

QString SetAllDevicesToRandomMode(bool randomMode) {
  return Build(Action::SetDeviceToRandomMode,
               {{"id", QStringLiteral("*")}, {"value", Flag(randomMode)}}, TightEnd);
}

QString SetDeviceIPAddress(std::int32_t deviceId, const QString& address) {
  return Build(Action::SetDeviceIPAddress,
               {{"id", Id(deviceId)}, {"value", EscapeXmlText(address)}}, TightEnd);
}

QString SetDeviceClock(std::int32_t deviceId) {
  return Build(Action::SetDeviceClock, {{"id", Id(deviceId)}}, TightEnd);
}

QString EraseHDRForDevice(std::int32_t deviceId) {
  return Build(Action::EraseHDRForDevice, {{"id", Id(deviceId)}}, TightEnd);
}

QString DoFailover(std::int32_t deviceId) {
  return Build(Action::DoFailover, {{"id", Id(deviceId)}}, TightEnd);
}

QString SetLogLevel(LogLevel level) {
  return Build(Action::SetLogLevel, {{"value", QString::number(static_cast<int>(level))}},
               TightEnd);
}

QString ResetLog() { return Build(Action::ResetLog, {}, SpacedEnd); }

QString SetURP(std::int32_t priority) {
  return Build(Action::SetURP, {{"value", QString::number(priority)}}, TightEnd);
}

QString SetRID(std::int32_t milliseconds) {
  return Build(Action::SetRID, {{"value", QString::number(milliseconds)}}, TightEnd);
}

QString ForceChannelValue(std::int32_t channelId, const Value& value) {
  return Build(Action::ForceChannelValue,
               {{"id", Id(channelId)},
                {"value", ValueAttribute(value, value.ToText())},
                {"DataSource", QLatin1String(DataSource::ForcedValue)}},
               SpacedEnd);
}

QString ForceChannelValueWave(std::int32_t channelId, const Value& value,
                              const Decimal& oscillationMin, const Decimal& oscillationMax,
                              const Decimal& oscillationPeriod) {
  return Build(Action::ForceChannelValue,
               {{"id", Id(channelId)},
                {"value", ValueAttribute(value, value.ToText())},
                {"DataSource", QLatin1String(DataSource::TriangleWave)},
                {"OscillationMin", oscillationMin.ToText()},
                {"OscillationMax", oscillationMax.ToText()},
                {"OscillationPeriod", oscillationPeriod.ToText()}},
               SpacedEnd);
}

QString WriteToChannel(std::int32_t channelId, const Value& value) {
  return Build(
      Action::WriteToChannel,
      {{"id", Id(channelId)}, {"value", ValueAttribute(value, xml::VariantToXmlText(value))}},
      SpacedEnd);
}

QString AttributeValueAsParsed(const QString& text) {
  if (!text.contains(QLatin1Char('\t')) && !text.contains(QLatin1Char('\n')) &&
      !text.contains(QLatin1Char('\r'))) {
    return text;
  }
  QString value = text;
  // A parser reads CR LF as one line end, and any line end or TAB in an attribute as a blank.
  value.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
  for (const char c : {'\t', '\n', '\r'}) {
    value.replace(QLatin1Char(c), QLatin1Char(' '));
  }
  return value;
}

bool CanCarryInAttribute(const QString& text) {
  for (qsizetype i = 0; i < text.size(); ++i) {
    const char16_t c = text[i].unicode();
    if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
      return false;
    }
    if (c == 0xFFFE || c == 0xFFFF) {
      return false;
    }
    if (QChar::isHighSurrogate(c)) {
      if (i + 1 >= text.size() || !text[i + 1].isLowSurrogate()) {
        return false;
      }
      ++i;
    } else if (QChar::isLowSurrogate(c)) {
      return false;
    }
  }
  return true;
}

}  // namespace telmon::IosCommands
