// The receive buffer skips parses that cannot succeed. It must give exactly the results of the
// plain rule (parse everything; else parse up to the last "/>"; else keep everything) on any
// input, well-formed or hostile, cut anywhere.

#include "ioslink/IosReceiveBuffer.h"
#include "tests/ioslink/PlainFraming.h"

#include <gtest/gtest.h>

#include <random>

namespace telmon {
namespace {

const std::vector<QByteArray>& Pieces() {
  static const std::vector<QByteArray> pieces = {
      R"(<Event eventtype="QUpdate" QName="A"/>)",
      R"(<Event eventtype="DeviceUpdate" DeviceID="1" Desc="x/>y"/>)",
      R"(<Event eventtype="ChannelConfigUpdate" ID="2"><C a='1'/><D>t&amp;</D></Event>)",
      R"(<Event eventtype="Message" Desc="a &gt; b"></Event>)",
      "<!-- note -->",
      "<![CDATA[ </Event> ]]>",
      "<?pi data?>",
      "\r\n",
      " text ",
      "\xe9",
      // Hostile and broken pieces.
      "</Event>",
      "<Event>",
      "<",
      ">",
      "/>",
      "\"",
      "'",
      "&bogus;",
      "\x01",
      "<!DOCTYPE x>",
      "<a></b>",
      "<!-- - -- >",
      "]]>",
      "<?xml version=\"1.0\"?>",
      "</Z76335016_A23E_E011_A164_0019B97C8595>",
  };
  return pieces;
}

TEST(IosReceiveBufferTest, MatchesThePlainRuleOnRandomStreamsAndCuts) {
  std::mt19937 random(20240314);
  const auto& pieces = Pieces();
  std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
  std::uniform_int_distribution<int> hostile(0, 9);
  for (int round = 0; round < 3000; ++round) {
    QByteArray stream;
    const int count = 1 + static_cast<int>(random() % 12);
    for (int i = 0; i < count; ++i) {
      // Mostly good events, so that streams parse often enough to exercise both paths.
      const std::size_t index = hostile(random) < 7 ? pick(random) % 10 : pick(random);
      stream += pieces[index];
    }
    IosReceiveBuffer buffer;
    PlainFraming plain;
    qsizetype at = 0;
    while (at < stream.size()) {
      const qsizetype size = 1 + static_cast<qsizetype>(random() % 40);
      const QByteArray chunk = stream.mid(at, size);
      at += chunk.size();
      const QString got = Describe(buffer.Append(chunk));
      const QString want = Describe(plain.Append(chunk));
      ASSERT_EQ(got, want) << "stream " << stream.toStdString() << " at " << at;
      ASSERT_EQ(buffer.Pending(), plain.Pending()) << "stream " << stream.toStdString();
    }
  }
}

TEST(IosReceiveBufferTest, TextWithoutAnyEmptyElementEndDropsOnlyItsFirstCharacter) {
  IosReceiveBuffer buffer;
  const QByteArray text = "\n<Event eventtype=\"ChannelConfigUpdate\" ID=\"1\"><C>";
  // The first character alone parses, so it is taken as a document with no events.
  const xml::XmlDocument doc = buffer.Append(text);
  ASSERT_TRUE(doc);
  EXPECT_TRUE(xml::SelectNodes(doc, "//Event").empty());
  EXPECT_EQ(buffer.Pending(), text.mid(1));
  EXPECT_FALSE(buffer.Append("x</C>"));
  EXPECT_TRUE(buffer.Append("</Event>"));
  EXPECT_EQ(buffer.PendingSize(), 0);
}

}  // namespace
}  // namespace telmon
