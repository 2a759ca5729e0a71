#include "util/ErrorInfo.h"
#include "util/UtilityFunctions.h"

#include "tests/util/QStringPrinter.h"

#include <gtest/gtest.h>

using namespace telmon;

TEST(TruncateForDisplay, CutsOnlyTextLongerThanTheLimit) {
  EXPECT_EQ(TruncateForDisplay("abc", 3), "abc");
  EXPECT_EQ(TruncateForDisplay("abcd", 3), "abc...");
  EXPECT_EQ(TruncateForDisplay("", 0), "");
  EXPECT_EQ(TruncateForDisplay("a", 0), "...");
}

TEST(EscapeXmlText, AmpersandFirstApostropheKept) {
  EXPECT_EQ(EscapeXmlText("&lt;"), "&amp;lt;");
  EXPECT_EQ(EscapeXmlText(QString::fromUtf8("a<b>\"c\"'d' 50°")),
            "a&lt;b&gt;&quot;c&quot;'d' 50&#176;");
  EXPECT_EQ(EscapeXmlText("10.0.0.1"), "10.0.0.1");
}

TEST(ReadDahsIdSwitch, FindsTheSwitchInAnyCase) {
  EXPECT_EQ(ReadDahsIdSwitch({"telmon", "/DAHSID=3"}), 3);
  EXPECT_EQ(ReadDahsIdSwitch({"telmon", "-x", "/dahsid=12"}), 12);
  EXPECT_EQ(ReadDahsIdSwitch({"telmon"}), 0);
  EXPECT_EQ(ReadDahsIdSwitch({"telmon", "/DAHSID=2", "/DAHSID=5"}), 2);
  EXPECT_EQ(FindDahsIdSwitch({"telmon", "/DahsId= 4"}), QString(" 4"));
  EXPECT_FALSE(FindDahsIdSwitch({"telmon", "DAHSID=4"}).has_value());
}

// A number too big for 32 bits is an overflow (6); anything else that is no number is a type
// mismatch (13): the start-up message shows which.
TEST(ReadDahsIdSwitch, AValueThatIsNotA32BitIntegerThrows) {
  auto numberThrown = [](const char* arg) -> long {
    try {
      ReadDahsIdSwitch({"telmon", arg});
    } catch (const TelmonError& e) {
      return e.number();
    }
    return 0;
  };
  EXPECT_EQ(numberThrown("/DAHSID="), 13);
  EXPECT_EQ(numberThrown("/DAHSID=abc"), 13);
  EXPECT_EQ(numberThrown("/DAHSID=99999999999"), 6);
  EXPECT_EQ(numberThrown("/DAHSID=-2147483649"), 6);
  EXPECT_EQ(numberThrown("/DAHSID=2147483647"), 0);
}

TEST(NullIfZeroOrEmpty, ZerosAndEmptinessBecomeNull) {
  for (const Value& v : {Value(), Value(0), Value(0.0), Value(Decimal()), Value(false), Value(""),
                         Value("0"), Value(" 0.0 "), Value("&H0"), Value(ZeroDateTime()),
                         Value("00:00:00"), Value("1899-12-30")}) {
    EXPECT_TRUE(NullIfZeroOrEmpty(v).IsNull()) << v.ToText().toStdString();
  }
  for (const Value& v :
       {Value(7), Value("abc"), Value(" "), Value(true), Value("0.5"),
        Value(QDateTime(QDate(2024, 1, 1), QTime(0, 0))), Value::Time(QTime(0, 0, 1))}) {
    EXPECT_EQ(NullIfZeroOrEmpty(v), v) << v.ToText().toStdString();
  }
  EXPECT_TRUE(NullIfZeroOrEmpty(Value::Null()).IsNull());
}

