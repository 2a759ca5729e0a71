#include "ioslink/IosCommands.h"
#include "tests/util/QStringPrinter.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <gtest/gtest.h>

using namespace telmon;
namespace cmd = telmon::IosCommands;

// Each command's exact text, ending included: the server compares them as they are.
TEST(IosCommands, RequestsWithoutArgumentsKeepTheirOwnEnding) {
  EXPECT_EQ(cmd::GetFullDeviceInfo(), R"(<Command action="GetFullDeviceInfo" />)");
  EXPECT_EQ(cmd::GetFullQueueInfo(), R"(<Command action="GetFullQueueInfo" />)");
  EXPECT_EQ(cmd::GetFullBlockInfo(), R"(<Command action="GetFullBlockInfo" />)");
  EXPECT_EQ(cmd::GetIOSSettings(), R"(<Command action="GetIOSSettings" />)");
  EXPECT_EQ(cmd::GetChannelConfigInfo(), R"(<Command action="GetChannelConfigInfo" />)");
  EXPECT_EQ(cmd::RefreshAllData(), R"(<Command action="RefreshAllData" />)");
  EXPECT_EQ(cmd::ResetLog(), R"(<Command action="ResetLog" />)");
  EXPECT_EQ(cmd::ResetQCounters(), R"(<Command action="ResetQCounters"/>)");
}

TEST(IosCommands, FullRefreshAsksForEverythingInOrder) {
  EXPECT_EQ(
      cmd::FullRefreshCommands(),
      QStringList(
          {R"(<Command action="GetFullDeviceInfo" />)", R"(<Command action="GetFullQueueInfo" />)",
           R"(<Command action="GetFullBlockInfo" />)", R"(<Command action="GetIOSSettings" />)",
           R"(<Command action="GetChannelConfigInfo" />)"}));
}

TEST(IosCommands, DeviceCommands) {
  EXPECT_EQ(cmd::SetDeviceToRandomMode(12, true),
            R"(<Command action="SetDeviceToRandomMode" id="12" value="1"/>)");
  EXPECT_EQ(cmd::SetDeviceToRandomMode(12, false),
            R"(<Command action="SetDeviceToRandomMode" id="12" value="0"/>)");
  EXPECT_EQ(cmd::SetAllDevicesToRandomMode(true),
            R"(<Command action="SetDeviceToRandomMode" id="*" value="1"/>)");
  EXPECT_EQ(cmd::SetAllDevicesToRandomMode(false),
            R"(<Command action="SetDeviceToRandomMode" id="*" value="0"/>)");
  EXPECT_EQ(cmd::SetDeviceClock(7), R"(<Command action="SetDeviceClock" id="7"/>)");
  EXPECT_EQ(cmd::EraseHDRForDevice(2147483647),
            R"(<Command action="EraseHDRForDevice" id="2147483647"/>)");
  EXPECT_EQ(cmd::DoFailover(3), R"(<Command action="DoFailover" id="3"/>)");
  EXPECT_EQ(cmd::SetDeviceClock(-4), R"(<Command action="SetDeviceClock" id="-4"/>)");
}

