#include "tests/tools/ToolsTestSupport.h"
#include "tools/CalHdrValues.h"
#include "util/Clock.h"
#include "util/ErrorInfo.h"
#include "util/UtilityFunctions.h"

#include <gtest/gtest.h>

#include <optional>

namespace telmon::test {
namespace {

CalHdrGrid SpanGrid() {
  CalHdrGrid grid;
  const CalHdrRow rows[] = {
      {"Stack NOx/L", "10"},
      {"Stack NOx", "100"},
      {"stack nox", "5"},  // already present: the first row wins
      {"Stack O2", " 21 "},
      {"Stack CO2", "20.0"},
      {"Stack SO2", "1000"},
      {"Stack Flow", "1.5E3"},
      {"NOx50", "50"},
      {"Bad", "abc"},
      {"", "100"},
      {"Neg NOx", "-20"},
      {"Big SO2", "1234567890123456789012345678"},
      {"Hex", "&H10"},
  };
  std::copy(std::begin(rows), std::end(rows), grid.begin());
  return grid;
}

class CalHdrValues : public ::testing::Test {
 protected:
  QString ValueOf(const QString& name, const QString& address) {
    return CalHdrChannelValue(name, address, context_);
  }
  ManualClock clock_;  // 14 March 2024, 14:05:09
  CalHdrSpanTable spans_ = CalHdrSpanTable::FromGrid(SpanGrid());
  CalHdrInjectionTimes times_;
  CalHdrChannelContext context_{spans_, times_, RoundDownToPeriod(Now(clock_), 86400)};
};

TEST_F(CalHdrValues, RulesGiveExactDecimalText) {
  struct Case {
    const char* name;
    const char* address;
    const char* value;
  };
  const Case cases[] = {
      {"Stack NOx Zero Avg", "CalHistory.U1.NOX.Days[0].ZEROAVG", "-0.1"},
      {"Stack NOx Zero Avg", "CalHistory.U1.NOX.Days[4].ZEROAVG", "-0.5"},
      {"Stack NOx Span Avg", "CalHistory.U1.NOX.Days[0].SPANAVG", "90.1"},
      {"Stack NOx Span Avg", "CalHistory.U1.NOX.Days[2].spanavg", "90.3"},
      {"NOx50 Drift", "CalHistory.U1.N50.Days[0].ZERODRIFTLIMIT75", "5"},
      {"NOx50 Drift", "CalHistory.U1.N50.Days[0].ZERODRIFTLIMIT60", "2.5"},
      {"Stack NOx/L Drift", "CalHistory.U1.NOXL.Days[0].SPANDRIFTLIMIT75", "5"},
      {"Stack NOx/L Drift", "CalHistory.U1.NOXL.Days[0].DRIFTLIMIT60", "0.5"},
      // The floor belongs to the three "75" drift limits only.
      {"NOx50 Drift", "CalHistory.U1.N50.Days[0].DRIFTLIMIT75", "5"},
      {"NOx50 Drift", "CalHistory.U1.N50.Days[0].SPANDRIFTLIMIT75", "5"},
      {"NOx50 Drift", "CalHistory.U1.N50.Days[0].DRIFTLIMIT60", "2.5"},
      {"NOx50 Drift", "CalHistory.U1.N50.Days[0].SPANDRIFTLIMIT60", "2.5"},
      // Spans are matched on the name's beginning in any case.
      {"STACK NOX ZERO AVG", "CalHistory.U1.NOX.Days[0].ZEROAVG", "-0.1"},
      {"Stack O2 Drift", "CalHistory.U1.O2.Days[0].DRIFTLIMIT60", "0.5"},
      {"Stack O2 Drift", "CalHistory.U1.O2.Days[0].DRIFTLIMIT75", "0.5"},
      {"Stack O2 Ref", "CalHistory.U1.O2.Days[0].SPANREFGAS", "20.9"},
      {"Stack O2 Span", "CalHistory.U1.O2.Days[1].SPANAVG", "20.942"},
      {"Stack CO2 Drift", "CalHistory.U1.CO2.Days[0].ZERODRIFTLIMIT75", "0.5"},
      {"Stack CO2 Ref", "CalHistory.U1.CO2.Days[0].SPANREFGAS", "18"},
      {"Stack SO2 Drift", "CalHistory.U1.SO2.Days[0].DRIFTLIMIT75", "50"},
      {"Stack SO2 Ref", "CalHistory.U1.SO2.Days[0].SPANREFGAS", "900"},
      {"Stack Flow Drift", "CalHistory.U1.FLOW.Days[0].DRIFTLIMIT60", "90"},
      {"Stack Flow Ref", "CalHistory.U1.FLOW.Days[0].SPANREFGAS", "825"},
      {"Stack Flow Span", "CalHistory.U1.FLOW.Days[0].INSTSPAN75", "1500"},
      {"Stack NOx/L Span", "CalHistory.U1.NOXL.Days[0].INSTSPAN60", "10"},
      {"Stack CO2 Span", "CalHistory.U1.CO2.Days[0].INSTSPAN60", "20"},
      {"Stack O2 Span", "CalHistory.U1.O2.Days[0].INSTSPAN60", "21"},
      {"Hex Span", "CalHistory.U1.HEX.Days[0].INSTSPAN60", "16"},
      // Day numbers that are missing, malformed or negative.
      {"Stack NOx Zero", "CalHistory.U1.NOX.ZEROAVG", "0"},
      {"Stack NOx Zero", "CalHistory.U1.NOX.Days[x].ZEROAVG", "0"},
      {"Stack NOx Zero", "CalHistory.U1.NOX.Days[-2].ZEROAVG", "0"},
      {"Stack NOx Zero", "CalHistory.U1.NOX.Days[3.ZEROAVG", "0"},
      {"Stack NOx Span", "CalHistory.U1.NOX.Days[-1].SPANAVG", "90"},
      {"Stack NOx Span", "CalHistory.U1.NOX.Days[].SPANAVG", "90"},
      // Names that start with no prefix of the grid.
      {"Other Zero", "CalHistory.U1.OTH.Days[0].ZEROAVG", "0"},
      {"Other Span", "CalHistory.U1.OTH.Days[0].SPANAVG", ""},
      {"Other Span", "CalHistory.U1.OTH.Days[0].INSTSPAN60", ""},
      {"Other Drift", "CalHistory.U1.OTH.Days[0].DRIFTLIMIT75", ""},
      {"Other Ref", "CalHistory.U1.OTH.Days[0].SPANREFGAS", ""},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].ZEROFAILLOW60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].ZEROFAILHIGH60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].SPANFAILLOW60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].SPANFAILHIGH60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].FAILOOC60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].ZEROFAILLOW75", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].ZEROFAILHIGH75", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].SPANFAILLOW75", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].SPANFAILHIGH75", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].MANUAL", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].FAILDAYSCOUNT60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].FAIL5DAYOOC60", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].ZEROREFGAS", "0"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].Online", "1"},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].NOTAKEYWORD", ""},
      {"Other Flag", "CalHistory.U1.OTH.Days[0].ZEROINJECTIONSTARTSECOND", ""},
      // Spans at the edges of the decimal type.
      {"Neg NOx Drift", "CalHistory.U1.NEG.Days[0].DRIFTLIMIT75", "5"},
      {"Neg NOx Drift", "CalHistory.U1.NEG.Days[0].DRIFTLIMIT60", "-1"},
      {"Neg NOx Zero", "CalHistory.U1.NEG.Days[0].ZEROAVG", "0.02"},
      {"Big SO2 Span", "CalHistory.U1.BIG.Days[0].INSTSPAN60", "1234567890123456789012345678"},
      {"Big SO2 Ref", "CalHistory.U1.BIG.Days[0].SPANREFGAS", "1111111101111111110111111110.2"},
      {"Big SO2 Zero", "CalHistory.U1.BIG.Days[0].ZEROAVG", "-1234567890123456789012345.678"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ValueOf(QLatin1String(c.name), QLatin1String(c.address)), QLatin1String(c.value))
        << c.name << " / " << c.address;
  }
}

