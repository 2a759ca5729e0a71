#include "util/UtilityXMLDOMFunctions.h"
#include "util/Value.h"

#include "tests/util/QStringPrinter.h"

#include <gtest/gtest.h>

using namespace telmon;
using telmon::xml::NumberToPlainText;
using telmon::xml::VariantToXmlText;

namespace {
QString Dec(const char* text) {
  const auto d = Decimal::Parse(QString::fromLatin1(text));
  return d ? d->ToText() : QStringLiteral("<none>");
}
}  // namespace

TEST(Decimal, ParsesDecimalTextExactlyAndWritesPlainText) {
  EXPECT_EQ(Dec("0.1"), "0.1");
  EXPECT_EQ(Dec(" -12.50 "), "-12.5");
  EXPECT_EQ(Dec("+.25"), "0.25");
  EXPECT_EQ(Dec("5."), "5");
  EXPECT_EQ(Dec("1.5E3"), "1500");
  EXPECT_EQ(Dec("1E-7"), "0.0000001");
  EXPECT_EQ(Dec("-0.000"), "0");
  EXPECT_EQ(Dec("0000120"), "120");
  // Every digit of the decimal range survives; a double would keep only about 16.
  EXPECT_EQ(Dec("1234567890.1234567890123456789"), "1234567890.1234567890123456789");
  EXPECT_EQ(Dec("-79228162514264337593543950335"), "-79228162514264337593543950335");
  EXPECT_EQ(Dec("0.0000000000000000000000000001"), "0.0000000000000000000000000001");
}

