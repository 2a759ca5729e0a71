#include "platform/H5DBIL.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/util/QStringPrinter.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/IEditGate.h"
#include "watches/BulkModeCodeWrites.h"
#include "watches/ChannelValueWriter.h"

#include <QRegularExpression>

#include <functional>

namespace telmon::test {
namespace {

class Sink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t msgType, const QString& text) override {
    texts.append(QString::number(msgType) + QLatin1Char(' ') + text);
  }
  QStringList texts;
};

class Gate final : public IEditGate {
 public:
  bool EditsAllowed() const override { return allowed; }
  bool AskWhetherUserWantsToEnableEditing() override {
    ++asked;
    allowed = grant;
    return allowed;
  }
  bool allowed = true;
  bool grant = true;
  int asked = 0;
};

// Channels for every rule of the channel choice: ID, name, address.
struct Channel {
  int id;
  const char* name;
  const char* address;
};
const Channel Channels[] = {
    {1, "Stack NOx conc", "PLC1:MC60"}, {2, "O2 dry", "PLC1:MC75"},
    {3, "so2 conc", "PLC1:mc60"},       {4, "SO2 conc", "PLC1:MC60"},
    {5, "CO ppm", "PLC1:MC75"},         {6, "NH3 slip", "PLC1:MC60"},
    {7, "NH3 Inj Rate", "PLC1:MC60"},   {8, "Opacity 6min", "PLC1:MC75"},
    {9, "PM CEMS", "PLC1:MC60"},        {10, "co low", "PLC1:MC60"},
    {11, "nox lowercase", "PLC1:mc75"}, {12, "Flow", "PLC1:MC60"},
    {13, "O2 not MC", "PLC1:40001"},    {14, "Temp", "PLC1:MC61"},
};

class BulkModeCodeWritesTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    db_ = std::make_unique<ScratchDatabase>(GetParam());
    db_->Init();
    const QString c = db_->ConnectionString();
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
    QString events;
    for (const Channel& ch : Channels) {
      events += QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="%1" Name="%2" )"
                               R"(DeviceID="1" Address="%3" />)")
                    .arg(ch.id)
                    .arg(QString::fromUtf8(ch.name), QString::fromUtf8(ch.address));
    }
    const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, events);
    for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
      configs_.UpdateConfigInfo(e);
    }
  }

  BulkModeCodeWrites Page() {
    return BulkModeCodeWrites(
        {configs_, writer_, gate_, sink_, prompter_, QStringLiteral("Telmon")});
  }

  // "<id>=<value>" of every stored record, in order; each must carry the bulk caller code.
  QStringList Written() {
    QStringList out;
    for (const auto& row :
         db_->Rows(QStringLiteral("SELECT callercode, commandtext FROM H5IOCOMMAND ORDER BY id"))) {
      EXPECT_EQ(row[0].toString(), QStringLiteral("TELM-0075"));
      const QString text = row[1].toString();
      const QRegularExpression re(QStringLiteral(
          R"re(^<Command action="WriteToChannel" id="(\d+)" value="(-?\d+)" />$)re"));
      const auto m = re.match(text);
      EXPECT_TRUE(m.hasMatch()) << text.toStdString();
      out.append(m.captured(1) + QLatin1Char('=') + m.captured(2));
    }
    return out;
  }

  std::unique_ptr<ScratchDatabase> db_;
  H5DBIL dbil_;
  Sink sink_;
  ChannelValueWriter writer_{dbil_, sink_};
  Gate gate_;
  ScriptedPrompter prompter_;
  ChannelConfigInfoManager configs_;
};

