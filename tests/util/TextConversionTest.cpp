#include "util/TextConversionFunctions.h"
#include "util/Value.h"

#include "tests/util/QStringPrinter.h"

#include <gtest/gtest.h>

using namespace telmon;

TEST(IsNumeric, AcceptsTheSystemsNumberForms) {
  for (const char* yes : {"0", " 12 ", "-3", "+4", "1.5", ".5", "5.", "1e3", "1.5E-7", "&H10",
                          "&hff", "&O17", "&HFFFFFFFF", "1E-700", "-1e-99999"}) {
    EXPECT_TRUE(IsNumeric(QString::fromLatin1(yes))) << yes;
  }
  for (const char* no : {"", " ", "-", ".", "1.2.3", "1,000", "12,7", "1 2", "abc", "&H", "&HG",
                         "&H-1", "&H 1", "&H100000000", "nan", "inf", "1e", "0x10", "1e999"}) {
    EXPECT_FALSE(IsNumeric(QString::fromLatin1(no))) << no;
  }
}

TEST(ToInteger, RoundsHalfToEvenAndReadsHexAsAPatternOfTheTargetWidth) {
  EXPECT_EQ(ToInt32("&H10"), 16);
  EXPECT_EQ(ToInt16("&H10"), 16);
  EXPECT_EQ(ToInt32("&HFFFF"), 65535);
  EXPECT_EQ(ToInt16("&HFFFF"), -1);
  EXPECT_EQ(ToInt32("&H10000"), 65536);
  EXPECT_EQ(ToInt16("&H10000"), std::nullopt);
  EXPECT_EQ(ToInt16("&H8000"), -32768);
  EXPECT_EQ(ToInt32("&HFFFFFFFF"), -1);
  EXPECT_EQ(ToInt32("&O777"), 511);
  EXPECT_EQ(ToInt32("2.5"), 2);
  EXPECT_EQ(ToInt32("3.5"), 4);
  EXPECT_EQ(ToInt32("-2.5"), -2);
  EXPECT_EQ(ToInt32("2147483647"), 2147483647);
  EXPECT_EQ(ToInt32("2147483648"), std::nullopt);
  EXPECT_EQ(ToInt16("32768"), std::nullopt);
  EXPECT_EQ(ToInt16("-32768"), -32768);
  EXPECT_EQ(ToInt64("9007199254740993"), 9007199254740993LL);
  EXPECT_EQ(ToInt32("12abc"), std::nullopt);
  EXPECT_EQ(ToInt32(""), std::nullopt);
}

TEST(ToBoolean, WordsOrNumbers) {
  EXPECT_EQ(ToBoolean("true"), true);
  EXPECT_EQ(ToBoolean(" FALSE "), false);
  EXPECT_EQ(ToBoolean("-1"), true);
  EXPECT_EQ(ToBoolean("0"), false);
  EXPECT_EQ(ToBoolean("0.0"), false);
  EXPECT_EQ(ToBoolean("&H1"), true);
  EXPECT_EQ(ToBoolean("yes"), std::nullopt);
  EXPECT_EQ(ToBoolean(""), std::nullopt);
  EXPECT_EQ(BooleanText(true), "True");
}

TEST(ToDateTime, IsoDatesAndTimesOfDay) {
  EXPECT_EQ(ToDateTime("2024-03-14 07:08:09"), QDateTime(QDate(2024, 3, 14), QTime(7, 8, 9)));
  EXPECT_EQ(ToDateTime("2024-03-14T07:08:09"), QDateTime(QDate(2024, 3, 14), QTime(7, 8, 9)));
  EXPECT_EQ(ToDateTime("2024-03-14"), QDateTime(QDate(2024, 3, 14), QTime(0, 0)));
  EXPECT_EQ(ToDateTime("7:08"), QDateTime(ZeroDate(), QTime(7, 8)));
  EXPECT_EQ(ToDateTime("2024-02-30"), std::nullopt);
  EXPECT_EQ(ToDateTime("12"), std::nullopt);
}