// What the system's decimal type keeps: 29 significant digits, at most 28 after the point, and
// a 96-bit coefficient; the rest is rounded half to even.
TEST(Decimal, RoundsToWhatTheDecimalTypeKeeps) {
  const std::pair<const char*, const char*> cases[] = {
      {"9.99999999999999999999999999999", "10"},
      {"12345678901234567890123456788.5", "12345678901234567890123456788"},
      {"0.123456789012345678901234567885", "0.1234567890123456789012345679"},
      {"0.12345678901234567890123456785", "0.1234567890123456789012345678"},
      {"0.12345678901234567890123456775", "0.1234567890123456789012345678"},
      {"1e-30", "0"},
      {"-1e-999", "0"},
      {"1E-40", "0"},
      {"0.00000000000000000000000000005", "0"},
      {"0.000000000000000000000000000051", "0.0000000000000000000000000001"},
      {"0.00000000000000000000000000015", "0.0000000000000000000000000002"},
      {"-0.00000000000000000000000000025", "-0.0000000000000000000000000002"},
      {"0.000000000000000000000000000099", "0.0000000000000000000000000001"},
      // 28 places would need a coefficient beyond 96 bits: one place fewer.
      {"7.9228162514264337593543950335", "7.9228162514264337593543950335"},
      {"7.9228162514264337593543950336", "7.922816251426433759354395034"},
      {"9.9999999999999999999999999999", "10"},
      {"1234567890.1234567890123456789", "1234567890.1234567890123456789"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(Dec(text), expected) << text;
  }
  // Results of arithmetic are held the same way.
  const Decimal tiny = *Decimal::Parse("0.00000000000001");
  EXPECT_EQ((tiny * tiny).ToText(), "0.0000000000000000000000000001");
  EXPECT_EQ((tiny * tiny * *Decimal::Parse("0.4")).ToText(), "0");
  EXPECT_EQ(Divide(Decimal(2), Decimal(3))->ToText(), "0.6666666666666666666666666667");
  EXPECT_EQ((*Decimal::Parse("0.0000000000000000000000000001") - *Decimal::Parse("1e-29")).ToText(),
            "0.0000000000000000000000000001");
  // A sum with 28 places or fewer but more than 29 significant digits keeps 29 of them.
  const Decimal big = *Decimal::Parse("1234567890123456789012345678.9");
  EXPECT_EQ(((big + *Decimal::Parse("0.01")) - big).ToText(), "0");
  EXPECT_EQ(((big + *Decimal::Parse("0.06")) - big).ToText(), "0.1");
}

TEST(Decimal, RefusesWhatIsNotADecimalNumber) {
  for (const char* bad : {"", " ", "abc", "1.2.3", ".", "-", "1e", "e5", "&H10", "1,5", "1 2",
                          "nan", "inf", "1E29", "79228162514264337593543950336", "1e99999999999"}) {
    EXPECT_FALSE(Decimal::Parse(QString::fromLatin1(bad))) << bad;
  }
  EXPECT_EQ(Decimal::Parse("1e-99999999999")->ToText(), "0");
}

TEST(Decimal, ConversionsAndArithmetic) {
  EXPECT_EQ(Decimal::FromDouble(0.1)->ToText(), "0.1");
  EXPECT_FALSE(Decimal::FromDouble(1e300));
  EXPECT_EQ(Decimal::Parse("2.5")->ToInt64(), 2);
  EXPECT_EQ(Decimal::Parse("3.5")->ToInt64(), 4);
  EXPECT_EQ(Decimal::Parse("-2.5")->ToInt64(), -2);
  EXPECT_EQ(Decimal::Parse("2.51")->ToInt64(), 3);
  EXPECT_FALSE(Decimal::Parse("1E20")->ToInt64());
  EXPECT_EQ((*Decimal::Parse("0.1") + *Decimal::Parse("0.2")).ToText(), "0.3");
  Decimal assigned(7);
  const Decimal source = *Decimal::Parse("-12.25");
  assigned = source;
  EXPECT_EQ(assigned.ToText(), "-12.25");
  EXPECT_EQ(Divide(Decimal(1), Decimal(3))->ToText(), "0.3333333333333333333333333333");
  EXPECT_FALSE(Divide(Decimal(1), Decimal(0)));
  EXPECT_LT(*Decimal::Parse("-0.5"), Decimal(0));
  EXPECT_EQ(*Decimal::Parse("1.50"), *Decimal::Parse("1.5"));
}

TEST(NumberToPlainText, NeverWritesAnExponent) {
  EXPECT_EQ(NumberToPlainText(1.0E-7), "0.0000001");
  EXPECT_EQ(NumberToPlainText(0.1), "0.1");
  EXPECT_EQ(NumberToPlainText(-2.5), "-2.5");
  EXPECT_EQ(NumberToPlainText(1E20), "100000000000000000000");
  EXPECT_EQ(NumberToPlainText(123456.789), "123456.789");
  EXPECT_EQ(NumberToPlainText(1.0 / 3.0), "0.333333333333333");
  EXPECT_EQ(NumberToPlainText(0.0), "0");
  EXPECT_EQ(NumberToPlainText(-0.0), "0");
  EXPECT_EQ(NumberToPlainText(1.5E-300).left(6), "0.0000");
}

TEST(VariantToXmlText, RendersEachKind) {
  EXPECT_EQ(VariantToXmlText(Value()), "");
  EXPECT_EQ(VariantToXmlText(Value::Null()), "");
  EXPECT_EQ(VariantToXmlText(Value(1.0E-7)), "0.0000001");
  EXPECT_EQ(VariantToXmlText(Value(*Decimal::Parse("-0.50"))), "-0.5");
  EXPECT_EQ(VariantToXmlText(Value(true)), "1");
  EXPECT_EQ(VariantToXmlText(Value(false)), "0");
  EXPECT_EQ(VariantToXmlText(Value(std::int64_t{-9007199254740993})), "-9007199254740993");
  EXPECT_EQ(VariantToXmlText(Value("a<b")), "a<b");
}

TEST(VariantToXmlText, DateTimesByTheirParts) {
  EXPECT_EQ(VariantToXmlText(Value(QDateTime(QDate(2024, 3, 14), QTime(0, 0)))), "2024-03-14");
  EXPECT_EQ(VariantToXmlText(Value(QDateTime(QDate(2024, 3, 14), QTime(0, 0, 0, 400)))),
            "2024-03-14");
  EXPECT_EQ(VariantToXmlText(Value::Time(QTime(7, 8, 9))), "07:08:09");
  EXPECT_EQ(VariantToXmlText(Value(QDateTime(QDate(2024, 3, 14), QTime(0, 0, 1)))),
            "2024-03-14 00:00:01");
  EXPECT_EQ(VariantToXmlText(Value(ZeroDateTime())), "00:00:00");
}

TEST(Value, ConversionsAsAssignmentsPerformThem) {
  EXPECT_EQ(Value().ToInt32(), 0);
  EXPECT_EQ(Value().ToText(), "");
  EXPECT_EQ(Value::Null().ToInt32(), std::nullopt);
  EXPECT_EQ(Value(true).ToInt32(), -1);
  EXPECT_EQ(Value(2.5).ToInt32(), 2);
  EXPECT_EQ(Value("&HFFFF").ToInt32(), 65535);
  EXPECT_EQ(Value(" 12 ").ToInt32(), 12);
  EXPECT_EQ(Value("abc").ToInt32(), std::nullopt);
  EXPECT_EQ(Value(std::int64_t{3000000000}).ToInt32(), std::nullopt);
  EXPECT_EQ(Value(false).ToText(), "False");
  EXPECT_TRUE(Value("1e3").IsNumeric());
  EXPECT_FALSE(Value("1 2").IsNumeric());
  EXPECT_FALSE(Value(ZeroDateTime()).IsNumeric());
  EXPECT_EQ(Value(5), Value(std::int64_t{5}));
  EXPECT_NE(Value(5), Value("5"));
  EXPECT_NE(Value(), Value::Null());
}

TEST(Value, NumbersAreWrittenOutInFullWithoutAnExponent) {
  struct Case {
    Value value;
    const char* text;
  };
  const Case cases[] = {
      {Value(1.0E-7), "0.0000001"},
      {Value(1.0E20), "100000000000000000000"},
      {Value(-0.5), "-0.5"},
      {Value(0.1), "0.1"},
      {Value(1.0 / 3.0), "0.333333333333333"},
      {Value(-1.5E-12), "-0.0000000000015"},
      {Value(123456789012345678.0), "123456789012346000"},
      {Value(0.0), "0"},
      {Value(*Decimal::Parse("1234567890123456789012345678")), "1234567890123456789012345678"},
      {Value(*Decimal::Parse("0.0000000000000000000000000001")), "0.0000000000000000000000000001"},
      {Value(*Decimal::Parse("-12345678901234.56789012345678")), "-12345678901234.56789012345678"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.ToText().toStdString(), c.text);
    EXPECT_FALSE(c.value.ToText().contains(QLatin1Char('E'), Qt::CaseInsensitive));
  }
}