TEST_P(BulkModeCodeWritesTest, EachButtonWritesItsChannelsAndReports) {
  struct Case {
    const char* what;
    std::function<void(BulkModeCodeWrites&)> click;
    QStringList written;
    QStringList messages;
    QStringList prompts;
  };
  const std::vector<Case> cases = {
      {"MC 13",
       [](BulkModeCodeWrites& p) { p.cmdWrite13ToAllMCChannels(); },
       {"1=13", "2=13", "3=13", "4=13", "5=13", "6=13", "7=13", "8=13", "9=13", "10=13", "11=13",
        "12=13"},
       {"1 Wrote '13' to 12 channels [TELM-0076]"},
       {}},
      {"MC 00",
       [](BulkModeCodeWrites& p) { p.cmdWrite00ToAllMCChannels(); },
       {"1=0", "2=0", "3=0", "4=0", "5=0", "6=0", "7=0", "8=0", "9=0", "10=0", "11=0", "12=0"},
       {"1 Wrote '0' to 12 channels [TELM-0076]"},
       {}},
      {"analyzer MC 14",
       [](BulkModeCodeWrites& p) { p.cmdWriteMC14ToAllCemsInfoMCChannels(); },
       {"1=14", "2=14", "4=14", "5=14", "6=14", "8=14", "9=14", "11=14"},
       {"1 Wrote '14' to 8 channels [TELM-0076]"},
       {}},
      {"analyzer MC 11/12",
       [](BulkModeCodeWrites& p) { p.cmdWriteMC1112ToAllCemsInfoMCChannels(); },
       {"1=11", "2=12", "4=11", "5=11", "6=11", "8=11", "9=11", "11=11"},
       {"1 Wrote '11' to 8 channels [TELM-0076]"},
       {}},
      {"analyzer write with a non-numeric all-channels box",
       [](BulkModeCodeWrites& p) {
         p.txtWriteToAllMCChannels = QStringLiteral("abc");
         p.txtWriteToAllCemsInfoMCChannels = QStringLiteral("5");
         p.cmdWriteToAllCemsInfoMCChannels();
       },
       {},
       {},
       {"Value to write must be numeric. [TELM-0074]"}},
      {"all-channels write of text",
       [](BulkModeCodeWrites& p) {
         p.txtWriteToAllMCChannels = QStringLiteral("abc");
         p.cmdWriteToAllMCChannels();
       },
       {},
       {},
       {"TELM-0073: 13, Type mismatch"}},
      {"analyzer write of text",
       [](BulkModeCodeWrites& p) {
         p.txtWriteToAllCemsInfoMCChannels = QStringLiteral("x");
         p.cmdWriteToAllCemsInfoMCChannels();
       },
       {},
       {},
       {"TELM-0072: 13, Type mismatch"}},
      {"beyond 16 bits",
       [](BulkModeCodeWrites& p) {
         p.txtWriteToAllMCChannels = QStringLiteral("40000");
         p.cmdWriteToAllMCChannels();
       },
       {},
       {},
       {"TELM-0077: 6, Overflow"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    db_->Exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
    sink_.texts.clear();
    prompter_.Clear();
    BulkModeCodeWrites page = Page();
    page.txtWriteToAllMCChannels = QStringLiteral("0");
    c.click(page);
    EXPECT_EQ(Written(), c.written);
    EXPECT_EQ(sink_.texts, c.messages);
    EXPECT_EQ(prompter_.Texts(), c.prompts);
  }
}

TEST_P(BulkModeCodeWritesTest, EditModeIsTheOnlyGate) {
  gate_.allowed = false;
  gate_.grant = false;
  BulkModeCodeWrites page = Page();
  // The value box is checked first: with edits off, a non-numeric box is told and edit mode is
  // not even asked for.
  page.txtWriteToAllMCChannels = QStringLiteral("abc");
  page.txtWriteToAllCemsInfoMCChannels = QStringLiteral("14");
  page.cmdWriteToAllCemsInfoMCChannels();
  EXPECT_EQ(prompter_.Texts(), QStringList{"Value to write must be numeric. [TELM-0074]"});
  EXPECT_EQ(gate_.asked, 0);
  prompter_.Clear();
  page.cmdWrite13ToAllMCChannels();
  EXPECT_EQ(gate_.asked, 1);
  EXPECT_TRUE(Written().isEmpty());
  EXPECT_TRUE(sink_.texts.isEmpty());
  gate_.grant = true;
  page.cmdWrite13ToAllMCChannels();
  EXPECT_EQ(Written().size(), 12);
  EXPECT_TRUE(prompter_.Texts().isEmpty());
}

// "MC 11/12" reports the value set for the last MC record it examined, included or not, and
// not the value of the last one written; records that are no MC channels are not examined.
TEST_P(BulkModeCodeWritesTest, Mc1112ReportsTheValueOfTheLastMcRecordExamined) {
  struct Case {
    std::vector<Channel> channels;
    QStringList written;
    const char* message;
  };
  const std::vector<Case> cases = {
      {{{21, "O2 dry", "A:MC60"}, {22, "Flow", "A:MC75"}}, {"21=12"}, "'11' to 1 channels"},
      {{{22, "Flow", "A:MC75"}, {21, "O2 dry", "A:MC60"}}, {"21=12"}, "'12' to 1 channels"},
      {{{21, "O2 dry", "A:MC60"}, {23, "NOx trim", "A:40001"}}, {"21=12"}, "'12' to 1 channels"},
      {{{24, "NOx", "A:MC60"}, {25, "SO2 O2 corrected", "A:MC60"}},
       {"24=11", "25=11"},
       "'11' to 2 channels"},
      // No MC record examined: the value the button stands for.
      {{{23, "NOx trim", "A:40001"}}, {}, "'11' to 0 channels"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    configs_.ClearAllConfigInfo();
    QString events;
    for (const Channel& ch : c.channels) {
      events += QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="%1" Name="%2" )"
                               R"(DeviceID="1" Address="%3" />)")
                    .arg(ch.id)
                    .arg(QString::fromUtf8(ch.name), QString::fromUtf8(ch.address));
    }
    const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, events);
    for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
      configs_.UpdateConfigInfo(e);
    }
    db_->Exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
    sink_.texts.clear();
    BulkModeCodeWrites page = Page();
    page.txtWriteToAllMCChannels = QStringLiteral("0");
    page.cmdWriteMC1112ToAllCemsInfoMCChannels();
    EXPECT_EQ(Written(), c.written);
    EXPECT_EQ(sink_.texts, QStringList{QStringLiteral("1 Wrote ") + QLatin1String(c.message) +
                                       QStringLiteral(" [TELM-0076]")});
  }
}

