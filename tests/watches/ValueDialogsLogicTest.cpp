#include "ioslink/IosCommands.h"
#include "platform/H5DBIL.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/ioslink/IosLinkTestPeer.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "views/ChannelConfigInfoManager.h"
#include "watches/ChangeChanValueModel.h"
#include "watches/ChangeChanValuesModel.h"
#include "watches/ChannelValueWriter.h"
#include "watches/EnteredValue.h"

#include <functional>

namespace telmon::test {
namespace {

using telmon::testing::FakeIos;
using telmon::testing::RecordingSink;

// The entered-value rules in their order, for both widths of "&H" text.
TEST(EnteredValue, RulesApplyInOrder) {
  struct Case {
    bool null;
    QString text;
    HexWidth width;
    QString expected;  // the value's text, or "error <number>"
    bool given;
  };
  const auto w32 = HexWidth::Bits32;
  const auto w16 = HexWidth::Bits16;
  const std::vector<Case> cases = {
      {true, "12", w32, "", true},
      {false, "", w32, "", false},
      {false, "   ", w32, "   ", false},
      {false, "&H10", w32, "16", true},
      {false, "&h10", w16, "16", true},
      {false, "&H10000", w32, "65536", true},
      {false, "&H10000", w16, "error 6", false},
      {false, "&HFFFF", w32, "65535", true},
      {false, "&HFFFF", w16, "-1", true},
      {false, "&H80000000", w32, "-2147483648", true},
      {false, "&H", w32, "error 13", false},
      {false, "&H 10", w32, "error 13", false},
      {false, "&H 10", w16, "error 13", false},
      {false, "&H10 ", w32, "16", true},
      {false, "&H", w16, "error 13", false},
      {false, "&HXYZ", w32, "error 13", false},
      {false, "&H100000000", w32, "error 6", false},
      {false, "12.50", w32, "12.5", true},
      {false, "-0", w32, "0", true},
      {false, "1e-7", w32, "0.0000001", true},
      {false, "1e999", w32, "1e999", true},
      {false, "1e-30", w32, "0", true},
      {false, "1e-999", w32, "0", true},
      {false, "0.00000000000000000000000000015", w32, "0.0000000000000000000000000002", true},
      {false, "1234567890123456789012345678.9", w32, "1234567890123456789012345678.9", true},
      {false, "79228162514264337593543950336", w32, "error 6", false},
      {false, "OPEN", w32, "OPEN", true},
      {false, "a\"<&]]>", w32, "a\"<&]]>", true},
      {false, QStringLiteral("bell\x07"), w32, "error 5", false},
      // Kept as typed, but for TAB and line breaks: the server reads them as blanks.
      {false, QStringLiteral("\u20ac5"), w32, QStringLiteral("\u20ac5"), true},
      {false, "a\tb\r\nc\rd\ne", w32, "a b c d e", true},
      {false, "\t\r\n", w32, "  ", false},
  };
  for (const Case& c : cases) {
    QString actual;
    bool given = false;
    try {
      const Value value = DecideEnteredValue(c.null, c.text, c.width);
      actual = value.ToText();
      given = IsValueGiven(value);
    } catch (const TelmonError& e) {
      actual = QStringLiteral("error %1").arg(e.number());
    }
    EXPECT_EQ(actual, c.expected) << c.text.toStdString();
    EXPECT_EQ(given, c.given) << c.text.toStdString();
  }
}

// Both dialogs over a real SQLite command table and a real loopback link to an IOS stand-in.
class ValueDialogsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.Init();
    const QString c = db_.ConnectionString();
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
    IosLinkSettings link;
    link.lookupValue = [this](const QString&, const QString&) {
      return QString::number(ios_.Port());
    };
    link.hostName = [] { return QStringLiteral("127.0.0.1"); };
    connection_ = std::make_unique<IosConnection>(sink_, link);
    connection_->ConnectToIOS();
    ASSERT_TRUE(ios_.WaitForMonitor());
    startBytes_ = IosCommands::FullRefreshCommands().join(QString()).size();
    ASSERT_TRUE(ios_.WaitForReceived(startBytes_));
    sink_.messages.clear();
    Configure(R"(<Event eventtype="ChannelConfigUpdate" ID="5" Name="Damper" DeviceID="1"
                   Scaling="0 to 100 %" DataSource="ForcedValue" />
                 <Event eventtype="ChannelConfigUpdate" ID="6" Name="O2 test" DeviceID="1"
                   Scaling="0 to 25" DataSource="TriangleWave" OscillationMin="1.50"
                   OscillationMax="9" OscillationPeriod="30" />
                 <Event eventtype="ChannelConfigUpdate" ID="7" Name="Flow" DeviceID="1"
                   Scaling="0 to 500" DataSource="Device" />)");
  }