TEST(NullToEmpty, OnlyNullChanges) {
  EXPECT_TRUE(NullToEmpty(Value::Null()).IsEmpty());
  EXPECT_EQ(NullToEmpty(Value("x")), Value("x"));
  // The combination turns empty text or a numeric zero into 0 for an integer field.
  EXPECT_EQ(NullToEmpty(NullIfZeroOrEmpty(Value(""))).ToInt32(), 0);
  EXPECT_EQ(NullToEmpty(NullIfZeroOrEmpty(Value("0"))).ToInt32(), 0);
  EXPECT_EQ(NullToEmpty(NullIfZeroOrEmpty(Value("42"))).ToInt32(), 42);
  EXPECT_EQ(NullToEmpty(NullIfZeroOrEmpty(Value(""))).ToText(), "");
}

TEST(FormatDateTimeStyle, TwelveHourClockWithOneDigitHour) {
  const auto f = DateTimeFormats::FromLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  const QDateTime morning(QDate(2024, 3, 4), QTime(9, 5, 7));
  EXPECT_EQ(f.longTime, "h:mm:ss AP");
  EXPECT_EQ(FormatDateTimeStyle(morning, 1, f), "9:05:07 AM");
  EXPECT_EQ(FormatDateTimeStyle(morning, -1, f), "9:05 AM");
  EXPECT_EQ(FormatDateTimeStyle(morning, -2, f), "09:05 AM");
  EXPECT_EQ(FormatDateTimeStyle(morning, 13, f), "3/4/24");
  EXPECT_EQ(FormatDateTimeStyle(morning, 10, f), "3/4/24 9:05 AM");
  EXPECT_EQ(FormatDateTimeStyle(morning, 11, f), "3/4/24 9:05:07 AM");
  EXPECT_EQ(FormatDateTimeStyle(morning, 12, f), "3/4/24 9 AM");
  EXPECT_EQ(FormatDateTimeStyle(morning, 2, f), "9 AM");
  EXPECT_EQ(FormatDateTimeStyle(QDateTime(QDate(2024, 3, 4), QTime(21, 5)), 10, f),
            "3/4/24 9:05 PM");
}

TEST(FormatDateTimeStyle, TwentyFourHourClockWithTwoDigitHour) {
  const auto f = DateTimeFormats::FromLocale(QLocale(QLocale::German, QLocale::Germany));
  const QDateTime morning(QDate(2024, 3, 4), QTime(9, 5, 7));
  EXPECT_EQ(FormatDateTimeStyle(morning, 10, f), "04.03.24 09:05");
  EXPECT_EQ(FormatDateTimeStyle(morning, 12, f), "04.03.24 09");
  EXPECT_EQ(FormatDateTimeStyle(morning, -3, f), "09:05:07");
  EXPECT_EQ(FormatDateTimeStyle(morning, 0, f), "09:05");
}

TEST(RoundDownToPeriod, WholePeriodsSinceMidnight) {
  const QDate day(2024, 3, 14);
  const QDateTime t(day, QTime(14, 37, 59));
  EXPECT_EQ(RoundDownToPeriod(t, 900), QDateTime(day, QTime(14, 30)));
  EXPECT_EQ(RoundDownToPeriod(t, 3600), QDateTime(day, QTime(14, 0)));
  EXPECT_EQ(RoundDownToPeriod(t, 7), QDateTime(day, QTime(14, 37, 55)));
  EXPECT_EQ(RoundDownToPeriod(t, 86400), QDateTime(day, QTime(0, 0)));
  EXPECT_EQ(RoundDownToPeriod(t, 100000), QDateTime(day, QTime(0, 0)));
  EXPECT_EQ(RoundDownToPeriod(QDateTime(day, QTime(14, 30, 0, 500)), 900),
            QDateTime(day, QTime(14, 30)));
  EXPECT_EQ(RoundDownToPeriod(t, 0), t);
}

TEST(Now, ComesFromTheClock) {
  ManualClock clock;
  clock.SetNow(QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5)));
  EXPECT_EQ(Now(clock), QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5)));
  EXPECT_LE(qAbs(Now().secsTo(QDateTime::currentDateTime())), 5);
}
