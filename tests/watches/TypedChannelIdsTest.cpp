// Typed channel IDs: every form the operator may type, the messages for bad pieces, and the
// question for long lists, through a scripted operator.

#include "platform/testing/ScriptedPrompter.h"
#include "tests/util/QStringPrinter.h"
#include "watches/AddChannelWatchLogic.h"
#include "watches/TypedChannelIds.h"

#include <gtest/gtest.h>

namespace telmon {
namespace {

using Status = TypedChannelIds::Status;

std::vector<std::int32_t> Range(std::int32_t first, std::int32_t last) {
  std::vector<std::int32_t> ids;
  for (std::int32_t id = first; first <= last ? id <= last : id >= last;
       id += first <= last ? 1 : -1) {
    ids.push_back(id);
  }
  return ids;
}

std::vector<std::int32_t> Concat(std::initializer_list<std::vector<std::int32_t>> parts) {
  std::vector<std::int32_t> all;
  for (const auto& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

struct ValidCase {
  const char* text;
  std::vector<std::int32_t> ids;
};

TEST(TypedChannelIds, ValidTextGivesIdsInOrder) {
  const std::vector<ValidCase> cases = {
      {"42", {42}},
      {"  42  ", {42}},
      {"11120, 11121, 10922", {11120, 11121, 10922}},
      {"10910-10915", Range(10910, 10915)},
      {"10915-10910", Range(10915, 10910)},
      {"10910 - 10912", Range(10910, 10912)},
      {"7-7", {7}},
      {"5,5,5", {5, 5, 5}},  // duplicates are kept
      {"u7", {17, 27, 37, 47, 57, 67, 77, 87, 97}},
      {"U7", {17, 27, 37, 47, 57, 67, 77, 87, 97}},
      {"u0007", {10007, 20007, 30007, 40007, 50007, 60007, 70007, 80007, 90007}},
      {"u", {1, 2, 3, 4, 5, 6, 7, 8, 9}},
      {"u001-u003", Concat({Range(1001, 1003), Range(2001, 2003), Range(3001, 3003),
                            Range(4001, 4003), Range(5001, 5003), Range(6001, 6003),
                            Range(7001, 7003), Range(8001, 8003), Range(9001, 9003)})},
      // Only one end is a unit end: both ends still get each unit digit as first digit.
      {"5-u7", Concat({Range(5, 17), Range(2, 27), Range(3, 37), Range(4, 47), Range(5, 57),
                       Range(6, 67), Range(7, 77), Range(8, 87), Range(9, 97)})},
      // The first digit is replaced even where it is not the one the "u" stood for.
      {"42-u3", Concat({Range(42, 13), Range(22, 23), Range(32, 33), Range(42, 43), Range(52, 53),
                        Range(62, 63), Range(72, 73), Range(82, 83), Range(92, 93)})},
      // The unit digit replaces the first digit of each end, not a sign before it.
      {"+5-u7", Concat({Range(5, 17), Range(2, 27), Range(3, 37), Range(4, 47), Range(5, 57),
                        Range(6, 67), Range(7, 77), Range(8, 87), Range(9, 97)})},
      {"u7-+19", Concat({Range(17, 19), Range(27, 29), Range(37, 39), Range(47, 49), Range(57, 59),
                         Range(67, 69), Range(77, 79), Range(87, 89), Range(97, 99)})},
      {"12.5", {12}},  // converted like any number: half to even
      {"2147483647", {2147483647}},
  };
  for (const ValidCase& c : cases) {
    const TypedChannelIds parsed = ParseTypedChannelIds(QString::fromLatin1(c.text), 1000000);
    EXPECT_EQ(parsed.status, Status::Ok) << c.text;
    EXPECT_EQ(parsed.ids, c.ids) << c.text;
    EXPECT_EQ(parsed.count, static_cast<std::int64_t>(c.ids.size())) << c.text;
  }
}

struct InvalidCase {
  const char* text;
  const char* piece;
};

TEST(TypedChannelIds, InvalidPieceIsNamedAsTyped) {
  const std::vector<InvalidCase> cases = {
      {"0", "0"},
      {"abc", "abc"},
      {"5-", "5-"},
      {"-5", "-5"},
      {"", ""},
      {"12,,13", ""},
      {"12, x 1 ,13", "x 1"},
      {"1 0-5", "1 0-5"},
      {"12\n13", "12\n13"},  // line breaks are not separators
      {"3-0", "3-0"},
      {"garbage\x01\x02", "garbage\x01\x02"},
  };
  for (const InvalidCase& c : cases) {
    const TypedChannelIds parsed = ParseTypedChannelIds(QString::fromLatin1(c.text), 1000);
    EXPECT_EQ(parsed.status, Status::Invalid) << c.text;
    EXPECT_EQ(parsed.invalidPiece, QString::fromLatin1(c.piece)) << c.text;
    EXPECT_TRUE(parsed.ids.empty());
  }
}

TEST(TypedChannelIds, NumbersBeyondThirtyTwoBitsOverflow) {
  for (const char* text : {"99999999999", "1-3000000000", "u999999999"}) {
    EXPECT_EQ(ParseTypedChannelIds(QString::fromLatin1(text), 1000).status, Status::Overflow)
        << text;
  }
}

// A text naming more IDs than the caller can take is counted exactly, in 64 bits, and nothing
// is expanded; one at the limit is expanded whole.
TEST(TypedChannelIds, RangesBeyondTheLimitAreCountedNotExpanded) {
  struct Case {
    const char* text;
    std::int64_t limit;
    Status status;
    std::int64_t count;
  };
  const Case cases[] = {
      {"1-2000000000", 1000000, Status::TooMany, 2000000000},
      {"u-u99999999", 10, Status::TooMany, 5399999955},  // nine units' ranges
      {"5-1", 4, Status::TooMany, 5},
      {"5-1", 5, Status::Ok, 5},
      {"u1-u3,7", 27, Status::TooMany, 28},
      {"u1-u3,7", 28, Status::Ok, 28},
  };
  for (const Case& c : cases) {
    const TypedChannelIds parsed = ParseTypedChannelIds(QString::fromLatin1(c.text), c.limit);
    EXPECT_EQ(parsed.status, c.status) << c.text << " " << c.limit;
    EXPECT_EQ(parsed.count, c.count) << c.text << " " << c.limit;
    EXPECT_EQ(static_cast<std::int64_t>(parsed.ids.size()), c.status == Status::Ok ? c.count : 0)
        << c.text << " " << c.limit;
  }
}

TEST(TypedChannelIds, TenThousandCommasStopAtTheFirstEmptyPiece) {
  const TypedChannelIds parsed =
      ParseTypedChannelIds(QStringLiteral("7") + QString(10000, QLatin1Char(',')), 1000);
  EXPECT_EQ(parsed.status, Status::Invalid);
  EXPECT_EQ(parsed.invalidPiece, QString());

  QString many;
  for (int i = 1; i <= 10000; ++i) {
    many += QString::number(i) + QLatin1Char(',');
  }
  many.chop(1);
  const TypedChannelIds all = ParseTypedChannelIds(many, 1000000);
  ASSERT_EQ(all.status, Status::Ok);
  EXPECT_EQ(all.ids, Range(1, 10000));
}

class TypedIdsPrompts : public ::testing::Test {
 protected:
  ScriptedPrompter prompter;
  const QString title = QStringLiteral("Telmon");
};

TEST_F(TypedIdsPrompts, BadPieceShowsItsMessageAndReturnsNothing) {
  EXPECT_FALSE(TypedIdsToIds(QStringLiteral("1, abc ,3"), prompter, title));
  ASSERT_EQ(prompter.Questions().size(), 1U);
  const PromptQuestion q = prompter.Questions().front();
  EXPECT_EQ(q.text, "'abc' is not valid.");
  EXPECT_EQ(q.title, title);
  EXPECT_EQ(q.icon, PromptIcon::Exclamation);
  EXPECT_EQ(q.buttons, PromptButtons::Ok);
}

TEST_F(TypedIdsPrompts, OverflowIsReportedAsAParseFailure) {
  EXPECT_FALSE(TypedIdsToIds(QStringLiteral("99999999999"), prompter, title));
  EXPECT_EQ(prompter.Texts(), QStringList{QStringLiteral("TELM-0042: 6, Overflow")});
}

TEST_F(TypedIdsPrompts, TwoHundredOneIdsAddWithoutAsking) {
  EXPECT_EQ(TypedIdsToIds(QStringLiteral("1-201"), prompter, title)->size(), 201U);
  EXPECT_TRUE(prompter.Records().empty());
}

TEST_F(TypedIdsPrompts, MoreThanTwoHundredOneAskWithOneLessThanCollected) {
  prompter.QueueAnswer(PromptAnswer::No);
  EXPECT_FALSE(TypedIdsToIds(QStringLiteral("1-202"), prompter, title));
  ASSERT_EQ(prompter.Questions().size(), 1U);
  const PromptQuestion q = prompter.Questions().front();
  EXPECT_EQ(q.text, "Are you sure you want to add 201 channels?");
  EXPECT_EQ(q.icon, PromptIcon::Exclamation);
  EXPECT_EQ(q.buttons, PromptButtons::YesNo);

  prompter.QueueAnswer(PromptAnswer::Yes);
  const std::optional<IdList> ids = TypedIdsToIds(QStringLiteral("1-202"), prompter, title);
  ASSERT_TRUE(ids);
  const QString joined = JoinIds(*ids);
  EXPECT_TRUE(joined.startsWith(QStringLiteral("1;2;3;")));
  EXPECT_TRUE(joined.endsWith(QStringLiteral(";201;202")));
}

TEST_F(TypedIdsPrompts, YesToTwoBillionIsRefusedWithoutExhaustingMemory) {
  prompter.QueueAnswer(PromptAnswer::Yes);
  EXPECT_FALSE(TypedIdsToIds(QStringLiteral("1-2000000000"), prompter, title));
  EXPECT_EQ(prompter.Texts(),
            (QStringList{QStringLiteral("Are you sure you want to add 1999999999 channels?"),
                         QStringLiteral("TELM-0042: 7, Out of memory")}));
}

TEST_F(TypedIdsPrompts, ListIsJoinedWithSemicolons) {
  EXPECT_EQ(JoinIds(*TypedIdsToIds(QStringLiteral("3, 1-2, u5"), prompter, title)),
            "3;1;2;15;25;35;45;55;65;75;85;95");
}

// The IDs handed on keep the typed order and every duplicate.
TEST_F(TypedIdsPrompts, IdsKeepOrderAndDuplicates) {
  EXPECT_EQ(*TypedIdsToIds(QStringLiteral(" 7, 7-5 ,u3, 5"), prompter, title),
            (IdList{7, 7, 6, 5, 13, 23, 33, 43, 53, 63, 73, 83, 93, 5}));
  EXPECT_TRUE(prompter.Records().empty());
}

}  // namespace
}  // namespace telmon