TEST_F(CalHdrValues, InjectionTimesNumberGroupsInTheOrderMet) {
  const std::pair<const char*, const char*> cases[] = {
      // A keyword that names no time has no value and takes no group.
      {"CalHistory.U9.NOX.Days[0].ZEROINJECTIONSTARTWEEK", ""},
      {"CalHistory.U9.NOX.Days[0].COLOUR", ""},
      {"CalHistory.U1.NOX.Days[0].ZEROINJECTIONSTARTHHMMSS", "063000"},
      {"CalHistory.U1.NOX.Days[0].ZEROINJECTIONSTARTYYYYMMDD", "20240313"},
      {"CalHistory.U1.NOX.Days[2].SPANINJECTIONENDHHMMSS", "063800"},
      {"CalHistory.U1.NOX.Days[2].ZEROINJECTIONENDHHMMSS", "063400"},
      {"CalHistory.U1.NOX.Days[2].SPANINJECTIONSTARTMINUTE", "34"},
      {"CalHistory.U1.NOX.Days[2].YEAR", "2024"},
      {"CalHistory.U1.NOX.Days[2].MONTH", "3"},
      {"CalHistory.U1.NOX.Days[2].DAY", "11"},
      {"CalHistory.U1.SO2.Days[0].HOUR", "6"},
      {"CalHistory.U1.SO2.Days[0].MINUTE", "40"},
      {"CemsInfoHistoryCal.U2.O2.Days[1].ZEROINJECTIONSTARTMINUTE", "50"},
      {"CemsInfoHistoryCal.U2.O2.Days[1].SPANINJECTIONENDYYYYMMDD", "20240312"},
      {"CALHISTORY.U1.nox.Days[20].ZEROINJECTIONSTARTHHMMSS", "063000"},
      {"CalHistory.U1.NOX.Days[14].ZEROINJECTIONSTARTDAY", "28"},
      {"CalHistory.U1.NOX.Days[14].ZEROINJECTIONSTARTMONTH", "2"},
      // A day number that is not one gives the zero date-time, written as such.
      {"CalHistory.U1.NOX.Days[x].YEAR", "1899"},
      {"CalHistory.U1.NOX.Days[x].MONTH", "12"},
      {"CalHistory.U1.NOX.Days[-1].DAY", "30"},
      {"CalHistory.U1.NOX.Days[-1].HOUR", "0"},
      {"CalHistory.U1.NOX.ZEROINJECTIONENDMINUTE", "0"},  // group "CalHistory.U1"
      {"CalHistory.U1.NOX.Days[x].SPANINJECTIONSTARTYYYYMMDD", "18991230"},
      {"CalHistory.U1.NOX.Days[x].SPANINJECTIONSTARTHHMMSS", "000000"},
  };
  for (const auto& [address, value] : cases) {
    EXPECT_EQ(ValueOf(QStringLiteral("Anything"), QLatin1String(address)), QLatin1String(value))
        << address;
  }
  EXPECT_EQ(times_.GroupCount(), 4);
}

