#include "tests/tools/ToolsTestSupport.h"
#include "tools/CalHdrChannelList.h"

#include <gtest/gtest.h>

namespace telmon::test {
namespace {

TEST(CalHdrHelpers, AddressPrefixAndKeyword) {
  struct Case {
    const char* address;
    const char* prefix;
    const char* keyword;
  };
  const Case cases[] = {
      {"A.B.C.D", "A.B", "D"},
      {"CalHistory.U1.NOX.ZEROAVG", "CalHistory.U1", "ZEROAVG"},
      {"CalHistory.U1.NOX.Days[4].ZEROAVG", "CalHistory.U1.NOX", "ZEROAVG"},
      {"CalHistory.ZEROAVG", "", "ZEROAVG"},  // one dot: no group
      {"CalHistory", "", ""},
      {"", "", ""},
      {".X", "", "X"},
      {"..", "", ""},
      {"A..B", "A", "B"},
      {"A.B.", "A", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.address);
    EXPECT_EQ(AddressPrefix(QLatin1String(c.address)), QLatin1String(c.prefix));
    EXPECT_EQ(AddressKeyword(QLatin1String(c.address)), QLatin1String(c.keyword));
  }
}

TEST(CalHdrHelpers, CommonLeadingWordsComeFromTheFirstText) {
  struct Case {
    const char* a;
    const char* b;
    const char* common;
  };
  const Case cases[] = {
      {"Stack NOx Zero Avg", "Stack NOx Span Avg", "Stack NOx"},
      {"STACK nox Zero", "Stack NOx Span", "STACK nox"},
      {"Stack NOx", "Stack NOx Zero Avg", "Stack NOx"},
      {"Stack NOx Zero", "Stack", "Stack"},
      {"Stack NOx", "Duct NOx", ""},
      {"Stack  NOx A", "Stack  NOx B", "Stack  NOx"},  // single-blank split keeps empty words
      {"", "Stack", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.a);
    EXPECT_EQ(CommonLeadingWords(QLatin1String(c.a), QLatin1String(c.b)), QLatin1String(c.common));
  }
}

TEST(CalHdrHelpers, EstimatedSpanTestsInOrderWithTheirCase) {
  const std::pair<const char*, const char*> cases[] = {
      {"Stack NOx/L", "10"},  {"Stack nox/l", "10"},  {"Stack NOx", "100"},
      {"Stack SO2/L", "100"}, {"Stack so2/l", "100"}, {"Stack SO2", "1000"},
      {"Stack so2", "100"},   {"Stack CO2", "20"},    {"Stack co2", "100"},
      {"Stack O2", "21"},     {"Stack o2", "100"},    {"Stack CO/L", "10"},
      {"Stack co/l", "10"},   {"Stack CO", "100"},    {"Stack Opacity", "100"},
      {"Stack NH3", "100"},   {"Flow", "100"},        {"", "100"},
      {"NOx O2", "100"},      {"SO2 CO2", "1000"},
  };
  for (const auto& [prefix, span] : cases) {
    EXPECT_EQ(EstimatedSpan(QLatin1String(prefix)), QLatin1String(span)) << prefix;
  }
}

class CalHdrLoadList : public ::testing::Test {
 protected:
  CalHdrGrid Load(const std::vector<ChannelRow>& rows) {
    CalHdrGrid grid;
    grid.fill({QStringLiteral("old"), QStringLiteral("1")});
    LoadCalHdrList(Channels(rows), sink_, grid);
    return grid;
  }
  Sink sink_;
};

TEST_F(CalHdrLoadList, GroupsByAddressPrefixAndNarrowsToSharedWords) {
  const CalHdrGrid grid = Load({
      {"1", "Stack NOx Zero Avg", "CalHistory.U1.NOX.ZEROAVG"},
      {"2", "Stack NOx Span Avg", "CalHistory.U1.NOX.SPANAVG"},
      {"3", "Stack Flow", "FLOW.U1.STACK.RATE"},  // not a cal HDR channel
      {"4", "Stack O2 Day 0 Zero", "cemsinfohistorycal.U2.O2.Days[0].ZEROAVG"},
      {"5", "Stack O2 Day 1 Zero", "CemsInfoHistoryCal.U2.O2.Days[1].ZEROAVG"},
      {"6", "Stack NOx/L Zero", "calhistory.U2.NOXL.Days[0].ZEROAVG"},
      {"7", "Stack NOx/L", "CALHISTORY.U2.NOXL.Days[1].SPANAVG"},  // named like the prefix
      {"8", "Stack SO2 A", "CalHistory.SO2"},                      // one dot: skipped
      {"9", "stack nox zero", "CalHistory.U3.NOX.ZEROAVG"},        // same prefix, other case
  });
  EXPECT_EQ(grid[0], (CalHdrRow{"Stack NOx", "100"}));
  EXPECT_EQ(grid[1], (CalHdrRow{"Stack O2 Day", "21"}));
  EXPECT_EQ(grid[2], (CalHdrRow{"Stack NOx/L Zero", "10"}));
  EXPECT_EQ(grid[3], (CalHdrRow{"stack nox zero", "100"}));
  for (std::size_t i = 4; i < CalHdrRowCount; ++i) {
    EXPECT_EQ(grid[i], CalHdrRow{}) << i;
  }
  EXPECT_TRUE(sink_.messages.empty()) << sink_.Texts().join('\n').toStdString();
}

TEST_F(CalHdrLoadList, ANameWithNoWordInCommonIsReportedAndTheScanGoesOn) {
  const CalHdrGrid grid = Load({
      {"1", "Stack NOx Zero", "CalHistory.U1.NOX.ZEROAVG"},
      {"2", "Duct NOx Span", "CalHistory.U1.NOX.SPANAVG"},
      {"3", "Stack NOx Span", "CalHistory.U1.NOX.INSTSPAN60"},
      {"4", "Stack CO2 Zero", "CalHistory.U2.CO2.ZEROAVG"},
  });
  ASSERT_EQ(sink_.messages.size(), 1U);
  EXPECT_EQ(sink_.messages[0].first, 4);
  EXPECT_EQ(sink_.messages[0].second,
            "[TELM-0060] Could not find prefix for 'Stack NOx Zero' and "
            "CalHistory.U1.NOX.SPANAVG 'Duct NOx Span'");
  EXPECT_EQ(grid[0], (CalHdrRow{"Stack NOx", "100"}));
  EXPECT_EQ(grid[1], (CalHdrRow{"Stack CO2 Zero", "20"}));
}

TEST_F(CalHdrLoadList, SixteenRowsAreFilledAndTheRestDroppedSilently) {
  std::vector<ChannelRow> rows;
  std::vector<QByteArray> ids;
  for (int i = 0; i < 20; ++i) {
    ids.push_back(QByteArray::number(i + 1));
  }
  for (int i = 0; i < 20; ++i) {
    rows.push_back({ids[std::size_t(i)].constData(), QStringLiteral("Analyzer %1 SO2").arg(i),
                    QStringLiteral("CalHistory.A%1.SO2.Days[0].ZEROAVG").arg(i)});
  }
  rows.push_back({"99", "Analyzer 3 SO2", "CalHistory.B3.SO2.Days[0].ZEROAVG"});  // a repeat
  const CalHdrGrid grid = Load(rows);
  for (std::size_t i = 0; i < CalHdrRowCount; ++i) {
    EXPECT_EQ(grid[i], (CalHdrRow{QStringLiteral("Analyzer %1 SO2").arg(i), "1000"}));
  }
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(CalHdrLoadList, NoCalChannelsClearsTheGrid) {
  const CalHdrGrid grid = Load({{"1", "Stack Flow", "FLOW.U1.STACK.RATE"}});
  for (const CalHdrRow& row : grid) {
    EXPECT_EQ(row, CalHdrRow{});
  }
}

}  // namespace
}  // namespace telmon::test