TEST(IosCommands, OnlyTheTypedIpAddressIsEscaped) {
  EXPECT_EQ(cmd::SetDeviceIPAddress(5, "192.168.0.10"),
            R"(<Command action="SetDeviceIPAddress" id="5" value="192.168.0.10"/>)");
  EXPECT_EQ(cmd::SetDeviceIPAddress(5, R"(a"b<c>&d'e)"),
            R"(<Command action="SetDeviceIPAddress" id="5" value="a&quot;b&lt;c&gt;&amp;d'e"/>)");
  EXPECT_EQ(cmd::SetDeviceIPAddress(5, ""),
            R"(<Command action="SetDeviceIPAddress" id="5" value=""/>)");
}

TEST(IosCommands, ServerTuningCommands) {
  EXPECT_EQ(cmd::SetLogLevel(cmd::LogLevel::None), R"(<Command action="SetLogLevel" value="-1"/>)");
  EXPECT_EQ(cmd::SetLogLevel(cmd::LogLevel::Normal),
            R"(<Command action="SetLogLevel" value="0"/>)");
  EXPECT_EQ(cmd::SetLogLevel(cmd::LogLevel::All), R"(<Command action="SetLogLevel" value="2"/>)");
  EXPECT_EQ(cmd::SetURP(3), R"(<Command action="SetURP" value="3"/>)");
  EXPECT_EQ(cmd::SetRID(250), R"(<Command action="SetRID" value="250"/>)");
  EXPECT_EQ(cmd::SetRID(0), R"(<Command action="SetRID" value="0"/>)");
}

TEST(IosCommands, ForceChannelValueFixed) {
  EXPECT_EQ(
      cmd::ForceChannelValue(17, Value(*Decimal::Parse("12.50"))),
      R"(<Command action="ForceChannelValue" id="17" value="12.5" DataSource="ForcedValue" />)");
  EXPECT_EQ(cmd::ForceChannelValue(17, Value::Null()),
            R"(<Command action="ForceChannelValue" id="17" value="" DataSource="ForcedValue" />)");
  EXPECT_EQ(
      cmd::ForceChannelValue(17, Value(65535)),
      R"(<Command action="ForceChannelValue" id="17" value="65535" DataSource="ForcedValue" />)");
  EXPECT_EQ(
      cmd::ForceChannelValue(17, Value(*Decimal::Parse("1E-7"))),
      R"(<Command action="ForceChannelValue" id="17" value="0.0000001" DataSource="ForcedValue" />)");
  EXPECT_EQ(
      cmd::ForceChannelValue(17, Value("OPEN")),
      R"(<Command action="ForceChannelValue" id="17" value="OPEN" DataSource="ForcedValue" />)");
}

TEST(IosCommands, ValuesInCommandsNeverUseExponentNotation) {
  struct Case {
    Value value;
    const char* text;
  };
  const Case cases[] = {
      {Value(1.0E-7), "0.0000001"},
      {Value(1.0E20), "100000000000000000000"},
      {Value(-0.5), "-0.5"},
      {Value(*Decimal::Parse("-0.5")), "-0.5"},
      {Value(*Decimal::Parse("1E20")), "100000000000000000000"},
      {Value(*Decimal::Parse("9999999999999999999999999999")), "9999999999999999999999999999"},
      {Value(*Decimal::Parse("0.1234567890123456789012345678")), "0.1234567890123456789012345678"},
  };
  for (const Case& c : cases) {
    const QString text = QString::fromLatin1(c.text);
    EXPECT_EQ(cmd::ForceChannelValue(5, c.value),
              R"(<Command action="ForceChannelValue" id="5" value=")" + text +
                  R"(" DataSource="ForcedValue" />)");
    EXPECT_EQ(cmd::WriteToChannel(5, c.value),
              R"(<Command action="WriteToChannel" id="5" value=")" + text + R"(" />)");
  }
}

// A typed text value is written the same in the record and on the socket: markup characters as
// entities, characters beyond the link's single-byte encoding as references, TAB and line breaks
// as the blanks the server's parser makes of them. Parsed back, the value is what was typed
// (with those blanks).
TEST(IosCommands, TextValuesAreWrittenAlikeAndReadBackAsTyped) {
  struct Case {
    QString typed;
    QString written;
    QString parsed;
  };
  const Case cases[] = {
      {R"(a"b<c>&d'e)", "a&quot;b&lt;c&gt;&amp;d'e", R"(a"b<c>&d'e)"},
      {"&amp;", "&amp;amp;", "&amp;"},
      {"\u20ac5", "&#8364;5", "\u20ac5"},
      {"\u00b0C \u00b5g/m\u00b3", "\u00b0C \u00b5g/m\u00b3", "\u00b0C \u00b5g/m\u00b3"},
      {"\U0001F600!", "&#128512;!", "\U0001F600!"},
      {"a\tb", "a b", "a b"},
      {"a\r\nb\rc\nd", "a b c d", "a b c d"},
      {"\r\n\r\n", "  ", "  "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.typed.toStdString());
    const QString force = cmd::ForceChannelValue(3, Value(c.typed));
    const QString record = cmd::WriteToChannel(3, Value(c.typed));
    EXPECT_EQ(force, R"(<Command action="ForceChannelValue" id="3" value=")" + c.written +
                         R"(" DataSource="ForcedValue" />)");
    EXPECT_EQ(record, R"(<Command action="WriteToChannel" id="3" value=")" + c.written + R"(" />)");
    EXPECT_EQ(cmd::ForceChannelValueWave(3, Value(c.typed), Decimal(0), Decimal(1), Decimal(60)),
              R"(<Command action="ForceChannelValue" id="3" value=")" + c.written +
                  R"(" DataSource="TriangleWave" OscillationMin="0" OscillationMax="1" )"
                  R"(OscillationPeriod="60" />)");
    EXPECT_EQ(QString::fromLatin1(force.toLatin1()), force);  // the link's encoding loses nothing
    for (const QString& command : {force, record}) {
      const xml::XmlDocument doc = xml::ParseXmlDocument(nullptr, command);
      ASSERT_TRUE(doc);
      EXPECT_EQ(xml::GetAttributeText(xml::DocumentElement(doc), "value"), c.parsed);
    }
    EXPECT_EQ(cmd::AttributeValueAsParsed(c.typed), c.parsed);
  }
}