TEST_F(CalHdrValues, RepeatedPrefixesCountOnceInAnyCase) {
  // Eleven rows have a prefix and a numeric span, and "stack nox" repeats "Stack NOx".
  EXPECT_EQ(spans_.Size(), 10U);
}

// Day numbers; empty where the number is beyond 32 bits, an overflow.
TEST_F(CalHdrValues, DayNumbers) {
  const std::pair<const char*, std::optional<int>> cases[] = {
      {"CalHistory.U1.NOX.Days[0].ZEROAVG", 0},
      {"CalHistory.U1.NOX.days[12].ZEROAVG", 12},
      {"CalHistory.U1.NOX.Days[ 7 ].ZEROAVG", 7},
      {"CalHistory.U1.NOX.Days[-3].ZEROAVG", -3},
      {"CalHistory.U1.NOX.Days[x].ZEROAVG", -999},
      {"CalHistory.U1.NOX.Days[].ZEROAVG", -999},
      {"CalHistory.U1.NOX.Days[5.ZEROAVG", -999},
      {"CalHistory.U1.NOX.ZEROAVG", -999},
      {"CalHistory.U1.NOX.Days[2147483647].X", 2147483647},
      {"CalHistory.U1.NOX.Days[99999999999].X", std::nullopt},
      {"CalHistory.U1.NOX.Days[2147483648].X", std::nullopt},
      {"CalHistory.U1.NOX.Days[-2147483649].X", std::nullopt},
  };
  for (const auto& [address, day] : cases) {
    std::optional<int> got;
    try {
      got = CalHdrDayNumber(QLatin1String(address));
    } catch (const TelmonError& e) {
      EXPECT_EQ(e.number(), ErrorNumber::Overflow) << address;
    }
    EXPECT_EQ(got, day) << address;
  }
}

