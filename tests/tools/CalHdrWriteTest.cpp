#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/tools/ToolsTestSupport.h"
#include "tools/CalHdrWrite.h"
#include "util/Clock.h"
#include "watches/ChannelValueWriter.h"

namespace telmon::test {
namespace {

// Three analyzers of one unit in both address forms, with channels that are not written.
ChannelConfigInfoManager::Records Plant() {
  return Channels({
      {"1", "Stack NOx Day 0 Zero Avg", "CalHistory.U1.NOX.Days[0].ZEROAVG"},
      {"2", "Stack NOx Day 0 Span Avg", "CalHistory.U1.NOX.Days[0].SPANAVG"},
      {"3", "Stack NOx Day 1 Zero Start", "CalHistory.U1.NOX.Days[1].ZEROINJECTIONSTARTHHMMSS"},
      {"4", "Stack Flow", "FLOW.U1.STACK.RATE"},
      {"5", "Stack O2 Day 0 Span Ref", "CemsInfoHistoryCal.U1.O2.Days[0].SPANREFGAS"},
      {"6", "Stack O2 Day 0 Zero Start",
       "CemsInfoHistoryCal.U1.O2.Days[0].ZEROINJECTIONSTARTHHMMSS"},
      {"7", "Stack O2 Day 0 Online", "CemsInfoHistoryCal.U1.O2.Days[0].ONLINE"},
      {"8", "Stack SO2 Day 0 Note", "CalHistory.U1.SO2.Days[0].COMMENT"},
      {"9", "Stack SO2 Day 0 Drift", "CalHistory.U1.SO2.Days[0].SPANDRIFTLIMIT75"},
      {"10", "Stack CO Zero", "CalHistory.CO"},
      {"11", "Other Analyzer Span", "CalHistory.U2.OTH.Days[0].INSTSPAN60"},
      {"12", "Stack SO2 Day 9 Span End", "CalHistory.U1.SO2.Days[9].SPANINJECTIONENDYYYYMMDD"},
      {"13", "Stack NOx Malformed", "CalHistory.U1.NOX.Days[2.ZEROAVG"},
  });
}

CalHdrGrid Spans(std::initializer_list<CalHdrRow> rows) {
  CalHdrGrid grid;
  std::copy(rows.begin(), rows.end(), grid.begin());
  return grid;
}

const CalHdrGrid PlantSpans =
    Spans({{"Stack NOx", "100"}, {"Stack O2", "21"}, {"Stack SO2", "1000"}});

class CalHdrWrite : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    db_ = std::make_unique<ScratchDatabase>(GetParam());
    db_->Init();
    Connect(db_->ConnectionString());
  }
  void Connect(const QString& c) {
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
  }
  std::optional<int> Write(const CalHdrGrid& grid, const ChannelConfigInfoManager::Records& ch) {
    return WriteCalHdrChannels(grid, ch, {gate_, writer_, sink_, prompter_, clock_, "Telmon"});
  }
  // (channel ID, value) of every record, in the order written.
  QStringList Records() {
    QStringList out;
    for (const QVariantList& row :
         db_->Rows(QStringLiteral("SELECT siteid, commandtext, extra1, extra2, callercode FROM "
                                  "H5IOCOMMAND ORDER BY id"))) {
      EXPECT_EQ(row[0].toString(), "PLANT1");
      EXPECT_EQ(row[2].toString() + row[3].toString(), QString());
      EXPECT_EQ(row[4].toString(), "TELM-0063");
      out << row[1].toString();
    }
    return out;
  }
  static QString Record(int id, const char* value) {
    return QStringLiteral("<Command action=\"WriteToChannel\" id=\"%1\" value=\"%2\" />")
        .arg(id)
        .arg(QLatin1String(value));
  }

  std::unique_ptr<ScratchDatabase> db_;
  H5DBIL dbil_;
  Sink sink_;
  ChannelValueWriter writer_{dbil_, sink_};
  EditGate gate_;
  ScriptedPrompter prompter_;
  ManualClock clock_;  // 14 March 2024
};

TEST_P(CalHdrWrite, FillsEveryCalChannelWithARuleAndSaysHowMany) {
  EXPECT_EQ(Write(PlantSpans, Plant()), 9);
  EXPECT_EQ(Records(), QStringList({Record(1, "-0.1"), Record(2, "90.1"), Record(3, "063000"),
                                    Record(5, "20.9"), Record(6, "064000"), Record(7, "1"),
                                    Record(9, "50"), Record(12, "20240304"), Record(13, "0")}));
  ASSERT_EQ(sink_.messages.size(), 1U);
  EXPECT_EQ(sink_.messages[0],
            std::make_pair(1, QStringLiteral("Wrote data to 9 cal HDR channels [TELM-0064]")));
  ASSERT_EQ(prompter_.Questions().size(), 1U);
  EXPECT_EQ(prompter_.Questions()[0].text, "Wrote data to 9 cal HDR channels [TELM-0064]");
  EXPECT_EQ(prompter_.Questions()[0].title, "Telmon");
  EXPECT_EQ(prompter_.Questions()[0].icon, PromptIcon::Information);
}