TEST_P(BulkModeCodeWritesTest, NoMcChannelsReportsZeroAndAKeyThatIsNoIdStopsTheLoop) {
  configs_.ClearAllConfigInfo();
  BulkModeCodeWrites page = Page();
  page.cmdWrite13ToAllMCChannels();
  EXPECT_EQ(sink_.texts, QStringList{"1 Wrote '13' to 0 channels [TELM-0076]"});
  sink_.texts.clear();
  const xml::XmlDocument doc = xml::ParseXmlFragment(
      nullptr, QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="40" DeviceID="1"
             Address="MC60" /><Event eventtype="ChannelConfigUpdate" ID="AI-3" DeviceID="1"
             Address="MC60" /><Event eventtype="ChannelConfigUpdate" ID="41" DeviceID="1"
             Address="MC60" />)"));
  for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
    configs_.UpdateConfigInfo(e);
  }
  page.cmdWrite13ToAllMCChannels();
  EXPECT_EQ(Written(), QStringList{"40=13"});
  EXPECT_TRUE(sink_.texts.isEmpty());
  EXPECT_EQ(prompter_.Texts(), QStringList{"TELM-0077: 13, Type mismatch"});
}

// The analyzer rules by name, in their order and with their case: the mode 1 choice and the
// mode 2 value of one MC channel.
TEST(BulkModeCodeChoice, AnalyzerRulesTestTheNameInOrderAndInTheirCase) {
  struct Case {
    const char* name;
    bool included;
    std::int16_t value1112;
  };
  const Case cases[] = {
      {"Stack NOX", true, 11},     {"O2 NOx trim", true, 11},  // NOx before O2
      {"CO2 conc", true, 12},      {"o2 dry", false, 11},      // "O2" in exact case
      {"SO2 conc", true, 11},      {"so2 conc", false, 11},   {"Co ppm", false, 11},
      {"CO ppm", true, 11},        {"NH3 slip", true, 11},    {"nh3 slip", false, 11},
      {"NH3 INJ rate", false, 11}, {"NH3 Inj CO", true, 11},  // CO before the NH3 rule
      {"NOx Inj", true, 11},       {"OPACITY", true, 11},     {"PM10", true, 11},
      {"pm10", false, 11},         {"Flow", false, 11},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ChannelConfigInfoManager configs;
    const xml::XmlDocument doc = xml::ParseXmlFragment(
        nullptr, QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="3" Name="%1" )"
                                R"(DeviceID="1" Address="A:MC75" />)")
                     .arg(QLatin1String(c.name)));
    configs.UpdateConfigInfo(xml::SelectSingleNode(doc, "//Event"));
    std::vector<ChannelValue> chosen;
    std::int16_t last = 0;
    BulkModeCodeWrites::ChooseChannels(configs, BulkModeCodeWrites::Mode::AnalyzerMC, 14, chosen,
                                       last);
    EXPECT_EQ(chosen.size(), c.included ? 1U : 0U);
    chosen.clear();
    BulkModeCodeWrites::ChooseChannels(configs, BulkModeCodeWrites::Mode::AnalyzerMC1112, 11,
                                       chosen, last);
    EXPECT_EQ(last, c.value1112);
    EXPECT_EQ(chosen.size(), c.included ? 1U : 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, BulkModeCodeWritesTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

// The server refuses every connection during a bulk write: each record is reported, the loop
// goes on to the end, and repeating the write once the server is back stores each channel once.
TEST(BulkModeCodeWritesOutage, RecordsOfARefusedWriteAreReportedAndARepeatStoresEachOnce) {
  TELMON_REQUIRE_BACKEND(Backend::Postgresql);
  ScratchDatabase db(Backend::Postgresql);
  db.Init();
  H5DBIL dbil;
  const QString c = db.ConnectionString();
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
  ChannelConfigInfoManager configs;
  QString events;
  for (int id = 1; id <= 300; ++id) {
    events +=
        QStringLiteral(
            R"(<Event eventtype="ChannelConfigUpdate" ID="%1" DeviceID="1" Address="A:MC60" />)")
            .arg(id);
  }
  const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, events);
  for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
    configs.UpdateConfigInfo(e);
  }
  Sink sink;
  ChannelValueWriter writer(dbil, sink);
  Gate gate;
  ScriptedPrompter prompter;
  BulkModeCodeWrites page({configs, writer, gate, sink, prompter, QStringLiteral("Telmon")});
  ASSERT_TRUE(writer.WriteChannelValueRecord(QStringLiteral("TELM-0075"), 9999, Value(1)));

  const QString name = c.section(QLatin1Char('/'), -1);
  const auto adminExec = [&](const QString& sql) {
    SqlConnection connection(PostgresqlServerAddress() + QStringLiteral("postgres"),
                             OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* pg = connection.Database(&error);
    ASSERT_NE(pg, nullptr) << error.toStdString();
    QSqlQuery query(*pg);
    ASSERT_TRUE(query.exec(sql)) << query.lastError().text().toStdString();
  };
  adminExec(QStringLiteral("ALTER DATABASE %1 ALLOW_CONNECTIONS false").arg(name));
  adminExec(QStringLiteral("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE "
                           "datname = '%1' AND pid <> pg_backend_pid()")
                .arg(name));
  page.cmdWrite13ToAllMCChannels();
  adminExec(QStringLiteral("ALTER DATABASE %1 ALLOW_CONNECTIONS true").arg(name));

  int failures = 0;
  for (const QString& text : sink.texts) {
    failures += text.startsWith(QStringLiteral(
                    "4 TELM-0036: Could not write msg record to change channel value ("))
                    ? 1
                    : 0;
  }
  EXPECT_EQ(failures, 300);
  EXPECT_EQ(sink.texts.last(), QStringLiteral("1 Wrote '13' to 300 channels [TELM-0076]"));
  EXPECT_EQ(db.Rows(QStringLiteral("SELECT id FROM H5IOCOMMAND")).size(), 1);

  sink.texts.clear();
  page.cmdWrite13ToAllMCChannels();
  EXPECT_EQ(sink.texts, QStringList{"1 Wrote '13' to 300 channels [TELM-0076]"});
  const auto rows = db.Rows(
      QStringLiteral("SELECT count(*), count(DISTINCT commandtext) FROM H5IOCOMMAND WHERE id > 1"));
  ASSERT_EQ(rows.size(), 1);
  EXPECT_EQ(rows[0][0].toInt(), 300);
  EXPECT_EQ(rows[0][1].toInt(), 300);
}

}  // namespace
}  // namespace telmon::test