// Injection dates stay inside the system's years 100 to 9999; a day number that leaves them is
// an overflow, as is one beyond 32 bits for any keyword. Averages need no date.
TEST_F(CalHdrValues, DayNumbersAtTheEdgesOfTheDateRange) {
  const qint64 lastDay = QDate(100, 1, 1).daysTo(QDate(2024, 3, 13));  // the day before today
  const auto address = [](qint64 day, const char* keyword) {
    return QStringLiteral("CalHistory.U1.NOX.Days[%1].%2").arg(day).arg(QLatin1String(keyword));
  };
  const QString name = QStringLiteral("Stack NOx");
  EXPECT_EQ(ValueOf(name, address(lastDay, "ZEROINJECTIONSTARTYYYYMMDD")), "01000101");
  EXPECT_EQ(ValueOf(name, address(lastDay, "YEAR")), "100");
  for (const QString& overflow :
       {address(lastDay + 1, "ZEROINJECTIONSTARTYEAR"),
        address(lastDay + 1, "SPANINJECTIONENDHHMMSS"), address(2147483647, "MINUTE"),
        address(2147483648LL, "ONLINE"), address(99999999999LL, "ZEROAVG")}) {
    try {
      const QString value = ValueOf(name, overflow);
      ADD_FAILURE() << overflow.toStdString() << " gave " << value.toStdString();
    } catch (const TelmonError& e) {
      EXPECT_EQ(e.number(), ErrorNumber::Overflow) << overflow.toStdString();
    }
  }
  EXPECT_EQ(ValueOf(name, address(2147483647, "ZEROAVG")), "-214748364.8");
  EXPECT_EQ(ValueOf(name, address(2147483647, "ONLINE")), "1");
}

TEST(CalHdrSpanTableTest, SpansBeyondTheDecimalRangeAreRefusedBeforeAnyWrite) {
  for (const char* span : {"1e30", "79228162514264337593543950336", "-1E29"}) {
    CalHdrGrid grid;
    grid[0] = {QStringLiteral("Stack NOx"), QLatin1String(span)};
    try {
      (void)CalHdrSpanTable::FromGrid(grid);
      ADD_FAILURE() << span << " was accepted";
    } catch (const TelmonError& e) {
      EXPECT_EQ(e.number(), ErrorNumber::Overflow) << span;
    }
  }
  CalHdrGrid grid;
  grid[3] = {QStringLiteral("Stack NOx"), QStringLiteral("79228162514264337593543950335")};
  grid[5] = {QStringLiteral("Stack CO"), QStringLiteral("abc")};
  EXPECT_EQ(CalHdrSpanTable::FromGrid(grid).Size(), 1U);
}

TEST(CalHdrSpanTableTest, ResultsBeyondTheDecimalRangeAreAnOverflow) {
  CalHdrGrid grid;
  grid[0] = {QStringLiteral("Stack NOx"), QStringLiteral("79228162514264337593543950335")};
  const CalHdrSpanTable spans = CalHdrSpanTable::FromGrid(grid);
  CalHdrInjectionTimes times;
  CalHdrChannelContext context{spans, times, QDateTime(QDate(2024, 1, 1), QTime(0, 0))};
  EXPECT_EQ(CalHdrChannelValue(QStringLiteral("Stack NOx"),
                               QStringLiteral("CalHistory.U1.NOX.Days[0].INSTSPAN60"), context),
            "79228162514264337593543950335");
  EXPECT_NO_THROW(CalHdrChannelValue(QStringLiteral("Stack NOx"),
                                     QStringLiteral("CalHistory.U1.NOX.Days[0].SPANREFGAS"),
                                     context));
  EXPECT_THROW(CalHdrChannelValue(QStringLiteral("Stack NOx"),
                                  QStringLiteral("CalHistory.U1.NOX.Days[5000].ZEROAVG"), context),
               TelmonError);
}

}  // namespace
}  // namespace telmon::test