TEST_P(CalHdrWrite, GroupNumberingRestartsWithEveryClick) {
  const auto channels = Channels({
      {"21", "Stack O2 Zero Start", "CemsInfoHistoryCal.U1.O2.Days[0].ZEROINJECTIONSTARTHHMMSS"},
      {"22", "Stack SO2 Zero Start", "CalHistory.U1.SO2.Days[0].ZEROINJECTIONSTARTHHMMSS"},
      {"23", "Stack NOx Zero Start", "CalHistory.U1.NOX.Days[0].ZEROINJECTIONSTARTHHMMSS"},
  });
  EXPECT_EQ(Write(PlantSpans, channels), 3);
  EXPECT_EQ(Write(PlantSpans, channels), 3);
  const QStringList once = {Record(21, "063000"), Record(22, "064000"), Record(23, "065000")};
  EXPECT_EQ(Records(), once + once);
}

INSTANTIATE_TEST_SUITE_P(Backends, CalHdrWrite,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

class CalHdrWriteStops : public CalHdrWrite {};

TEST_P(CalHdrWriteStops, WithoutEditModeNothingIsWritten) {
  gate_.allowed = false;
  EXPECT_EQ(Write(PlantSpans, Plant()), std::nullopt);
  EXPECT_EQ(gate_.asked, 1);
  EXPECT_TRUE(Records().isEmpty());
  EXPECT_TRUE(prompter_.Questions().empty());
  gate_.allowOnAsk = true;  // the operator enables edits when asked
  EXPECT_EQ(Write(PlantSpans, Plant()), 9);
  EXPECT_EQ(gate_.asked, 2);
}

TEST_P(CalHdrWriteStops, NoUsableSpanIsTold) {
  const CalHdrGrid grids[] = {
      Spans({{"Stack NOx", "abc"}}),
      Spans({{"", "100"}, {"Stack O2", ""}, {"Stack SO2", " "}}),
      CalHdrGrid{},
  };
  for (const CalHdrGrid& grid : grids) {
    prompter_.Clear();
    EXPECT_EQ(Write(grid, Plant()), std::nullopt);
    ASSERT_EQ(prompter_.Questions().size(), 1U);
    EXPECT_EQ(prompter_.Questions()[0].text, "No spans are specified. [TELM-0062]");
    EXPECT_EQ(prompter_.Questions()[0].icon, PromptIcon::Exclamation);
    EXPECT_EQ(prompter_.Questions()[0].title, "Telmon");
  }
  EXPECT_TRUE(Records().isEmpty());
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_P(CalHdrWriteStops, AHugeSpanIsRefusedBeforeAnythingIsWritten) {
  EXPECT_EQ(Write(Spans({{"Stack NOx", "100"}, {"Stack O2", "1e30"}}), Plant()), std::nullopt);
  EXPECT_EQ(sink_.Texts(), QStringList{"TELM-0065: 6, Overflow"});
  EXPECT_TRUE(Records().isEmpty());
}

// A channel the write cannot take ends it with the write's failure; the channels before it stay
// written.
TEST_P(CalHdrWriteStops, AChannelThatCannotBeWrittenEndsTheWriteAndKeepsWhatWasWritten) {
  struct Case {
    const char* key;
    const char* address;
    const char* report;
  };
  const Case cases[] = {
      {"AI-3", "CalHistory.U1.NOX.Days[0].ONLINE", "TELM-0066: 13, Type mismatch"},
      {"4", "CalHistory.U1.NOX.Days[4294967296].ONLINE", "TELM-0066: 6, Overflow"},
      {"4", "CalHistory.U1.NOX.Days[1000000].ZEROINJECTIONSTARTYEAR", "TELM-0066: 6, Overflow"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.address);
    db_->Exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
    sink_.messages.clear();
    auto channels = Plant();
    channels[3]->Key = QLatin1String(c.key);
    channels[3]->Address = QLatin1String(c.address);
    EXPECT_EQ(Write(PlantSpans, channels), std::nullopt);
    EXPECT_EQ(sink_.Texts(), QStringList{QLatin1String(c.report)});
    EXPECT_EQ(Records(), QStringList({Record(1, "-0.1"), Record(2, "90.1"), Record(3, "063000")}));
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, CalHdrWriteStops, ::testing::Values(Backend::Sqlite),
                         BackendName);

TEST(CalHdrWriteVanishedDatabase, EachFailedRecordIsReportedAndStillCounted) {
  QTemporaryDir dir;
  H5DBIL dbil;
  const QString c = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("gone/site.db"));
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
  Sink sink;
  ChannelValueWriter writer(dbil, sink);
  EditGate gate;
  ScriptedPrompter prompter;
  ManualClock clock;
  const auto channels = Channels({
      {"1", "Stack NOx Zero", "CalHistory.U1.NOX.Days[0].ZEROAVG"},
      {"2", "Stack NOx Online", "CalHistory.U1.NOX.Days[0].ONLINE"},
  });
  EXPECT_EQ(WriteCalHdrChannels(PlantSpans, channels, {gate, writer, sink, prompter, clock, "T"}),
            2);
  EXPECT_EQ(sink.Texts(),
            QStringList({"TELM-0036: Could not write msg record to change channel value (1=-0.1)",
                         "TELM-0036: Could not write msg record to change channel value (2=1)",
                         "TELM-9010: 0 of 2 records written, 2 not written.",
                         "Wrote data to 2 cal HDR channels [TELM-0064]"}));
}

}  // namespace
}  // namespace telmon::test