  void Configure(const char* events) {
    const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, QString::fromUtf8(events));
    for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
      configs_.UpdateConfigInfo(e);
    }
  }

  ChangeValueServices Services() {
    return {configs_, writer_, *connection_, prompter_, QStringLiteral("Telmon")};
  }

  // "<caller>|<command>" for every stored record.
  QStringList Records() {
    QStringList out;
    for (const auto& row :
         db_.Rows(QStringLiteral("SELECT callercode, commandtext FROM H5IOCOMMAND ORDER BY id"))) {
      out.append(row[0].toString() + QLatin1Char('|') + row[1].toString());
    }
    return out;
  }

  // What the IOS stand-in received after the connect's requests, once it stopped growing.
  QString Sent() {
    QTest::qWait(150);
    return QString::fromLatin1(ios_.Received().mid(startBytes_));
  }

  ScratchDatabase db_{Backend::Sqlite};
  H5DBIL dbil_;
  RecordingSink sink_;
  ChannelValueWriter writer_{dbil_, sink_};
  FakeIos ios_;
  std::unique_ptr<IosConnection> connection_;
  ScriptedPrompter prompter_;
  ChannelConfigInfoManager configs_;
  qsizetype startBytes_ = 0;
};

TEST_F(ValueDialogsTest, OneChannelDialogWritesTheRecordAndForcesForceableChannels) {
  struct Case {
    const char* what;
    std::int32_t channel;
    std::function<void(ChangeChanValueModel&)> edit;
    QStringList records;
    QString sent;
    QStringList prompts;
    bool closes;
  };
  const auto value = [](const char* text) {
    return [t = QString::fromUtf8(text)](ChangeChanValueModel& m) { m.SetNewValueText(t); };
  };
  const std::vector<Case> cases = {
      {"not forceable",
       7,
       value("12.50"),
       {R"(TELM-0038|<Command action="WriteToChannel" id="7" value="12.5" />)"},
       "",
       {},
       true},
      {"forced",
       5,
       value("&HFFFF"),
       {R"(TELM-0038|<Command action="WriteToChannel" id="5" value="65535" />)"},
       R"(<Command action="ForceChannelValue" id="5" value="65535" DataSource="ForcedValue" />)",
       {},
       true},
      {"null",
       5,
       [](ChangeChanValueModel& m) { m.SetNullValue(true); },
       {R"(TELM-0038|<Command action="WriteToChannel" id="5" value="" />)"},
       R"(<Command action="ForceChannelValue" id="5" value="" DataSource="ForcedValue" />)",
       {},
       true},
      {"blank",
       5,
       value("  "),
       {},
       R"(<Command action="ForceChannelValue" id="5" value="" DataSource="ForcedValue" />)",
       {},
       true},
      {"wave from the record",
       6,
       [](ChangeChanValueModel&) {},
       {R"(TELM-0038|<Command action="WriteToChannel" id="6" value="1.5" />)"},
       R"(<Command action="ForceChannelValue" id="6" value="1.5" DataSource="TriangleWave" )"
       R"(OscillationMin="1.5" OscillationMax="9" OscillationPeriod="30" />)",
       {},
       true},
      {"fixed on a wave channel",
       6,
       [](ChangeChanValueModel& m) {
         m.SelectOption(ChangeChanValueModel::FixedOption);
         m.SetNewValueText(QStringLiteral("1e-7"));
       },
       {R"(TELM-0038|<Command action="WriteToChannel" id="6" value="0.0000001" />)"},
       R"(<Command action="ForceChannelValue" id="6" value="0.0000001" DataSource="ForcedValue" />)",
       {},
       true},
      {"bad wave box",
       6,
       [](ChangeChanValueModel& m) { m.SetMaxText(QStringLiteral("abc")); },
       {R"(TELM-0038|<Command action="WriteToChannel" id="6" value="1.5" />)"},
       "",
       {"TELM-0040: 13, Type mismatch"},
       false},
      {"bad hex", 5, value("&H"), {}, "", {"TELM-0039: 13, Type mismatch"}, false},
      // Text goes the same way on both paths: markup as entities, a character beyond the
      // link's single-byte encoding as a reference, TAB and line breaks as the blanks the
      // server reads for them.
      {"text beyond the single-byte encoding",
       5,
       value("\u20ac5 \U0001F600"),
       {R"(TELM-0038|<Command action="WriteToChannel" id="5" value="&#8364;5 &#128512;" />)"},
       R"(<Command action="ForceChannelValue" id="5" value="&#8364;5 &#128512;" )"
       R"(DataSource="ForcedValue" />)",
       {},
       true},
      {"markup, TAB and line breaks",
       5,
       value("a\"<&\tb>\r\nc\u00b0"),
       {"TELM-0038|<Command action=\"WriteToChannel\" id=\"5\" "
        "value=\"a&quot;&lt;&amp; b&gt; c\u00b0\" />"},
       "<Command action=\"ForceChannelValue\" id=\"5\" value=\"a&quot;&lt;&amp; b&gt; c\u00b0\" "
       "DataSource=\"ForcedValue\" />",
       {},
       true},
      {"unknown channel",
       8,
       value("3"),
       {R"(TELM-0038|<Command action="WriteToChannel" id="8" value="3" />)"},
       "",
       {},
       true},
      {"no channel", 0, value("3"), {}, "", {}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    db_.Exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
    prompter_.Clear();
    const QString before = Sent();
    ChangeChanValueModel model(Services());
    model.SetChannelID(c.channel);
    c.edit(model);
    EXPECT_EQ(model.Change(), c.closes);
    EXPECT_EQ(Records(), c.records);
    EXPECT_EQ(Sent().mid(before.size()), c.sent);
    EXPECT_EQ(prompter_.Texts(), c.prompts);
  }
  EXPECT_TRUE(sink_.messages.empty()) << sink_.Texts().join('\n').toStdString();
}

TEST_F(ValueDialogsTest, OneChannelDialogControlsFollowTheChannelAndTheWaveBoxes) {
  ChangeChanValueModel model(Services());
  EXPECT_EQ(model.txtValueRange(), QStringLiteral("(N/A)"));
  model.SetChannelID(7);
  EXPECT_EQ(model.txtValueRange(), QStringLiteral("0 to 500"));
  EXPECT_FALSE(model.WaveControlsEnabled());
  model.SetChannelID(6);
  EXPECT_TRUE(model.WaveControlsEnabled());
  EXPECT_EQ(model.optRandomValues(), ChangeChanValueModel::WaveOption);
  EXPECT_EQ(model.txtNewValue(), QStringLiteral("1.50"));
  EXPECT_EQ(model.txtPeriod(), QStringLiteral("30"));
  model.SetMaxText(QStringLiteral("12"));  // a numeric half period stays
  model.SetMinText(QStringLiteral("3"));
  EXPECT_EQ(model.txtPeriod(), QStringLiteral("30"));
  model.SetChannelID(5);
  EXPECT_EQ(model.optRandomValues(), ChangeChanValueModel::FixedOption);
  model.SetPeriodText(QStringLiteral("x"));
  EXPECT_EQ(model.optRandomValues(), ChangeChanValueModel::WaveOption);
  model.SelectOption(ChangeChanValueModel::FixedOption);
  model.SetMaxText(QStringLiteral("5"));
  EXPECT_EQ(model.txtPeriod(), QStringLiteral("120"));
  EXPECT_EQ(model.optRandomValues(), ChangeChanValueModel::WaveOption);
  model.SetMinText(QStringLiteral("2"));
  EXPECT_EQ(model.txtNewValue(), QStringLiteral("2"));
  model.SetNullValue(true);
  EXPECT_FALSE(model.NewValueEnabled());
  model.SetChannelID(8);
  EXPECT_EQ(model.txtValueRange(), QString());
  EXPECT_FALSE(model.WaveControlsEnabled());
}

// The record cannot be written (its table is gone): that is reported, and the forceable
// channel still gets its direct command.
TEST_F(ValueDialogsTest, AFailedRecordDoesNotStopTheDirectCommand) {
  db_.Exec(QStringLiteral("DROP TABLE H5IOCOMMAND"));
  const QString before = Sent();
  ChangeChanValueModel model(Services());
  model.SetChannelID(5);
  model.SetNewValueText(QStringLiteral("7"));
  EXPECT_TRUE(model.Change());
  EXPECT_EQ(sink_.Texts(),
            QStringList{"TELM-0036: Could not write msg record to change channel value (5=7)"});
  EXPECT_EQ(Sent().mid(before.size()),
            R"(<Command action="ForceChannelValue" id="5" value="7" DataSource="ForcedValue" />)");
  EXPECT_TRUE(prompter_.Texts().isEmpty());
}

TEST_F(ValueDialogsTest, SeveralChannelsDialogWritesEachListedChannel) {
  struct Case {
    QString list;
    QString value;
    bool null;
    QStringList records;
    QStringList prompts;
  };
  const QString rec =
      QStringLiteral(R"(TELM-0049|<Command action="WriteToChannel" id="%1" value="%2" />)");
  const std::vector<Case> cases = {
      {"\t12\t\t7", "5", false, {rec.arg(12).arg(5), rec.arg(7).arg(5)}, {}},
      {"\t12\tabc\t-3\t0\t7", "&HFFFF", false, {rec.arg(12).arg(-1), rec.arg(7).arg(-1)}, {}},
      {"\t12", "", true, {rec.arg(12).arg("")}, {}},
      {"\t12", " ", false, {}, {}},
      {"\t12", "&H10000", false, {}, {"TELM-0050: 6, Overflow"}},
      {"\t12\t99999999999\t7", "1", false, {rec.arg(12).arg(1)}, {"TELM-0050: 6, Overflow"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.list.toStdString() + " " + c.value.toStdString());
    db_.Exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
    prompter_.Clear();
    const QString before = Sent();
    ChangeChanValuesModel model(Services());
    model.SetChannelIDList(c.list);
    model.txtNewValue = c.value;
    model.chkNullValue = c.null;
    EXPECT_EQ(model.Change(), c.prompts.isEmpty());
    EXPECT_EQ(Records(), c.records);
    EXPECT_EQ(prompter_.Texts(), c.prompts);
    EXPECT_EQ(Sent(), before);  // never a direct command
  }
}

}  // namespace
}  // namespace telmon::test