TEST(IosCommands, ForceChannelValueWave) {
  EXPECT_EQ(cmd::ForceChannelValueWave(9, Value(*Decimal::Parse("-5")), *Decimal::Parse("-5"),
                                       *Decimal::Parse("5.250"), *Decimal::Parse("120")),
            R"(<Command action="ForceChannelValue" id="9" value="-5" DataSource="TriangleWave" )"
            R"(OscillationMin="-5" OscillationMax="5.25" OscillationPeriod="120" />)");
  EXPECT_EQ(cmd::ForceChannelValueWave(9, Value::Null(), Decimal(0), Decimal(1), Decimal(60)),
            R"(<Command action="ForceChannelValue" id="9" value="" DataSource="TriangleWave" )"
            R"(OscillationMin="0" OscillationMax="1" OscillationPeriod="60" />)");
}

TEST(IosCommands, WriteToChannelRendersTheValueAsAttributeText) {
  EXPECT_EQ(cmd::WriteToChannel(17, Value(*Decimal::Parse("3.14159"))),
            R"(<Command action="WriteToChannel" id="17" value="3.14159" />)");
  EXPECT_EQ(cmd::WriteToChannel(17, Value::Null()),
            R"(<Command action="WriteToChannel" id="17" value="" />)");
  EXPECT_EQ(cmd::WriteToChannel(17, Value(1.0E-7)),
            R"(<Command action="WriteToChannel" id="17" value="0.0000001" />)");
  EXPECT_EQ(cmd::WriteToChannel(17, Value(true)),
            R"(<Command action="WriteToChannel" id="17" value="1" />)");
  EXPECT_EQ(cmd::WriteToChannel(17, Value(-1)),
            R"(<Command action="WriteToChannel" id="17" value="-1" />)");
}

// What an attribute of a command can carry: every character XML 1.0 allows, and nothing else
// (the server's parser would refuse the whole command).
TEST(IosCommands, AnAttributeCarriesEveryCharacterXmlAllowsAndNoOther) {
  for (char16_t c = 0; c < 0x20; ++c) {
    const bool allowed = c == u'\t' || c == u'\n' || c == u'\r';
    EXPECT_EQ(cmd::CanCarryInAttribute(QString(QChar(c)) + "x"), allowed) << int(c);
  }
  EXPECT_TRUE(cmd::CanCarryInAttribute(QStringLiteral(" ~\u00e9\ufffd")));
  EXPECT_TRUE(cmd::CanCarryInAttribute(QString()));
  EXPECT_FALSE(cmd::CanCarryInAttribute(QString(QChar(0xFFFE))));
  EXPECT_FALSE(cmd::CanCarryInAttribute(QString(QChar(0xFFFF))));
  const QString pair = QString::fromUcs4(U"\U0001F600");
  EXPECT_TRUE(cmd::CanCarryInAttribute(pair));
  EXPECT_TRUE(cmd::CanCarryInAttribute(pair + pair + "a"));
  EXPECT_FALSE(cmd::CanCarryInAttribute(pair.left(1)));  // a high half at the end
  // ... even where the memory after the text happens to hold a low half.
  EXPECT_FALSE(cmd::CanCarryInAttribute(QString::fromRawData(pair.constData(), 1)));
  EXPECT_FALSE(cmd::CanCarryInAttribute(pair.left(1) + "a"));   // a high half, then no low one
  EXPECT_FALSE(cmd::CanCarryInAttribute("a" + pair.right(1)));  // a low half alone
}
